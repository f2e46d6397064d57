// Lists: sorting.
//
// The nodes of a long list lie scattered in memory, and what a sort spends is mostly waiting for them.  Both sorts
// therefore name nodes to the processor some places before their turn comes.
#include <tamba/lists.h>

#include <foundation/list_node.h>
#include <foundation/prefetch.h>

#include <cstdint>
#include <cstdlib>
#include <utility>

namespace {

constexpr uint32_t kAhead = 8; // places; enough to hide the memory, few enough to stay in the cache

// What the sort that is running compares with: the standard sort hands nothing through.
LLCompare merge_compare = nullptr;
struct {
    LLCompare compare = nullptr;
    void *const *table = nullptr; // the handles that are being sorted
    uint32_t count = 0;
} sys_sort;

// The standard sort goes through the table step by step, so that the next handles stand behind the one it asks for.
// It may ask for a copy of its own as well.
void *const *take_handle(const void *place)
{
    auto *const handle = static_cast<void *const *>(place);
    const uintptr_t distance =
        reinterpret_cast<uintptr_t>(handle) - reinterpret_cast<uintptr_t>(sys_sort.table);
    if (distance / sizeof *handle + kAhead < sys_sort.count) // a place before the table is far behind it here
        prefetch(handle[kAhead]);
    return handle;
}

int compare_handles(const void *a, const void *b)
{
    void *const *const first = take_handle(a);
    void *const *const second = take_handle(b);
    return sys_sort.compare(*first, *second);
}

// A chain of next links that grows at its end.  While it is being sorted nobody needs the prev links: each holds the
// node that stands kAhead places further on, only to be named to the processor.
class Chain {
public:
    Chain()
    {
        for (LLHead *&node : recent_)
            node = &start_;
    }
    void add(LLHead *node)
    {
        last_->next = node;
        last_ = node;
        announce(node);
    }
    // Ends the chain with a whole one; returns its first node.
    LLHead *close(LLHead *rest)
    {
        last_->next = rest;
        for (uint32_t i = 0; i < kAhead; ++i) {
            announce(rest);
            if (rest->next)
                rest = rest->next;
        }
        return start_.next;
    }

private:
    void announce(LLHead *node)
    {
        LLHead *&place = recent_[count_++ % kAhead];
        place->prev = node;
        place = node;
    }

    LLHead start_ = {};
    LLHead *last_ = &start_;
    LLHead *recent_[kAhead]; // the last nodes, in a ring
    uint32_t count_ = 0;
};

LLHead *take_first(LLHead **chain)
{
    LLHead *const node = *chain;
    prefetch(node->prev);
    *chain = node->next;
    return node;
}

// Joins two sorted chains, each ended by null; equal elements of a come first.
LLHead *merge(LLHead *a, LLHead *b)
{
    Chain merged;
    while (a && b) {
        if (merge_compare(data_of(a), data_of(b)) <= 0)
            merged.add(take_first(&a));
        else
            merged.add(take_first(&b));
    }
    return merged.close(a ? a : b);
}

// Sorts the first count nodes of the chain at *rest and moves *rest behind them.
LLHead *merge_sort(LLHead **rest, uint32_t count)
{
    if (count == 1) {
        LLHead *const node = std::exchange(*rest, (*rest)->next);
        node->next = node->prev = nullptr;
        return node;
    }
    LLHead *const front = merge_sort(rest, count / 2);
    return merge(front, merge_sort(rest, count - count / 2));
}

void link_pair(LLHead *node, LLHead *next)
{
    node->next = next;
    next->prev = node;
}

} // namespace

// Elements behind one of size 0, where the count ends, stay there unsorted.

LLHead *SysSortLL(LLHead *list, LLCompare compare)
{
    const uint32_t count = SizeLL(list);
    if (count < 2)
        return list;
    void **const table = LookInLL(list);
    if (!table)
        return MergeSortLL(list, compare); // needs no memory
    void **const elements = table + 1;
    LLHead *const rest = node_of(elements[count - 1])->next;
    sys_sort = {compare, elements, count};
    std::qsort(elements, count, sizeof *elements, compare_handles);
    LLHead *previous = list;
    for (uint32_t i = 0; i < count; ++i) {
        if (i + kAhead < count)
            prefetch(node_of(elements[i + kAhead]));
        link_pair(previous, node_of(elements[i]));
        previous = node_of(elements[i]);
    }
    link_pair(previous, rest);
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
    LLHead *node = merge_sort(&rest, count);
    LLHead *previous = list;
    while (node) {
        LLHead *const next = take_first(&node);
        link_pair(previous, next);
        previous = next;
    }
    link_pair(previous, rest);
    return list;
}
