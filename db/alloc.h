// Where the catalogue layer gets its memory from.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

// std::malloc, unless a test lets it fail.  What it returns is freed with std::free.
inline void *(*db_malloc)(size_t) = std::malloc;

struct DbFree {
    void operator()(void *block) const { std::free(block); }
};
using DbText = std::unique_ptr<char, DbFree>;

// A block of characters; null when memory is short.
inline DbText allocate_text(size_t size)
{
    return DbText(static_cast<char *>(db_malloc(size)));
}
