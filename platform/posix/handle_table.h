// The numbers behind TB_HANDLE.  A handle is a slot and a generation in one number of at most 31 bits, never
// 0: a copy that outlived its object is recognised and never reaches the object that took the slot.
#pragma once

#include <platform/handle.h>
#include <platform/process.h>

#include <cstdint>
#include <memory>

enum class HandleKind : uint8_t { lock_file, mutex, process, thread, event, pipe, channel };

// Something that a handle stands for; its destructor gives back what it holds.
class HandleObject {
public:
    explicit HandleObject(HandleKind kind) : kind_(kind) {}
    virtual ~HandleObject() = default;
    HandleObject(const HandleObject &) = delete;
    HandleObject &operator=(const HandleObject &) = delete;

    HandleKind kind() const { return kind_; }

    // Only processes and threads end.
    virtual PlWait wait(uint32_t milliseconds);

private:
    const HandleKind kind_;
};

// Gives the object a number; null and the last error when the table is full.
TB_HANDLE handle_add(std::shared_ptr<HandleObject> object);

// The object of a handle; null with PL_INVALID_HANDLE for a stale or foreign number.  The caller's reference
// keeps the object alive while another thread closes the handle.
std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle);
std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle, HandleKind kind);

// The same as its own type; Object::kKind tells which kind that is.
template <class Object> std::shared_ptr<Object> handle_get(TB_HANDLE handle)
{
    return std::static_pointer_cast<Object>(handle_find(handle, Object::kKind));
}
