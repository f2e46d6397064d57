// Memory that runs short.
#pragma once

#include <foundation/alloc.h>

// Lets the n-th allocation from now on fail; 0: every one.
class FailingAllocation {
public:
    explicit FailingAllocation(int nth)
    {
        countdown = nth;
        library_malloc = nth == 0 ? [](size_t) -> void * { return nullptr; }
        : [](size_t size) { return --countdown == 0 ? nullptr : std::malloc(size); };
    }
    ~FailingAllocation() { library_malloc = std::malloc; }

    // Whether the n-th allocation was asked for.
    static bool reached() { return countdown <= 0; }

private:
    static inline int countdown = 0;
};
