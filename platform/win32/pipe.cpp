#include <platform/pipe.h>

#include <platform/child_pipe.h>
#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/stream.h>

bool stream_read(HandleObject &stream, void *buffer, size_t size, size_t *got)
{
    DWORD count = 0;
    if (!ReadFile(stream.system.get(), buffer, static_cast<DWORD>(size), &count, nullptr))
        return pl_fail_last();
    *got = count;
    return true;
}

bool pl_read(TB_HANDLE stream, void *buffer, size_t size, size_t *got)
{
    *got = 0;
    const auto object = handle_find(stream, HandleKind::pipe);
    if (!object || pl_fault())
        return false;
    if (!object->ahead.empty()) {
        *got = object->ahead.take(buffer, size);
        return true;
    }
    return stream_read(*object, buffer, size, got);
}

bool pl_read_byte(TB_HANDLE stream, char *byte, size_t *got)
{
    *got = 0;
    const auto object = handle_find(stream, HandleKind::pipe);
    if (!object || pl_fault())
        return false;
    return object->ahead.take_byte(byte, got, [&](char *buffer, size_t size, size_t *count) {
        return stream_read(*object, buffer, size, count);
    });
}

bool pl_write(TB_HANDLE stream, const void *data, size_t size, size_t *put)
{
    *put = 0;
    const auto object = handle_find(stream, HandleKind::pipe);
    DWORD count = 0;
    if (!object || pl_fault())
        return false;
    if (!WriteFile(object->system.get(), data, static_cast<DWORD>(size), &count, nullptr))
        return pl_fail_last();
    *put = count;
    return true;
}
