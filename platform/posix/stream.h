// Byte streams behind handles.
#pragma once

#include <platform/posix/descriptor.h>
#include <platform/posix/handle_table.h>
#include <platform/read_ahead.h>

class StreamObject : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::pipe;
    explicit StreamObject(Descriptor fd) : HandleObject(kKind), fd_(std::move(fd)) {}

    // One call of the system each, results as pl_read and pl_write.
    virtual bool read(void *buffer, size_t size, size_t *got);
    virtual bool write(const void *data, size_t size, size_t *put);
    bool at_end() const;
    virtual bool is_server() const { return false; }

    ReadAhead ahead;

protected:
    Descriptor fd_;
};
