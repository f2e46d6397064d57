#include <platform/directory.h>

#include <platform/fault.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace {

struct CloseDirectory {
    void operator()(DIR *directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory open_directory(const char *path)
{
    const int fd = above_standard(
        again_after_signal([&] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK); }));
    if (fd < 0)
        return nullptr;
    Directory directory(fdopendir(fd));
    if (!directory)
        close(fd);
    return directory;
}

PlEntryKind kind_of(DIR *directory, const dirent &entry)
{
    if (entry.d_type == DT_REG)
        return PlEntryKind::file;
    if (entry.d_type == DT_DIR)
        return PlEntryKind::directory;
    struct stat info; // a link, or a file system that does not tell the type of an entry
    const bool is_link =
        entry.d_type == DT_LNK ||
        (fstatat(dirfd(directory), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(info.st_mode));
    if (fstatat(dirfd(directory), entry.d_name, &info, 0) != 0)
        return PlEntryKind::other;
    if (S_ISREG(info.st_mode))
        return PlEntryKind::file;
    return S_ISDIR(info.st_mode) && !is_link ? PlEntryKind::directory : PlEntryKind::other;
}

bool is_listed(const char *name)
{
    return std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0 && !std::strchr(name, '\\');
}

} // namespace

bool pl_list_entries(const char *directory, std::vector<PlEntry> *entries)
{
    entries->clear();
    if (pl_fault())
        return false;
    const std::string path = native_path(directory);
    const Directory stream = open_directory(path.c_str());
    if (!stream)
        return pl_fail_path(errno, path.c_str());
    for (;;) {
        errno = 0; // the end is told from a failure by it
        const dirent *const entry = readdir(stream.get());
        if (!entry)
            break;
        if (is_listed(entry->d_name))
            entries->push_back({entry->d_name, kind_of(stream.get(), *entry)});
    }
    if (errno != 0) {
        entries->clear();
        return pl_fail(errno);
    }
    std::sort(entries->begin(), entries->end(),
              [](const PlEntry &a, const PlEntry &b) { return a.name < b.name; });
    return true;
}

bool pl_free_space(const char *directory, uint64_t *bytes)
{
    if (pl_fault())
        return false;
    const std::string path = native_path(directory);
    struct statvfs info;
    if (again_after_signal([&] { return statvfs(path.c_str(), &info); }) != 0)
        return pl_fail_path(errno, path.c_str());
    *bytes = uint64_t{info.f_bavail} * info.f_frsize;
    return true;
}

bool pl_names_ignore_case()
{
    return false;
}
