// Directories for programs: free space, names, trees.
#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/directory.h>
#include <platform/error.h>
#include <tamba/config.h>
#include <tamba/files.h>

#include <algorithm>

namespace {

constexpr int32_t kDeepest = 32, kMostEntries = 10000;

std::string resolved(const char *directory)
{
    FixedText<TAMBA_RESOLVE_SIZE> path{text_or_empty(directory)};
    resolve_glbv(path.data()); // an unknown name stays, and is then no directory
    return path.c_str();
}

std::string last_error_text()
{
    FixedText<256> text;
    pl_error_text(pl_last_error().number, text.data(), text.capacity());
    return text.c_str();
}

struct Walk {
    TraceScope &scope;
    int32_t deepest, left = kMostEntries;
};

void show(const std::string &directory, int32_t depth, Walk *walk)
{
    std::vector<PlEntry> entries;
    if (!pl_list_entries(directory.c_str(), &entries))
        walk->scope.note("%*scannot be read: %s", 2 * depth, "", last_error_text().c_str());
    for (const PlEntry &entry : entries) {
        if (--walk->left < 0)
            return;
        const bool is_directory = entry.kind == PlEntryKind::directory;
        walk->scope.note("%*s%s%s", 2 * depth, "", entry.name.c_str(), is_directory ? "/" : "");
        if (is_directory && depth < walk->deepest)
            show(directory + '/' + entry.name, depth + 1, walk);
    }
}

} // namespace

int32_t i_GET_FREE_SPACE_OF_DIR(const char *directory, int64_t *bytes, TraceContext trace)
{
    const std::string path = resolved(directory);
    TraceScope scope(trace, kTraceMain, "+++ GET_FREE_SPACE_OF_DIR %s", path.c_str());
    uint64_t free = 0;
    const bool known = pl_free_space(path.c_str(), &free);
    const auto shown = static_cast<int64_t>(std::min<uint64_t>(free, INT64_MAX));
    if (bytes)
        *bytes = shown;
    if (!known)
        return scope.leave(0, "--- GET_FREE_SPACE_OF_DIR %s", last_error_text().c_str());
    return scope.leave(1, "--- GET_FREE_SPACE_OF_DIR %lld", static_cast<long long>(shown));
}

int32_t i_GET_DIR(const char *directory, LLHead *names, TraceContext trace)
{
    const std::string path = resolved(directory);
    TraceScope scope(trace, kTraceMain, "+++ GET_DIR %s", path.c_str());
    std::vector<std::string> found;
    if (!pl_list_files(path.c_str(), &found))
        return scope.leave(-1, "--- GET_DIR %s", last_error_text().c_str());
    for (const std::string &name : found)
        if (names)
            InsLastLLf(names, static_cast<uint32_t>(name.size() + 1), name.c_str());
    const auto count = static_cast<int32_t>(found.size());
    return scope.leave(count, "--- GET_DIR returns %d", count);
}

void vShowTree(const char *directory, int32_t depth, TraceContext trace)
{
    const std::string path = resolved(directory);
    TraceScope scope(trace, kTraceMain, "+++ ShowTree %s", path.c_str());
    Walk walk{scope, depth <= 0 ? kDeepest : std::min(depth, kDeepest)};
    if (traces(scope.context(), kTraceMain))
        show(path, 1, &walk);
    if (walk.left < 0)
        scope.note("there are more than %d entries", kMostEntries);
    scope.leave(0, "--- ShowTree");
}
