#include <platform/files.h>

#include <platform/fault.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace {

constexpr size_t kPathSize = 4096;

// The path with "/" for "\".  A path that is too long becomes a name that cannot exist, and the call fails as
// such.
class NativePath {
public:
    explicit NativePath(const char *path)
    {
        const size_t length = path ? std::strlen(path) : 0;
        fits_ = length < sizeof text_;
        std::memcpy(text_, path ? path : "", fits_ ? length : 0);
        text_[fits_ ? length : 0] = '\0';
        pl_native_path(text_);
    }
    operator const char *() const { return text_; }

private:
    char text_[kPathSize];
    bool fits_;
};

int open_file(const char *path, int flags)
{
    return above_standard(again_after_signal([&] { return open(path, flags | O_CLOEXEC, 0666); }));
}

// What fopen's modes ask of the system.
int flags_of(const char *mode)
{
    const int access = std::strchr(mode, '+') ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
    const int creation = *mode == 'r' ? 0 : *mode == 'w' ? O_CREAT | O_TRUNC : O_CREAT | O_APPEND;
    return access | creation;
}

bool write_all(int fd, const char *text, size_t length)
{
    while (length > 0) {
        const ssize_t put = write(fd, text, length);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return pl_fail(put < 0 ? errno : ENOSPC);
        text += put;
        length -= static_cast<size_t>(put);
    }
    return true;
}

bool write_all_at(int fd, const char *text, size_t length, size_t offset)
{
    return lseek(fd, static_cast<off_t>(offset), SEEK_SET) < 0 ? pl_fail(errno) : write_all(fd, text, length);
}

// close() is not repeated after EINTR: the descriptor is gone then, too.
bool close_file(int fd)
{
    return close(fd) == 0 || errno == EINTR || pl_fail(errno);
}

PlFileStamp stamp_of(const struct stat &info)
{
    const auto nanoseconds = [](const timespec &t) { return int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec; };
    return {info.st_dev, info.st_ino, static_cast<uint64_t>(info.st_size), nanoseconds(info.st_mtim),
            nanoseconds(info.st_ctim)};
}

bool read_to_end(int fd, std::string *out, size_t limit)
{
    char buffer[8192];
    while (out->size() < limit) {
        const ssize_t got = read(fd, buffer, std::min(sizeof buffer, limit - out->size()));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return pl_fail(errno);
        out->append(buffer, static_cast<size_t>(got));
        if (static_cast<size_t>(got) < sizeof buffer)
            return true; // a short reading of a file means its end: saves the call that would only say so
    }
    return true;
}

} // namespace

FILE *pl_fopen(const char *path, const char *mode)
{
    if (pl_fault())
        return nullptr;
    const int fd = open_file(NativePath(path), flags_of(mode));
    if (fd < 0) {
        pl_fail_path(errno, path ? path : "");
        return nullptr;
    }
    FILE *const stream = fdopen(fd, mode);
    if (!stream) {
        pl_fail(errno);
        close(fd);
    }
    return stream;
}

PlAppend pl_append(const char *path, const char *text, size_t length, int32_t *c_error)
{
    if (pl_fault())
        return PlAppend::not_opened;
    const int fd = open_file(NativePath(path), O_WRONLY | O_APPEND | O_CREAT);
    if (fd < 0) {
        pl_fail_path(errno, path ? path : "");
        return PlAppend::not_opened;
    }
    const bool written = !pl_fault() && write_all(fd, text, length);
    const bool closed = close_file(fd);
    if (written && closed)
        return PlAppend::done;
    if (c_error)
        *c_error = pl_last_error().number;
    return PlAppend::not_written;
}

bool pl_replace_file(const char *path, const char *text, size_t length)
{
    if (pl_fault())
        return false;
    const NativePath target(path);
    char temporary[kPathSize];
    const int needed = std::snprintf(temporary, sizeof temporary, "%s.%ld.tmp",
                                     static_cast<const char *>(target), static_cast<long>(gettid()));
    if (needed < 0 || static_cast<size_t>(needed) >= sizeof temporary)
        return pl_fail(ENAMETOOLONG);
    const int fd = open_file(temporary, O_WRONLY | O_CREAT | O_TRUNC);
    if (fd < 0)
        return pl_fail_path(errno, path);
    const bool written = !pl_fault() && write_all(fd, text, length);
    const bool closed = close_file(fd);
    if (written && closed && rename(temporary, target) == 0)
        return true;
    if (written && closed)
        pl_fail(errno);
    const PlError error = pl_last_error();
    unlink(temporary);
    return pl_fail(static_cast<PlKind>(error.kind), error.number);
}

bool pl_overwrite_file(const char *path, const char *text, size_t length, int32_t *c_error)
{
    if (pl_fault()) {
        if (c_error)
            *c_error = pl_last_error().number;
        return false;
    }
    const int fd = open_file(NativePath(path), O_WRONLY | O_CREAT);
    bool good = fd >= 0 || pl_fail_path(errno, path);
    if (good) {
        struct stat info;
        good = fstat(fd, &info) == 0 || pl_fail(errno);
        const size_t old_length = good ? static_cast<size_t>(info.st_size) : 0;
        if (good && length > old_length) {
            good = !pl_fault() && write_all_at(fd, text + old_length, length - old_length, old_length);
            if (!good)
                static_cast<void>(!ftruncate(fd, static_cast<off_t>(old_length)));
        }
        good = good && write_all_at(fd, text, std::min(length, old_length), 0);
        good = good && (ftruncate(fd, static_cast<off_t>(length)) == 0 || pl_fail(errno));
        good = close_file(fd) && good;
    }
    if (!good && c_error)
        *c_error = pl_last_error().number;
    return good;
}

bool pl_file_stamp(const char *path, PlFileStamp *stamp)
{
    if (pl_fault())
        return false;
    struct stat info;
    if (stat(NativePath(path), &info) != 0)
        return pl_fail_path(errno, path ? path : "");
    if (S_ISDIR(info.st_mode))
        return pl_fail(EISDIR);
    *stamp = stamp_of(info);
    return true;
}

bool pl_read_file(const char *path, std::string *out, size_t limit, PlFileStamp *stamp)
{
    out->clear();
    if (pl_fault())
        return false;
    // Without O_NONBLOCK the open of a named pipe would wait for a writer.
    const int fd = open_file(NativePath(path), O_RDONLY | O_NONBLOCK);
    if (fd < 0)
        return pl_fail_path(errno, path ? path : "");
    struct stat info;
    bool good = !stamp || fstat(fd, &info) == 0 || pl_fail(errno);
    if (good && stamp)
        *stamp = stamp_of(info);
    good = good && read_to_end(fd, out, limit);
    close(fd);
    return good;
}

bool pl_file_exists(const char *path)
{
    struct stat info;
    return stat(NativePath(path), &info) == 0;
}

bool pl_remove(const char *path)
{
    if (pl_fault())
        return false;
    return unlink(NativePath(path)) == 0 || pl_fail_path(errno, path ? path : "");
}

bool pl_rename(const char *from, const char *to)
{
    if (pl_fault())
        return false;
    return rename(NativePath(from), NativePath(to)) == 0 || pl_fail_path(errno, from ? from : "");
}

bool pl_make_dir(const char *path)
{
    if (pl_fault())
        return false;
    return mkdir(NativePath(path), 0777) == 0 || pl_fail_path(errno, path ? path : "");
}

void pl_native_path(char *path)
{
    for (; *path; ++path)
        if (*path == '\\')
            *path = '/';
}

std::string pl_library_path(const char *path)
{
    return path;
}

const char *pl_null_device()
{
    return "/dev/null";
}

char pl_path_list_separator()
{
    return ':';
}

char pl_path_separator()
{
    return '/';
}

bool pl_is_terminal(FILE *stream)
{
    return isatty(fileno(stream)) != 0;
}

bool pl_seek(FILE *stream, uint64_t offset)
{
    return fseeko(stream, static_cast<off_t>(offset), SEEK_SET) == 0;
}
