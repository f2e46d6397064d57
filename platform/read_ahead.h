// The bytes of a stream that were read before they were asked for.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

class ReadAhead {
public:
    bool empty() const { return at_ == end_; }

    size_t take(void *out, size_t size)
    {
        const size_t count = std::min(size, end_ - at_);
        std::memcpy(out, bytes_.get() + at_, count);
        at_ += count;
        return count;
    }

    // One byte; when there is none, read(buffer, size, &got) fetches the next ones.
    template <class Read> bool take_byte(char *byte, size_t *got, Read read)
    {
        if (empty()) {
            if (!bytes_)
                bytes_.reset(new char[kSize]);
            at_ = end_ = 0;
            if (!read(bytes_.get(), kSize, &end_))
                return false;
        }
        *got = empty() ? 0 : take(byte, 1);
        return true;
    }

private:
    static constexpr size_t kSize = 4096;
    std::unique_ptr<char[]> bytes_;
    size_t at_ = 0, end_ = 0;
};
