// Byte streams behind handles.
#pragma once

#include <platform/posix/descriptor.h>
#include <platform/posix/handle_table.h>
#include <platform/read_ahead.h>

class StreamObject : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::pipe;
    // mode: 0 only reads, 1 only writes, 2 both.
    explicit StreamObject(Descriptor fd, int mode = 2) : HandleObject(kKind), fd_(std::move(fd)), mode_(mode)
    {
    }

    // One call of the system each, results as pl_read and pl_write.
    bool read(void *buffer, size_t size, size_t *got);
    virtual bool write(const void *data, size_t size, size_t *put);
    bool at_end() const;
    virtual bool is_server() const { return false; }

    ReadAhead ahead;

protected:
    // Whether the other side is there; false and the last error.
    virtual bool is_ready() { return true; }

    Descriptor fd_;

private:
    const int mode_;
};
