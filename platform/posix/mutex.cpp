// A named mutex is a lock file in a directory that all users share.  Whoever has the mutex open holds a read
// lock; a write lock is only had for an instant, by a process that finds nobody there.  Open-file-description
// locks change from write to read without a gap, and end with the process.
#include <platform/mutex.h>

#include <platform/fault.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>
#include <platform/posix/handle_table.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace {

constexpr char kDirectory[] = "/tmp/.tamba-mutex";
constexpr size_t kLongestFileName = 255;

class MutexObject final : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::mutex;
    explicit MutexObject(Descriptor fd) : HandleObject(kKind), fd_(std::move(fd)) {}

private:
    const Descriptor fd_;
};

bool is_plain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

// Letters, digits, "_" and "-" as they stand, every other byte in hexadecimal.
std::string file_name(std::string_view name)
{
    constexpr char kHex[] = "0123456789abcdef";
    std::string file;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (is_plain(c))
            file += c;
        else
            file.append({'%', kHex[byte >> 4], kHex[byte & 15]});
    }
    return file;
}

// A backslash only separates the name space from the name.
bool is_valid(std::string_view name)
{
    for (const std::string_view space : {"Global\\", "Local\\"})
        if (name.starts_with(space))
            name.remove_prefix(space.size());
    return name.find('\\') == name.npos || pl_fail(PL_PATH_NOT_FOUND, ENOENT);
}

Descriptor open_directory()
{
    constexpr int kFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    Descriptor directory(open(kDirectory, kFlags));
    if (directory || errno != ENOENT)
        return directory;
    if (mkdir(kDirectory, 0777) == 0)
        chmod(kDirectory, 01777); // past the umask: processes of all users make and open files here
    return Descriptor(open(kDirectory, kFlags));
}

// A file that exists is opened without O_CREAT: in a shared directory the system refuses O_CREAT on the file
// of another user.
Descriptor open_or_create(int directory, const char *file)
{
    constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    for (;;) {
        Descriptor fd(openat(directory, file, kFlags));
        if (fd || errno != ENOENT)
            return fd;
        Descriptor created(openat(directory, file, kFlags | O_CREAT | O_EXCL, 0666));
        if (created)
            fchmod(created.get(), 0666);
        if (created || errno != EEXIST)
            return created;
    }
}

bool is_regular(const Descriptor &fd)
{
    struct stat info;
    return fstat(fd.get(), &info) == 0 && S_ISREG(info.st_mode);
}

bool set_lock(const Descriptor &fd, short type, int command)
{
    struct flock region = {};
    region.l_type = type;
    region.l_whence = SEEK_SET;
    region.l_len = 1;
    return again_after_signal([&] { return fcntl(fd.get(), command, &region); }) == 0;
}

PlMutex join(const Descriptor &fd)
{
    if (set_lock(fd, F_WRLCK, F_OFD_SETLK)) {
        if (set_lock(fd, F_RDLCK, F_OFD_SETLK))
            return PlMutex::created;
    } else if ((errno == EAGAIN || errno == EACCES) && set_lock(fd, F_RDLCK, F_OFD_SETLKW)) {
        return PlMutex::existed; // the wait is for the instant in which a creator still has its write lock
    }
    pl_fail(errno);
    return PlMutex::failed;
}

// The lock file of a name; without one when the name is no name or the file is something else.
Descriptor open_lock_file(std::string_view name)
{
    const std::string file = file_name(name);
    if (file.size() > kLongestFileName) {
        pl_fail(ENAMETOOLONG);
        return {};
    }
    const Descriptor directory = open_directory();
    Descriptor fd = directory ? open_or_create(directory.get(), file.c_str()) : Descriptor();
    if (fd && is_regular(fd))
        return fd;
    const bool other_object = fd || (directory && (errno == ELOOP || errno == EISDIR || errno == ENXIO));
    other_object ? pl_fail(PL_INVALID_HANDLE, EINVAL) : pl_fail_path(errno, kDirectory);
    return {};
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
    Descriptor fd;
    PlMutex result = PlMutex::created;
    if (!text.empty()) {
        fd = open_lock_file(text);
        result = fd ? join(fd) : PlMutex::failed;
    }
    if (result == PlMutex::failed)
        return result;
    *handle = handle_add(std::make_shared<MutexObject>(std::move(fd)));
    return *handle ? result : PlMutex::failed;
}

bool pl_mutex_release(TB_HANDLE handle)
{
    return handle_get<MutexObject>(handle) && pl_close(handle);
}
