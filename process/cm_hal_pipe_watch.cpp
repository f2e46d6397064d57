#include <process/pipe_watch.h>

#include <foundation/trace_scope.h>
#include <platform/child_pipe.h>
#include <platform/event.h>
#include <platform/thread.h>
#include <process/pipe_timing.h>

namespace {

constexpr uint32_t kBrokenPipe = 109;

// Takes suspensions back until one at most is left.  Returns how often the child was suspended.
int32_t resume_child(TB_HANDLE child)
{
    int32_t first = 0;
    for (;;) {
        const int32_t count = pl_child_resume(child);
        own_trace("vControlSubprocess: dwSuspendCounter = %d", count);
        if (count <= 0) {
            if (count == 0)
                own_trace("process was not suspended");
            return first;
        }
        if (first == 0)
            first = count;
        if (count == 1) {
            own_trace("process was suspended now restartet");
            return first;
        }
        own_trace("process was suspended %d times", count);
    }
}

uint32_t vControlSubprocess(void *child, TB_HANDLE stop)
{
    int32_t suspended = 0;
    PlEither outcome;
    while ((outcome = pl_wait_either(child, stop, pipe_timing.watch_slice_ms)) == PlEither::timed_out) {
        const int32_t count = resume_child(child);
        if (suspended == 0)
            suspended = count;
    }
    pl_close(child);
    own_trace("vControlSubprocess: WaitForSingleObject returned %d",
              outcome == PlEither::failed ? -1 : static_cast<int>(outcome));
    if (suspended == 0)
        return 0;
    own_trace("vControlSubprocess: set exit to ERROR_BROKEN_PIPE");
    return kBrokenPipe;
}

} // namespace

// The thread has a handle of its own: the caller's is closed before the child ends.
TB_HANDLE begin_watch(TB_HANDLE child_thread)
{
    const TB_HANDLE child = pl_duplicate(child_thread);
    TB_HANDLE watch = nullptr;
    if (child && !pl_thread_start(vControlSubprocess, child, &watch))
        pl_close(child);
    return watch;
}

int32_t end_watch(TB_HANDLE watch, int32_t child_code)
{
    uint32_t code = kBrokenPipe;
    if (pl_wait(watch, pipe_timing.watcher_ms) == PlWait::timed_out) {
        // Ending a thread by force would leave behind what it holds: it is told to end and not waited for.
        own_trace("timeout reached: %d", static_cast<int>(pipe_timing.watcher_ms));
        own_trace(">> call TerminateThread");
        pl_thread_stop(watch);
        code = static_cast<uint32_t>(child_code);
    } else if (!pl_thread_exit_code(watch, &code)) {
        code = kBrokenPipe;
    }
    pl_close(watch);
    if (code != kBrokenPipe)
        return child_code;
    if (child_code != 0) {
        own_trace("Return error from subprocess %d (do not return ERROR_BROKEN_PIPE)", child_code);
        return child_code;
    }
    own_trace("Overwrite subprocess exit code ERROR_SUCCESS with ERROR_BROKEN_PIPE");
    return static_cast<int32_t>(kBrokenPipe);
}
