#include <db/record_cursor.h>

#include <array>
#include <mutex>

namespace {

struct Position {
    DB_REC *first = nullptr; // null: free
    uint32_t row = 0;
    DB_REC *record = nullptr; // the row-th record of the list
};

// Lists whose addresses fall together share a set.  When more of them live at once than a set holds, one
// loses its position and is walked again: slower, never wrong.
struct Set {
    static constexpr size_t kWays = 4;
    std::mutex mutex;
    std::array<Position, kWays> ways;
    size_t next_victim = 0;

    Position *find(const DB_REC *first)
    {
        for (Position &position : ways)
            if (position.first == first)
                return &position;
        return nullptr;
    }
};

constexpr size_t kSets = 256;
std::array<Set, kSets> sets;

Set &set_of(const DB_REC *first)
{
    const auto address = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(first));
    return sets[(address * 0x9E3779B97F4A7C15u) >> 56];
}
static_assert(kSets == 256, "set_of takes the top eight bits of the hash");

DB_REC *walk(DB_REC *record, uint32_t steps)
{
    for (; record && steps > 0; --steps)
        record = record->next;
    return record;
}

} // namespace

void cursor_start(DB_REC *first)
{
    Set &set = set_of(first);
    const std::lock_guard lock(set.mutex);
    Position *position = set.find(first);
    if (!position)
        position = set.find(nullptr);
    if (!position)
        position = &set.ways[set.next_victim++ % Set::kWays];
    *position = {first, 1, first};
}

void cursor_rewind(const DB_REC *first)
{
    Set &set = set_of(first);
    const std::lock_guard lock(set.mutex);
    if (Position *position = set.find(first))
        *position = {position->first, 1, position->first};
}

void cursor_drop(const DB_REC *first)
{
    Set &set = set_of(first);
    const std::lock_guard lock(set.mutex);
    if (Position *position = set.find(first))
        *position = {};
}

DB_REC *cursor_seek(DB_REC *first, uint32_t row)
{
    if (!first || row == 0)
        return nullptr;
    Set &set = set_of(first);
    const std::lock_guard lock(set.mutex);
    Position *const position = set.find(first);
    if (!position)
        return walk(first, row - 1);
    const bool ahead = position->row <= row;
    DB_REC *const record = ahead ? walk(position->record, row - position->row) : walk(first, row - 1);
    if (record)
        *position = {first, row, record};
    return record;
}
