#include <platform/win32/handle_table.h>

#include <platform/win32/errors.h>

#include <map>
#include <mutex>

namespace {

struct Entry {
    HandleKind kind;
    bool locked;
};

struct Table {
    std::mutex mutex;
    std::map<TB_HANDLE, Entry> entries;
};

// Never destroyed: threads may still use handles while the process ends.
Table &table()
{
    static Table *const table = new Table;
    return *table;
}

// Copies the entry; false when the handle is not open.
bool find(TB_HANDLE handle, Entry *entry)
{
    Table &t = table();
    const std::lock_guard lock(t.mutex);
    const auto found = t.entries.find(handle);
    if (found == t.entries.end())
        return pl_fail(ERROR_INVALID_HANDLE);
    *entry = found->second;
    return true;
}

} // namespace

TB_HANDLE handle_add(OwnedHandle object, HandleKind kind)
{
    Table &t = table();
    const std::lock_guard lock(t.mutex);
    t.entries[object.get()] = {kind, false};
    return object.release();
}

bool handle_is(TB_HANDLE handle, HandleKind kind)
{
    Entry entry;
    return find(handle, &entry) && (entry.kind == kind || pl_fail(ERROR_INVALID_HANDLE));
}

bool handle_is_waitable(TB_HANDLE handle)
{
    Entry entry;
    return find(handle, &entry) && (entry.kind == HandleKind::process || entry.kind == HandleKind::thread ||
                                    pl_fail(ERROR_INVALID_HANDLE));
}

bool handle_is_locked(TB_HANDLE handle)
{
    Entry entry;
    return find(handle, &entry) && entry.locked;
}

void handle_set_locked(TB_HANDLE handle, bool locked)
{
    Table &t = table();
    const std::lock_guard lock(t.mutex);
    const auto found = t.entries.find(handle);
    if (found != t.entries.end())
        found->second.locked = locked;
}

bool pl_close(TB_HANDLE handle)
{
    Table &t = table();
    Entry entry;
    {
        const std::lock_guard lock(t.mutex);
        const auto found = t.entries.find(handle);
        if (found == t.entries.end())
            return pl_fail(ERROR_INVALID_HANDLE);
        entry = found->second;
        t.entries.erase(found); // the number cannot come back before the handle is closed
    }
    // Closing gives up the lock as well, but only when the system finds the time for it.
    if (entry.locked)
        UnlockFile(handle, 0, 0, 1, 0);
    return CloseHandle(handle) || pl_fail_last();
}
