// A named mutex is a row of places, each a name that at most one process has: whoever finds all of them free creates the
// mutex, and those who come later keep it by places of their own.  Names that are no files go with their process, and no
// cleaner of temporary files and no private /tmp comes between.
#include <platform/mutex.h>

#include <platform/fault.h>
#include <platform/posix/errors.h>
#include <platform/posix/handle_table.h>
#include <platform/posix/local_socket.h>

#include <ctime>
#include <string_view>

namespace {

constexpr size_t kLongestName = 260; // as on the other platform
constexpr int kPlaces = 64;
constexpr int kGateTries = 3000; // of a millisecond: a process may be stopped behind the gate

class MutexObject final : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::mutex;
    explicit MutexObject(Descriptor place) : HandleObject(kKind), place_(std::move(place)) {}

private:
    const Descriptor place_;
};

// A backslash only separates the name space from the name.
bool is_valid(std::string_view name)
{
    for (const std::string_view space : {"Global\\", "Local\\"})
        if (name.starts_with(space))
            name.remove_prefix(space.size());
    if (name.size() > kLongestName)
        return pl_fail(ENAMETOOLONG);
    return name.find('\\') == name.npos || pl_fail(PL_PATH_NOT_FOUND, ENOENT);
}

std::string place_name(std::string_view name, int number)
{
    return "tamba-mutex/" + std::string(name) + "/" + std::to_string(number);
}

// One starter at a time decides: two who look at each other's places would both find the mutex existing.
Descriptor pass_gate(std::string_view name)
{
    const std::string gate = "tamba-mutex/" + std::string(name) + "/gate";
    const timespec pause = {0, 1'000'000};
    Descriptor held = take_name(gate);
    for (int tries = 0; !held && errno == EADDRINUSE && tries < kGateTries; ++tries) {
        nanosleep(&pause, nullptr); // not the clock of tests: others are real
        held = take_name(gate);
    }
    return held;
}

// Takes the first place that is free.  The mutex existed if any is not.
PlMutex join(std::string_view name, Descriptor *place)
{
    PlMutex result = PlMutex::created;
    const Descriptor gate = pass_gate(name);
    if (!gate) {
        pl_fail(errno);
        return PlMutex::failed;
    }
    for (int number = 0; number < kPlaces && !(*place && result == PlMutex::existed); ++number) {
        Descriptor taken = take_name(place_name(name, number));
        if (!taken && errno != EADDRINUSE) {
            pl_fail(errno);
            return PlMutex::failed;
        }
        if (!taken)
            result = PlMutex::existed;
        else if (!*place)
            *place = std::move(taken);
    }
    return result; // without a place when enough others keep the mutex
}

} // namespace

PlMutex pl_mutex_create(const char *name, TB_HANDLE *handle)
{
    *handle = nullptr;
    std::string_view text = name ? name : "";
    constexpr std::string_view kDefaultSpace = "Local\\"; // says what a plain name means anyway
    if (text.starts_with(kDefaultSpace))
        text.remove_prefix(kDefaultSpace.size());
    if (pl_fault() || !is_valid(text))
        return PlMutex::failed;
    Descriptor place;
    const PlMutex result = text.empty() ? PlMutex::created : join(text, &place);
    if (result == PlMutex::failed)
        return result;
    *handle = handle_add(std::make_shared<MutexObject>(std::move(place)));
    return *handle ? result : PlMutex::failed;
}

bool pl_mutex_release(TB_HANDLE handle)
{
    return handle_get<MutexObject>(handle) && pl_close(handle);
}
