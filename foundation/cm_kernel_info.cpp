// The info board: one line per slot and marker, sorted by slot, rewritten as a whole under a semaphore.
#include <foundation/glbv.h>
#include <foundation/ini.h>
#include <foundation/lines.h>
#include <foundation/time_stamp.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <process/semaphore_guard.h>
#include <tamba/messages.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace {

constexpr size_t kStampLength = 19;
constexpr size_t kEntrySize = 512;
constexpr size_t kBreakLast = 123; // an entry breaks at a blank between these positions, or at the last
constexpr size_t kBreakFirst = 114;
constexpr size_t kContinuationSize = 150;
constexpr size_t kBoardLine = 1023;
constexpr size_t kBoardLimit = size_t{4} << 20;

// The new entry of a slot.
struct Entry {
    char marker;
    int32_t slot;
    FixedText<kEntrySize> text;
    FixedText<kContinuationSize> continuation;

    std::string lines() const
    {
        FixedText<kEntrySize + 32> line;
        line.format("%c%3d> %s\n", marker, slot, text.c_str());
        std::string both(line.view());
        if (!continuation.empty()) {
            line.format("%c%3d->   %s\n", marker, slot, continuation.c_str());
            both += line.view();
        }
        return both;
    }
};

// One line of the present board; characters that a short line lacks count as blanks.
class BoardLine {
public:
    explicit BoardLine(std::string_view line)
    {
        std::string head(line.substr(0, 5));
        head.resize(5, ' ');
        marker_ = head[0];
        field_.assign(std::string_view(head).substr(1, 3));
        is_main_ = head[4] == '>';
        slot_ = to_int32(field_.c_str());
    }
    char marker() const { return marker_; }
    int32_t slot() const { return slot_; }
    bool is_main() const { return is_main_; }
    bool is_garbage() const { return slot_ == 0 && field_.view() != "  0"; }

private:
    char marker_;
    FixedText<4> field_;
    bool is_main_;
    int32_t slot_;
};

void break_entry(Entry &entry, TraceContext &context)
{
    if (entry.text.length() <= kBreakLast)
        return;
    size_t at = kBreakLast;
    while (at >= kBreakFirst && entry.text.c_str()[at] != ' ')
        --at;
    if (at < kBreakFirst)
        at = kBreakLast;
    trace_at(context, kTraceMain, "line too long, break at index %d", static_cast<int>(at));
    entry.continuation.assign(entry.text.view().substr(at));
    entry.text.data()[at] = '\0';
}

Entry make_entry(char kind, int32_t slot, const char *text, TraceContext &context)
{
    Entry entry;
    entry.marker = kind == 'S' || kind == 's' ? '.' : ':';
    entry.slot = slot;
    entry.text.format("%.*s# %s", static_cast<int>(kStampLength), display_stamp_now().c_str(), text);
    for (char *c = entry.text.data(); *c; ++c)
        if (*c == '\n' || *c == '\r')
            *c = ' ';
    break_entry(entry, context);
    return entry;
}

// The board with the entry in its place.  A "." line of a slot stands before the ":" line of the same slot.
std::string board_with(const Entry &entry, std::string_view old_board)
{
    std::string board;
    bool written = false;
    const auto write_once = [&] {
        if (!written)
            board += entry.lines();
        written = true;
    };
    LineReader lines(old_board, kBoardLine);
    std::string_view text;
    while (lines.next(&text)) {
        const BoardLine line(text);
        if (line.slot() == entry.slot && line.marker() == entry.marker) {
            if (line.is_main())
                write_once();
            continue; // old lines of the slot and marker go, continuations too
        }
        const bool new_goes_first =
            line.slot() == entry.slot ? entry.marker == '.' : line.slot() > entry.slot;
        if (new_goes_first && !written)
            write_once();
        else if (line.slot() != entry.slot && line.is_garbage())
            continue;
        (board += text) += '\n';
    }
    write_once();
    return board;
}

// 0, or the error number of the failed write or close; nothing is left behind after a failure.
int32_t write_whole(const char *path, const std::string &text)
{
    FILE *const file = pl_fopen(path, "w");
    if (!file)
        return -1;
    errno = 0;
    // A long text goes out before the close, which then no longer knows why it failed.
    const int32_t write_error = std::fwrite(text.data(), 1, text.size(), file) == text.size() ? 0 : errno;
    const int32_t close_error = pl_fclose(file);
    return write_error != 0 ? write_error : close_error;
}

// The new board is written beside the old one first: only a text that is known to fit replaces the board.
// Returns the error number of a failed write; 0 also when the directory is gone or not ours, as the board never reports
// its own failures.
int32_t replace_board(const std::string &directory, const Entry &entry)
{
    const std::string board_path = directory + "info.dat", new_path = directory + "info.tmp";
    std::string old_board;
    if (!pl_read_file(board_path.c_str(), &old_board, kBoardLimit) && pl_file_exists(board_path.c_str()))
        return 0; // a board that cannot be read just now must not be replaced by a single line
    const std::string board = board_with(entry, old_board);
    int32_t error = write_whole(new_path.c_str(), board);
    if (error < 0)
        return 0;
    if (error == 0)
        pl_overwrite_file(board_path.c_str(), board.data(), board.size(), &error);
    pl_remove(new_path.c_str());
    return error;
}

} // namespace

int32_t info(char kind, int32_t slot, const char *text)
{
    GlobalValue directory;
    const bool known = read_global("gv_rw_info", &directory);
    TraceContext context = own_context();
    v_set_log_main("tb_info.lgc", "TB_INFO", &context);
    trace_at(context, kTraceMain, R"(TB_INFO: '%c' '%d' "%s")", kind, slot, text_or_empty(text));
    if (!known) {
        std::fputs("ERROR: GLBV gv_rw_info undefined\n", stderr);
        trace_at(context, kTraceMain, "ERROR: GLBV gv_rw_info undefined");
        return 0;
    }
    const Entry entry = make_entry(kind, slot, text_or_empty(text), context);
    // A board without the lock is better than none: whether it is held is not asked for.
    SemaphoreGuard lock("ctrl_info", "info", context);
    const int32_t error = replace_board(std::string(directory.view()), entry);
    lock.release(); // the programs of an alarm post to the board, too
    if (error != 0)
        i_FILE_CLOSE(error);
    return 1;
}
