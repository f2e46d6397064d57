// The system's header, and owners for what it hands out.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <utility>

class OwnedHandle {
public:
    OwnedHandle() = default;
    explicit OwnedHandle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    OwnedHandle(OwnedHandle &&other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    OwnedHandle &operator=(OwnedHandle &&other) noexcept
    {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~OwnedHandle() // the reason of a failure stays the last error
    {
        const DWORD error = GetLastError();
        if (handle_)
            CloseHandle(handle_);
        SetLastError(error);
    }

    HANDLE get() const { return handle_; }
    HANDLE release() { return std::exchange(handle_, nullptr); }
    bool close() { return CloseHandle(release()) != 0; }
    explicit operator bool() const { return handle_ != nullptr; }

private:
    HANDLE handle_ = nullptr;
};
