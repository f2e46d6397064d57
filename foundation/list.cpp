// Queues of blocks.
#include <tamba/options.h>

#include <foundation/alloc.h>

#include <cstdlib>
#include <cstring>

namespace {

void copy_bytes(void *to, const void *from, int32_t size)
{
    if (size > 0 && to && from)
        std::memcpy(to, from, static_cast<size_t>(size));
}

void free_item(FIFOItem *item)
{
    std::free(item->data);
    std::free(item);
}

} // namespace

FIFOList *CreateFIFOList(void)
{
    return static_cast<FIFOList *>(allocate_zeroed(sizeof(FIFOList)));
}

int32_t PushFIFOItem(FIFOList *list, const void *data, int32_t size)
{
    if (!list || size < 0 || (!data && size > 0))
        return 0;
    AllocatedText copy = allocate_text(static_cast<size_t>(size) + 1);
    auto *const item = static_cast<FIFOItem *>(copy ? allocate_zeroed(sizeof(FIFOItem)) : nullptr);
    if (!item)
        return 0;
    item->data = copy.release();
    copy_bytes(item->data, data, size);
    item->size = size;
    (list->last ? list->last->next : list->first) = item;
    list->last = item;
    ++list->count;
    return 1;
}

int32_t PullFIFOItem(FIFOList *list, void *out, int32_t *size)
{
    if (!list || !list->first)
        return 0;
    FIFOItem *const item = list->first;
    copy_bytes(out, item->data, item->size);
    if (size)
        *size = item->size;
    list->first = item->next;
    if (!list->first)
        list->last = nullptr;
    --list->count;
    free_item(item);
    return 1;
}

int32_t PeekFIFOItem(const FIFOList *list, int32_t n, void *out, int32_t *size)
{
    if (!list || n < 1 || n > list->count)
        return 0;
    const FIFOItem *item = list->first;
    while (--n > 0)
        item = item->next;
    copy_bytes(out, item->data, item->size);
    if (size)
        *size = item->size;
    return 1;
}

void FreeFIFOList(FIFOList *list)
{
    if (!list)
        return;
    while (FIFOItem *const item = list->first) {
        list->first = item->next;
        free_item(item);
    }
    std::free(list);
}
