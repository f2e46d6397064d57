// Where the library gets memory from whose lack it reports: all that grows with what callers, files and the catalogue
// deliver.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

// std::malloc, unless a test lets it fail.  What it returns is freed with std::free.
inline void *(*library_malloc)(size_t) = std::malloc;

struct FreeText {
    void operator()(void *block) const { std::free(block); }
};
using AllocatedText = std::unique_ptr<char, FreeText>;

// A block of bytes that are zero; null when memory is short.
inline void *allocate_zeroed(size_t size)
{
    void *const block = library_malloc(size);
    return block ? std::memset(block, 0, size) : nullptr;
}

// A block of characters; null when memory is short.
inline AllocatedText allocate_text(size_t size)
{
    return AllocatedText(static_cast<char *>(library_malloc(size)));
}

// A row of plain values that grows at its end.  A lack of memory is told and changes nothing.
template <class T> class Growing {
public:
    Growing() = default;
    ~Growing() { std::free(items_); }
    Growing(const Growing &) = delete;
    Growing &operator=(const Growing &) = delete;

    [[nodiscard]] bool reserve(size_t room)
    {
        if (room <= room_)
            return true;
        auto *const larger = static_cast<T *>(library_malloc(room * sizeof(T)));
        if (!larger)
            return false;
        std::copy(items_, items_ + size_, larger);
        std::free(items_);
        items_ = larger;
        room_ = room;
        return true;
    }
    [[nodiscard]] bool add(const T *items, size_t count)
    {
        if (room_ - size_ < count && !reserve(std::max(2 * room_, size_ + count)))
            return false;
        std::copy(items, items + count, items_ + size_);
        size_ += count;
        return true;
    }
    [[nodiscard]] bool add(T item) { return add(&item, 1); }
    void clear() { size_ = 0; }

    T *data() const { return items_; }
    size_t size() const { return size_; }

private:
    T *items_ = nullptr;
    size_t size_ = 0, room_ = 0;
};
