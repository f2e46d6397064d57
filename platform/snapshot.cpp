#include <platform/snapshot.h>

#include <platform/files.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>

namespace {

constexpr size_t kKeptSize = size_t{1} << 20;
constexpr size_t kReadLimit = size_t{16} << 20;
constexpr size_t kKeptFiles = 64;

// Time stamps of files advance in steps of up to two seconds (FAT); a younger file could change again unseen.
constexpr int64_t kSettledNs = 3'000'000'000;

int64_t real_now_ns()
{
    // The real clock, even where a test has replaced the seam's: the stamps of files are real.
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

// What is known of a file: its text and the stamp it had, or, while the file is young, only until when
// looking at its stamp would be wasted.
struct Kept {
    PlFileStamp stamp{};
    std::shared_ptr<const std::string> text;
    int64_t read_until_ns = 0;
};

struct Cache {
    std::mutex mutex;
    std::map<std::string, Kept, std::less<>> files;
};

Cache &cache()
{
    static Cache *const instance = new Cache; // never destroyed: exit handlers may still read settings
    return *instance;
}

Kept known(const char *path)
{
    Cache &c = cache();
    const std::lock_guard lock(c.mutex);
    const auto found = c.files.find(std::string_view(path));
    return found != c.files.end() ? found->second : Kept{};
}

void keep(const char *path, Kept kept)
{
    Cache &c = cache();
    const std::lock_guard lock(c.mutex);
    if (c.files.size() >= kKeptFiles)
        c.files.clear();
    c.files.insert_or_assign(path, std::move(kept));
}

} // namespace

std::shared_ptr<const std::string> pl_snapshot(const char *path)
{
    const Kept kept = known(path);
    PlFileStamp stamp;
    if (kept.text && pl_file_stamp(path, &stamp) && stamp == kept.stamp)
        return kept.text;
    const int64_t now = real_now_ns();
    const bool young = now < kept.read_until_ns && now > kept.read_until_ns - kSettledNs;
    auto text = std::make_shared<std::string>();
    if (!pl_read_file(path, text.get(), kReadLimit, young ? nullptr : &stamp))
        return nullptr;
    // The stamp was taken before the reading: a change in between leaves a stamp that no longer matches.
    if (young || text->size() > kKeptSize)
        return text;
    // The time of the last change counts too: a writer may set the time of modification back.
    const int64_t touched = std::max(stamp.modified_ns, stamp.changed_ns);
    if (touched < now - kSettledNs)
        keep(path, {stamp, text, 0});
    else
        keep(path, {{}, nullptr, touched + kSettledNs});
    return text;
}
