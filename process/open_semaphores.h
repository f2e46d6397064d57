// Which semaphores this process has open.
#pragma once

#include <tamba/handle.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

// The open semaphore files.  The holder text in a file is no proof of an own hold: between
// the lock and the write of the next holder it still names the last one, which may have been this process.
class OpenSemaphores {
public:
    void add(TB_HANDLE handle)
    {
        const std::lock_guard lock(mutex_);
        entries_.push_back({handle, 0, {}});
    }

    void set_holding(TB_HANDLE handle, uint32_t pid, std::string_view path)
    {
        const std::lock_guard lock(mutex_);
        for (Entry &entry : entries_)
            if (entry.handle == handle) {
                entry.holder = pid;
                entry.path = path;
            }
    }

    bool holds(uint32_t pid, std::string_view path)
    {
        const std::lock_guard lock(mutex_);
        return std::any_of(entries_.begin(), entries_.end(),
                           [&](const Entry &entry) { return entry.holder == pid && entry.path == path; });
    }

    bool waits_for_release(TB_HANDLE handle)
    {
        const std::lock_guard lock(mutex_);
        return std::any_of(entries_.begin(), entries_.end(),
                           [&](const Entry &entry) { return entry.handle == handle && entry.holder == 0; });
    }

    void remove(TB_HANDLE handle)
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(entries_, [&](const Entry &entry) { return entry.handle == handle; });
    }

private:
    struct Entry {
        TB_HANDLE handle;
        uint32_t holder; // 0: the lock was not obtained
        std::string path;
    };
    std::mutex mutex_;
    std::vector<Entry> entries_;
};

// Never destroyed: semaphores are released until the process is gone.
inline OpenSemaphores &open_semaphores()
{
    static OpenSemaphores *const all = new OpenSemaphores;
    return *all;
}
