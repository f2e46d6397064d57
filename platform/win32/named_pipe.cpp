#include <platform/named_pipe.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>
#include <platform/win32/open_to_all.h>

namespace {

// What the creator and the one who opens may do with a mode.
constexpr DWORD kCreate[] = {PIPE_ACCESS_INBOUND, PIPE_ACCESS_OUTBOUND, PIPE_ACCESS_DUPLEX};
constexpr DWORD kOpen[] = {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};

bool is_mode(int32_t mode)
{
    return (mode >= 0 && mode <= 2) || pl_fail(ERROR_INVALID_PARAMETER);
}

} // namespace

PlNamedPipe pl_named_pipe_create(const char *name, int32_t mode, TB_HANDLE *pipe)
{
    *pipe = nullptr;
    if (pl_fault() || !is_mode(mode))
        return PlNamedPipe::not_created;
    OpenToAll everybody;
    if (!everybody.initialise()) {
        pl_fail_last();
        return PlNamedPipe::descriptor_not_initialised;
    }
    if (!everybody.set()) {
        pl_fail_last();
        return PlNamedPipe::descriptor_not_set;
    }
    OwnedHandle handle(CreateNamedPipeA(name, kCreate[mode], PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
                                        1, 0, 0, 0, everybody.attributes()));
    if (!handle) {
        pl_fail_last();
        return PlNamedPipe::not_created;
    }
    *pipe = handle_add(std::move(handle), HandleKind::pipe);
    return PlNamedPipe::done;
}

bool pl_named_pipe_open(const char *name, int32_t mode, TB_HANDLE *pipe)
{
    *pipe = nullptr;
    if (pl_fault() || !is_mode(mode))
        return false;
    OwnedHandle handle(CreateFileA(name, kOpen[mode], 0, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!handle)
        return pl_fail_last();
    *pipe = handle_add(std::move(handle), HandleKind::pipe);
    return true;
}

bool pl_named_pipe_wait(TB_HANDLE pipe)
{
    const auto object = handle_find(pipe, HandleKind::pipe);
    if (!object || pl_fault())
        return false;
    if (ConnectNamedPipe(object->system.get(), nullptr))
        return true;
    const DWORD error = GetLastError(); // ERROR_NO_DATA: the client has come and gone, what it wrote is there
    return error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA || pl_fail(error);
}
