#include <process/pipe_watch.h>

#include <foundation/trace_scope.h>
#include <platform/child_pipe.h>
#include <platform/error.h>
#include <platform/event.h>
#include <platform/thread.h>
#include <process/pipe_timing.h>

#include <mutex>
#include <unordered_map>

namespace {

constexpr uint32_t kBrokenPipe = 109;

// What a watching thread works on: handles of its own, because the child's are closed before it ends.
struct Watch {
    TB_HANDLE child, stop;
    ~Watch()
    {
        pl_close(child);
        pl_close(stop);
    }
};

// The events that stop the watches, by the handle that the caller of begin_watch holds.
class StopEvents {
public:
    void add(TB_HANDLE watch, TB_HANDLE stop)
    {
        const std::lock_guard lock(mutex_);
        events_[watch] = stop;
    }
    TB_HANDLE take(TB_HANDLE watch)
    {
        const std::lock_guard lock(mutex_);
        const auto found = events_.find(watch);
        if (found == events_.end())
            return nullptr;
        const TB_HANDLE stop = found->second;
        events_.erase(found);
        return stop;
    }

private:
    std::mutex mutex_;
    std::unordered_map<TB_HANDLE, TB_HANDLE> events_;
};

StopEvents &stop_events()
{
    static StopEvents *const events = new StopEvents;
    return *events;
}

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

uint32_t vControlSubprocess(void *passed)
{
    const Watch *const watch = static_cast<Watch *>(passed);
    int32_t suspended = 0;
    PlEither outcome;
    while ((outcome = pl_wait_either(watch->child, watch->stop, pipe_timing.watch_slice_ms)) ==
           PlEither::timed_out) {
        const int32_t count = resume_child(watch->child);
        if (suspended == 0)
            suspended = count;
    }
    delete watch;
    own_trace("vControlSubprocess: WaitForSingleObject returned %d",
              outcome == PlEither::failed ? -1 : static_cast<int>(outcome));
    if (suspended == 0)
        return 0;
    own_trace("vControlSubprocess: set exit to ERROR_BROKEN_PIPE");
    return kBrokenPipe;
}

} // namespace

TB_HANDLE begin_watch(TB_HANDLE child_thread)
{
    auto *const watch = new Watch{pl_duplicate(child_thread), pl_event_create()};
    const TB_HANDLE stop = watch->stop ? pl_duplicate(watch->stop) : nullptr;
    TB_HANDLE thread = nullptr;
    if (!watch->child || !stop || !pl_thread_start(vControlSubprocess, watch, &thread)) {
        const PlError reason = pl_last_error(); // of what is missing; closing it fails, too
        pl_close(stop);
        delete watch;
        pl_set_error(reason);
        return nullptr;
    }
    stop_events().add(thread, stop);
    return thread;
}

int32_t end_watch(TB_HANDLE watch, int32_t child_code)
{
    const TB_HANDLE stop = stop_events().take(watch);
    uint32_t code = kBrokenPipe;
    if (pl_wait(watch, pipe_timing.watcher_ms) == PlWait::timed_out) {
        // Ending a thread by force would leave behind what it holds: it is told to end and not waited for.
        own_trace("timeout reached: %d", static_cast<int>(pipe_timing.watcher_ms));
        own_trace(">> call TerminateThread");
        pl_event_set(stop);
        code = static_cast<uint32_t>(child_code);
    } else if (!pl_thread_exit_code(watch, &code)) {
        code = kBrokenPipe;
    }
    pl_close(stop);
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
