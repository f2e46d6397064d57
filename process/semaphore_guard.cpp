#include <process/semaphore_guard.h>

#include <foundation/text.h>

SemaphoreGuard::SemaphoreGuard(const char *name, const char *requester, const TraceContext &trace,
                               char operation)
    : trace_(trace)
{
    copy_text(record_.name, sizeof record_.name, text_or_empty(name));
    copy_text(record_.requester, sizeof record_.requester, text_or_empty(requester));
    held_ = i_SEMA(operation, &record_, trace_) == 1;
}

// A take that failed may have left the file open, and the release closes it.  Without a handle there is
// nothing to give back: somebody else of this process holds the semaphore.
void SemaphoreGuard::release()
{
    held_ = false;
    if (!record_.handle)
        return;
    i_SEMA('-', &record_, trace_);
    record_.handle = nullptr;
}
