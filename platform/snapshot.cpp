#include <platform/snapshot.h>

#include <platform/files.h>

#include <chrono>
#include <map>
#include <mutex>

namespace {

constexpr size_t kKeptSize = size_t{1} << 20;
constexpr size_t kReadLimit = size_t{16} << 20;
constexpr size_t kKeptFiles = 64;

// Time stamps of files advance in steps of up to two seconds (FAT); a younger file could change again unseen.
constexpr int64_t kSettledNs = 3'000'000'000;

struct Kept {
    PlFileStamp stamp;
    std::shared_ptr<const std::string> text;
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

bool settled(const PlFileStamp &stamp)
{
    // The real clock, even where a test has replaced the seam's: the stamps of files are real.
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const int64_t now_ns = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
    return stamp.modified_ns < now_ns - kSettledNs;
}

std::shared_ptr<const std::string> kept(const char *path, const PlFileStamp &stamp)
{
    Cache &c = cache();
    const std::lock_guard lock(c.mutex);
    const auto found = c.files.find(std::string_view(path));
    return found != c.files.end() && found->second.stamp == stamp ? found->second.text : nullptr;
}

void keep(const char *path, const PlFileStamp &stamp, std::shared_ptr<const std::string> text)
{
    Cache &c = cache();
    const std::lock_guard lock(c.mutex);
    if (c.files.size() >= kKeptFiles)
        c.files.clear();
    c.files.insert_or_assign(path, Kept{stamp, std::move(text)});
}

} // namespace

std::shared_ptr<const std::string> pl_snapshot(const char *path)
{
    PlFileStamp stamp;
    if (!pl_file_stamp(path, &stamp))
        return nullptr;
    if (auto text = kept(path, stamp))
        return text;
    auto text = std::make_shared<std::string>();
    if (!pl_read_file(path, text.get(), kReadLimit))
        return nullptr;
    // The stamp was taken before the read: a change in between leaves a stamp that no longer matches.
    if (text->size() <= kKeptSize && settled(stamp))
        keep(path, stamp, text);
    return text;
}
