// A semaphore that is held for the length of a scope.
#pragma once

#include <tamba/semaphore.h>

class SemaphoreGuard {
public:
    // Takes the semaphore; with '*' for operation it does not wait.  A NULL text counts as "".
    SemaphoreGuard(const char *name, const char *requester, const TraceContext &trace, char operation = '+');
    ~SemaphoreGuard() { release(); }
    SemaphoreGuard(const SemaphoreGuard &) = delete;
    SemaphoreGuard &operator=(const SemaphoreGuard &) = delete;

    // False when it could not be taken: the operation must end, message() tells why.  True also when this
    // process holds the semaphore already; that holder then goes on holding it when the guard ends.
    bool held() const { return held_; }
    const char *message() const { return record_.message; }

    // Ends the hold before the scope does.
    void release();

private:
    const TraceContext trace_;
    SemaRecord record_{};
    bool held_;
};
