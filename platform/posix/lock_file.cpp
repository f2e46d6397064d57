// Open-file-description locks: they belong to the open file, not to the process, so that a second opening of
// the same process is excluded too and closing one opening does not drop the lock of another.
#include <platform/lock_file.h>

#include <platform/fault.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>
#include <platform/posix/handle_table.h>

#include <algorithm>

namespace {

class LockFile final : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::lock_file;
    explicit LockFile(Descriptor fd) : HandleObject(kKind), fd_(std::move(fd)) {}
    // A child between fork and exec still shares the open file: only an unlock of its own ends the lock at
    // once.
    ~LockFile() override { unlock(); }

    bool lock(bool wait)
    {
        struct flock region = first_byte(F_WRLCK);
        const int command = wait ? F_OFD_SETLKW : F_OFD_SETLK;
        if (again_after_signal([&] { return fcntl(fd_.get(), command, &region); }) == 0) {
            locked_ = true;
            return true;
        }
        return errno == EAGAIN || errno == EACCES ? pl_fail(PL_LOCK_VIOLATION, errno) : pl_fail(errno);
    }

    bool unlock()
    {
        struct flock region = first_byte(F_UNLCK);
        if (!locked_)
            return true;
        locked_ = false;
        return fcntl(fd_.get(), F_OFD_SETLK, &region) == 0 || pl_fail(errno);
    }

    // Asks without taking, which a read-only descriptor may do too.
    bool probe() const
    {
        struct flock region = first_byte(F_WRLCK);
        if (fcntl(fd_.get(), F_OFD_GETLK, &region) != 0)
            return pl_fail(errno);
        return region.l_type == F_UNLCK || pl_fail(PL_LOCK_VIOLATION, EAGAIN);
    }

    int fd() const { return fd_.get(); }

private:
    static struct flock first_byte(short type)
    {
        struct flock region = {};
        region.l_type = type;
        region.l_whence = SEEK_SET;
        region.l_len = 1;
        return region;
    }

    const Descriptor fd_;
    bool locked_ = false;
};

int open_flags(PlLockOpen mode)
{
    // Without O_NONBLOCK the open of a named pipe would wait for a partner.
    constexpr int kAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    switch (mode) {
    case PlLockOpen::read:
        return O_RDONLY | kAlways;
    case PlLockOpen::write:
        return O_RDWR | kAlways;
    default:
        return O_RDWR | O_CREAT | kAlways;
    }
}

} // namespace

bool pl_lock_open(const char *path, PlLockOpen mode, TB_HANDLE *handle)
{
    *handle = nullptr;
    if (pl_fault())
        return false;
    const std::string native = native_path(path);
    // Readable and writable for everybody as far as the umask allows: processes of other users lock the same
    // file.
    Descriptor fd(again_after_signal([&] { return open(native.c_str(), open_flags(mode), 0666); }));
    if (!fd)
        return pl_fail_path(errno, native.c_str());
    *handle = handle_add(std::make_shared<LockFile>(std::move(fd)));
    return *handle != nullptr;
}

bool pl_lock(TB_HANDLE handle, bool wait)
{
    const auto file = handle_get<LockFile>(handle);
    return file && !pl_fault() && file->lock(wait);
}

bool pl_unlock(TB_HANDLE handle)
{
    const auto file = handle_get<LockFile>(handle);
    return file && !pl_fault() && file->unlock();
}

bool pl_lock_probe(TB_HANDLE handle)
{
    const auto file = handle_get<LockFile>(handle);
    return file && !pl_fault() && file->probe();
}

bool pl_lock_read(TB_HANDLE handle, char *out, size_t size, size_t *got)
{
    *got = 0;
    const auto file = handle_get<LockFile>(handle);
    if (!file || pl_fault())
        return false;
    const ssize_t count = again_after_signal([&] { return pread(file->fd(), out, size, 1); });
    if (count < 0)
        return pl_fail(errno);
    *got = static_cast<size_t>(count);
    return true;
}

bool pl_lock_write(TB_HANDLE handle, const char *text, size_t length, size_t former_length)
{
    const auto file = handle_get<LockFile>(handle);
    if (!file || pl_fault())
        return false;
    size_t done = 0;
    while (done < length) {
        const ssize_t put = again_after_signal(
            [&] { return pwrite(file->fd(), text + done, length - done, static_cast<off_t>(done)); });
        if (put <= 0)
            return pl_fail(put < 0 ? errno : ENOSPC);
        done += static_cast<size_t>(put);
    }
    if (former_length <= length)
        return true;
    return again_after_signal([&] { return ftruncate(file->fd(), static_cast<off_t>(length)); }) == 0 ||
           pl_fail(errno);
}
