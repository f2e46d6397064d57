#include <platform/tape.h>

#include <platform/fault.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>

#include <sys/ioctl.h>
#include <sys/mtio.h>
#include <sys/stat.h>

namespace {

PlTapeHook g_hook = nullptr;

PlTape failure(int error)
{
    if (error == ENOENT || error == ENOTDIR || error == ENXIO || error == ENODEV)
        return PlTape::no_device;
    if (error == ENOMEDIUM)
        return PlTape::no_tape;
    pl_fail(error);
    return PlTape::failed;
}

} // namespace

PlTape pl_tape_status(const char *device)
{
    if (g_hook)
        return g_hook(device);
    if (pl_fault())
        return PlTape::failed;
    // Looked at before it is opened: to open something else that goes by this name may do more than look.
    struct stat status;
    if (stat(device, &status) != 0)
        return failure(errno);
    if (!S_ISCHR(status.st_mode))
        return PlTape::no_device;
    const Descriptor tape(
        again_after_signal([&] { return open(device, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    if (!tape)
        return failure(errno);
    mtget state{};
    if (ioctl(tape.get(), MTIOCGET, &state) != 0)
        return errno == ENOTTY || errno == EINVAL || errno == ENOSYS ? PlTape::no_device : failure(errno);
    return GMT_ONLINE(state.mt_gstat) && !GMT_DR_OPEN(state.mt_gstat) ? PlTape::online : PlTape::no_tape;
}

void pl_set_tape_hook(PlTapeHook hook)
{
    g_hook = hook;
}
