// Where the library gets memory from whose lack it reports.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

// std::malloc, unless a test lets it fail.  What it returns is freed with std::free.
inline void *(*library_malloc)(size_t) = std::malloc;

struct FreeText {
    void operator()(void *block) const { std::free(block); }
};
using AllocatedText = std::unique_ptr<char, FreeText>;

// A block of characters; null when memory is short.
inline AllocatedText allocate_text(size_t size)
{
    return AllocatedText(static_cast<char *>(library_malloc(size)));
}
