// Events behind handles.
#pragma once

#include <platform/posix/descriptor.h>
#include <platform/posix/handle_table.h>

// The descriptor is readable when the event is set.
class EventObject final : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::event;
    explicit EventObject(Descriptor fd) : HandleObject(kKind), fd_(std::move(fd)) {}
    int fd() const { return fd_.get(); }

private:
    const Descriptor fd_;
};
