// The numbers behind TB_HANDLE.  The system gives the number of a closed handle to the next object at once, so a stale
// copy would reach a stranger; the seam's own numbers come back after half a billion handles.
#pragma once

#include <platform/handle.h>
#include <platform/read_ahead.h>
#include <platform/win32/system.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

enum class HandleKind : uint8_t { lock_file, mutex, process, thread, child_thread, event, pipe, channel };

// Something that a handle stands for.
struct HandleObject {
    HandleObject(OwnedHandle the_system, HandleKind the_kind) : system(std::move(the_system)), kind(the_kind)
    {
    }
    ~HandleObject();

    const OwnedHandle system;
    const HandleKind kind;
    std::atomic<bool> locked{false}; // byte 0 of a lock file, through this handle
    ReadAhead ahead;                 // of a stream
};

// Gives the object a number that fits 31 bits and is never 0.
TB_HANDLE handle_add(OwnedHandle system, HandleKind kind);
TB_HANDLE handle_add(std::shared_ptr<HandleObject> object);

// The object of a handle; null with PL_INVALID_HANDLE for a stale or foreign number.  The caller's reference keeps the
// object alive while another thread closes the handle.
std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle);
std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle, HandleKind kind);

// Keeps every other thread out of the table.
std::unique_lock<std::mutex> handle_table_lock();
