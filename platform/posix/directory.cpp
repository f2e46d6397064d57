#include <platform/directory.h>

#include <platform/fault.h>
#include <platform/files.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>

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

bool is_plain_file(DIR *directory, const dirent &entry)
{
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK)
        return entry.d_type == DT_REG;
    struct stat info; // some file systems do not tell the type of an entry
    return fstatat(dirfd(directory), entry.d_name, &info, 0) == 0 && S_ISREG(info.st_mode);
}

} // namespace

bool pl_list_files(const char *directory, std::vector<std::string> *names)
{
    names->clear();
    if (pl_fault())
        return false;
    std::string path = directory ? directory : "";
    pl_native_path(path.data());
    const Directory stream = open_directory(path.c_str());
    if (!stream)
        return pl_fail_path(errno, path.c_str());
    for (;;) {
        errno = 0; // the end is told from a failure by it
        const dirent *const entry = readdir(stream.get());
        if (!entry)
            break;
        if (is_plain_file(stream.get(), *entry) && !std::strchr(entry->d_name, '\\'))
            names->emplace_back(entry->d_name);
    }
    if (errno != 0) {
        names->clear();
        return pl_fail(errno);
    }
    std::sort(names->begin(), names->end());
    return true;
}

bool pl_names_ignore_case()
{
    return false;
}
