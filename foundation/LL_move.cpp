// Lists: moving runs of elements, turning, sorting.
#include <tamba/lists.h>

#include <foundation/list_node.h>

#include <cstdlib>
#include <utility>

namespace {

// The comparison of the sort that is running: the standard sort hands none through.
LLCompare sys_compare = nullptr;
LLCompare merge_compare = nullptr;

// Moves the run from first up to, not including, stop directly behind at.
void splice(LLHead *at, LLHead *first, LLHead *stop)
{
    LLHead *const last = stop->prev;
    if (first == stop || at == last || at == first->prev)
        return; // nothing to move, or the run is there already
    first->prev->next = stop;
    stop->prev = first->prev;
    last->next = at->next;
    first->prev = at;
    at->next->prev = last;
    at->next = first;
}

int compare_handles(const void *a, const void *b)
{
    return sys_compare(*static_cast<void *const *>(a), *static_cast<void *const *>(b));
}

// Joins two sorted chains of next links, each ended by null; equal elements of a come first.
LLHead *merge(LLHead *a, LLHead *b)
{
    LLHead *first = nullptr;
    LLHead **end = &first;
    while (a && b) {
        LLHead *&smaller = merge_compare(data_of(a), data_of(b)) <= 0 ? a : b;
        *end = smaller;
        end = &smaller->next;
        smaller = smaller->next;
    }
    *end = a ? a : b;
    return first;
}

// Sorts the first count nodes of the chain at *rest and moves *rest behind them.
LLHead *merge_sort(LLHead **rest, uint32_t count)
{
    if (count == 1) {
        LLHead *const node = std::exchange(*rest, (*rest)->next);
        node->next = nullptr;
        return node;
    }
    LLHead *const front = merge_sort(rest, count / 2);
    return merge(front, merge_sort(rest, count - count / 2));
}

} // namespace

void ReverseLL(LLHead *list)
{
    LLHead *node = list;
    do {
        std::swap(node->next, node->prev);
        node = node->prev; // the former next
    } while (node != list);
}

LLHead *SysSortLL(LLHead *list, LLCompare compare)
{
    const uint32_t count = SizeLL(list);
    if (count < 2)
        return list;
    void **const table = LookInLL(list);
    if (!table)
        return MergeSortLL(list, compare); // needs no memory
    void **const elements = table + 1;
    sys_compare = compare;
    std::qsort(elements, count, sizeof *elements, compare_handles);
    InitLL(list);
    for (uint32_t i = 0; i < count; ++i)
        LinkBeforeNodeLL(list, node_of(elements[i]));
    std::free(table);
    return list;
}

LLHead *MergeSortLL(LLHead *list, LLCompare compare)
{
    const uint32_t count = SizeLL(list);
    if (count < 2)
        return list;
    merge_compare = compare;
    LLHead *rest = list->next;
    list->next = merge_sort(&rest, count);
    LLHead *previous = list;
    for (LLHead *node = list->next; node; node = node->next) {
        node->prev = previous;
        previous = node;
    }
    previous->next = list;
    list->prev = previous;
    return list;
}

void MoveListFirstLL(LLHead *dest, LLHead *src)
{
    splice(dest, src->next, src);
}

void MoveListLastLL(LLHead *dest, LLHead *src)
{
    splice(dest->prev, src->next, src);
}

void MoveListAftLL(void *at, LLHead *src)
{
    splice(node_of(at), src->next, src);
}

void MoveListBefLL(void *at, LLHead *src)
{
    splice(node_of(at)->prev, src->next, src);
}

void MoveHeadFirstLL(LLHead *dest, LLHead *src, void *elm)
{
    splice(dest, src->next, node_of(elm));
}

void MoveHeadLastLL(LLHead *dest, LLHead *src, void *elm)
{
    splice(dest->prev, src->next, node_of(elm));
}

void MoveHeadAftLL(void *at, LLHead *src, void *elm)
{
    splice(node_of(at), src->next, node_of(elm));
}

void MoveHeadBefLL(void *at, LLHead *src, void *elm)
{
    splice(node_of(at)->prev, src->next, node_of(elm));
}

void MoveTailFirstLL(LLHead *dest, LLHead *src, void *elm)
{
    splice(dest, node_of(elm), src);
}

void MoveTailLastLL(LLHead *dest, LLHead *src, void *elm)
{
    splice(dest->prev, node_of(elm), src);
}

void MoveTailAftLL(void *at, LLHead *src, void *elm)
{
    splice(node_of(at), node_of(elm), src);
}

void MoveTailBefLL(void *at, LLHead *src, void *elm)
{
    splice(node_of(at)->prev, node_of(elm), src);
}
