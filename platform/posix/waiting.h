// Waiting for descriptors, and threads that can be ended while they wait.
#pragma once

#include <platform/process.h>

#include <cstddef>
#include <cstdint>
#include <poll.h>
#include <pthread.h>

// poll() until one of the entries is ready or the time is over (kPlForever: without a limit); a signal does not change
// that.  The result and errno are poll's.
int poll_until(pollfd *entries, size_t count, uint32_t milliseconds);

// Waits until a descriptor is readable, or what it is connected to has ended.
PlWait wait_readable(int fd, uint32_t milliseconds);

// While it lives, a thread that the seam has started can be ended from outside; anywhere else it might hold a lock.
// The system ends it without running destructors.
class CancelPoint {
public:
    CancelPoint();
    ~CancelPoint();
    CancelPoint(const CancelPoint &) = delete;
    CancelPoint &operator=(const CancelPoint &) = delete;

private:
    const bool own_thread_;
};

// Starts a thread that nobody joins, with all signals blocked: the program's handlers run in the program's own
// threads.  Returns 0 or the error.
int start_detached(void *(*fn)(void *), void *argument, pthread_t *thread);
