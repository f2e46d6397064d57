#include <platform/private_file.h>

#include <platform/fault.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>

#include <sys/stat.h>

PlPrivate pl_read_private_file(const char *path, char *out, size_t size, size_t *length)
{
    if (pl_fault())
        return PlPrivate::unreadable;
    const std::string name = native_path(path);
    // Without O_NONBLOCK the open of a named pipe would wait for a writer.
    const Descriptor file(
        again_after_signal([&] { return open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    struct stat info;
    if (!file || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        pl_fail_path(file ? EISDIR : errno, name.c_str());
        return PlPrivate::unreadable;
    }
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0 || (info.st_uid != geteuid() && info.st_uid != 0))
        return PlPrivate::exposed;
    *length = 0;
    while (*length < size) {
        const ssize_t got =
            again_after_signal([&] { return read(file.get(), out + *length, size - *length); });
        if (got < 0) {
            pl_fail(errno);
            return PlPrivate::unreadable;
        }
        if (got == 0)
            break;
        *length += static_cast<size_t>(got);
    }
    return PlPrivate::read;
}
