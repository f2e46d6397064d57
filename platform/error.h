// Errors of the seam: a kind that decides and a native number that is printed.
#pragma once

#include <cstddef>
#include <cstdint>

// Kinds carry the numbers that the system's logic and its fixed results name.  Logic compares kinds only.
enum PlKind : int32_t {
    PL_OTHER = -1,
    PL_OK = 0,
    PL_FILE_NOT_FOUND = 2, // the last part of a path is missing
    PL_PATH_NOT_FOUND = 3, // a directory of the path is missing
    PL_ACCESS_DENIED = 5,
    PL_INVALID_HANDLE = 6, // unknown or stale handle, or a name that means another kind of object
    PL_NO_MEMORY = 8,
    PL_LOCK_VIOLATION = 33, // somebody else holds the lock
    PL_INVALID_PARAMETER = 87,
    PL_BROKEN_PIPE = 109,
    PL_DISK_FULL = 112,
    PL_WAIT_EXPIRED = 121,
    PL_ALREADY_EXISTS = 183,
    PL_PIPE_BUSY = 231,      // every instance of the pipe has its client
    PL_NO_DATA = 232,        // the reader of the pipe has gone
    PL_MORE_DATA = 234,      // the buffer was too small; it holds the beginning
    PL_PIPE_CONNECTED = 535, // a client was there before one was waited for
    PL_PIPE_LISTENING = 536, // nobody has connected yet
    PL_IO_PENDING = 997,     // begun; its outcome is to be collected
    PL_WOULD_BLOCK = 10035,
    PL_ADDRESS_IN_USE = 10048,
    PL_TIMED_OUT = 10060, // the other host does not answer
    PL_CONNECTION_REFUSED = 10061,
};

struct PlError {
    int32_t kind;
    int32_t number; // of the operating system; its text comes from pl_error_text
};

// The error of the last failing pl_ function of this thread.  Successful calls leave it alone.
PlError pl_last_error();

// The two sides of the seam report with it.  As its last act it leaves the number where the system leaves its own
// (errno, SetLastError), so that a program's next failing call of the system is told from ours.
void pl_set_error(PlError error);

// That place: the system's last error in this thread, whoever has failed.
int32_t pl_system_error();
void pl_set_system_error(int32_t number);

// For a service that only observes (the trace): all errors of the thread are afterwards what they were.
class PlErrorKeeper {
public:
    PlErrorKeeper();
    ~PlErrorKeeper();
    PlErrorKeeper(const PlErrorKeeper &) = delete;
    PlErrorKeeper &operator=(const PlErrorKeeper &) = delete;

private:
    const int32_t system_;
    const int c_error_;
    const PlError error_;
};

// Sets the last error, and errno, as a call that failed for this reason leaves them on this platform.
void pl_fail_as(PlKind kind);

// Writes the system's text of a native number into out (cut, terminated, no line end) and returns its length;
// 0 when the system has none.
size_t pl_error_text(int32_t number, char *out, size_t size);

// The C library's text of a C library error number, the same way.
size_t pl_c_error_text(int32_t number, char *out, size_t size);
