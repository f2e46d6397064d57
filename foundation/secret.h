// Memory that held a secret, wiped before it is given back.
#pragma once

#include <foundation/text.h>

#include <cstddef>

// Through a pointer to volatile: a compiler drops stores that nobody reads.
inline void wipe(void *memory, size_t size)
{
    volatile auto *bytes = static_cast<volatile unsigned char *>(memory);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = 0;
}

// A plain value that is zero before and after its use.
template <class T> class Secret {
public:
    Secret() { wipe(&value_, sizeof value_); }
    ~Secret() { wipe(&value_, sizeof value_); }
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;

    T &operator*() { return value_; }
    T *operator->() { return &value_; }

private:
    T value_;
};
