#include <platform/lock_file.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>

#include <algorithm>

namespace {

OVERLAPPED at(size_t offset)
{
    OVERLAPPED position = {};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(uint64_t{offset} >> 32);
    return position;
}

bool cut_at(HANDLE file, size_t length)
{
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(length);
    return (SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file)) || pl_fail_last();
}

std::shared_ptr<HandleObject> find_lock_file(TB_HANDLE handle)
{
    auto object = handle_find(handle, HandleKind::lock_file);
    return object && !pl_fault() ? object : nullptr;
}

} // namespace

bool pl_lock_open(const char *path, PlLockOpen mode, TB_HANDLE *handle)
{
    *handle = nullptr;
    if (pl_fault())
        return false;
    const DWORD access = mode == PlLockOpen::read ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    OwnedHandle file(CreateFileA(
        path ? path : "", access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        mode == PlLockOpen::create ? OPEN_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return pl_fail_last();
    *handle = handle_add(std::move(file), HandleKind::lock_file);
    return true;
}

bool pl_lock(TB_HANDLE handle, bool wait)
{
    const auto file = find_lock_file(handle);
    if (!file)
        return false;
    if (file->locked)
        return true; // the system would wait for this very handle
    OVERLAPPED first_byte = at(0);
    const DWORD flags = LOCKFILE_EXCLUSIVE_LOCK | (wait ? 0 : LOCKFILE_FAIL_IMMEDIATELY);
    if (!LockFileEx(file->system.get(), flags, 0, 1, 0, &first_byte))
        return pl_fail_last();
    file->locked = true;
    return true;
}

bool pl_unlock(TB_HANDLE handle)
{
    const auto file = find_lock_file(handle);
    if (!file)
        return false;
    if (!file->locked)
        return true;
    file->locked = false;
    return UnlockFile(file->system.get(), 0, 0, 1, 0) || pl_fail_last();
}

bool pl_lock_probe(TB_HANDLE handle)
{
    const auto file = find_lock_file(handle);
    if (!file)
        return false;
    if (!LockFile(file->system.get(), 0, 0, 1, 0))
        return pl_fail_last();
    return UnlockFile(file->system.get(), 0, 0, 1, 0) || pl_fail_last();
}

bool pl_lock_read(TB_HANDLE handle, char *out, size_t size, size_t *got)
{
    *got = 0;
    const auto file = find_lock_file(handle);
    if (!file)
        return false;
    OVERLAPPED behind_the_lock = at(1);
    DWORD count = 0;
    if (!ReadFile(file->system.get(), out, static_cast<DWORD>(std::min<size_t>(size, 1u << 30)), &count,
                  &behind_the_lock) &&
        GetLastError() != ERROR_HANDLE_EOF)
        return pl_fail_last();
    *got = count;
    return true;
}

bool pl_lock_write(TB_HANDLE handle, const char *text, size_t length, size_t former_length)
{
    const auto file = find_lock_file(handle);
    if (!file)
        return false;
    size_t done = 0;
    while (done < length) {
        OVERLAPPED position = at(done);
        DWORD put = 0;
        const DWORD part = static_cast<DWORD>(std::min<size_t>(length - done, 1u << 30));
        if (!WriteFile(file->system.get(), text + done, part, &put, &position))
            return pl_fail_last();
        if (put == 0)
            return pl_fail(ERROR_DISK_FULL);
        done += put;
    }
    return former_length <= length || cut_at(file->system.get(), length);
}
