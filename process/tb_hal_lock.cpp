// Single-instance locks.
#include <tamba/process.h>

#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/mutex.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kErrorTextSize = 256;

[[noreturn]] void end_without_lock()
{
    std::fflush(stdout);
    std::exit(1);
}

} // namespace

// A handle that stays open is meant to: the name is taken until the process ends.
void AVOID_MULTI_PROCESS(const char *name)
{
    const char *const lock = text_or_empty(name);
    TB_HANDLE handle = nullptr;
    const PlMutex result = pl_mutex_create(lock, &handle);
    if (result == PlMutex::created) {
        own_trace("got exclusive lock for %s", lock);
        return;
    }
    const PlError error = pl_last_error();
    if (result == PlMutex::existed || error.kind == PL_INVALID_HANDLE) {
        own_trace("--- MUTEX %s is yet occupied (%s)", lock,
                  result == PlMutex::existed ? "ERROR_ALREADY_EXISTS" : "ERROR_INVALID_HANDLE");
        std::printf("STATUS=ERROR MSG=MUTEX %s is yet occupied\n", lock);
        end_without_lock();
    }
    char reason[kErrorTextSize];
    pl_error_text(error.number, reason, sizeof reason);
    own_trace("--- MUTEX %s is yet occupied: %s", lock, reason);
    std::printf("STATUS=ERROR MSG=MUTEX %s is yet occupied: %s\n", lock, reason);
    end_without_lock();
}

int32_t i_GET_LOCK_FOR_PROCESS(char mode, const char *name, char *msg, int32_t size)
{
    const char *const lock = text_or_empty(name);
    const size_t msg_size = size > 0 ? static_cast<size_t>(size) : 0;
    TB_HANDLE handle = nullptr;
    // A lock that cannot be made at all counts as occupied: claiming it would be unsafe.
    if (pl_mutex_create(lock, &handle) != PlMutex::created) {
        format_text(msg, msg_size, "MUTEX %s is yet occupied", lock);
        return 0;
    }
    if (mode == '+') {
        format_text(msg, msg_size, "got exclusive lock for %s", lock);
        return 1;
    }
    pl_mutex_release(handle);
    format_text(msg, msg_size, "got and released lock for %s", lock);
    return 1;
}
