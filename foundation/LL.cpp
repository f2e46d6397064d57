// Lists: nodes, elements, navigation.
#include <tamba/lists.h>

#include <foundation/alloc.h>
#include <foundation/list_node.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

[[noreturn]] void out_of_memory(const char *function)
{
    std::fprintf(stderr, "In %s: %s \n", function, "malloc returned NULL");
    std::exit(-1);
}

void unlink_node(LLHead *node)
{
    node->next->prev = node->prev;
    node->prev->next = node->next;
}

const LLHead *walk(const LLHead *node, uint32_t n)
{
    for (; n > 0; --n)
        node = node->next;
    return node;
}

} // namespace

void LinkAfterNodeLL(LLHead *at, LLHead *node)
{
    node->next = at->next;
    node->prev = at;
    at->next->prev = node;
    at->next = node;
}

void LinkBeforeNodeLL(LLHead *at, LLHead *node)
{
    node->next = at;
    node->prev = at->prev;
    at->prev->next = node;
    at->prev = node;
}

// ---- making and freeing -----------------------------------------------------------------------------------------

LLHead *ConsLL(void)
{
    auto *const list = static_cast<LLHead *>(library_malloc(sizeof(LLHead)));
    if (!list)
        out_of_memory("CreatLL");
    return InitLL(list);
}

LLHead *InitLL(LLHead *list)
{
    list->next = list->prev = list;
    list->size = 0;
    return list;
}

LLHead *EmptyLL(LLHead *list)
{
    // By address: an element of size 0 is freed, too.
    for (LLHead *node = list->next; node != list;) {
        LLHead *const next = node->next;
        std::free(node);
        node = next;
    }
    return InitLL(list);
}

int32_t DestLL(LLHead *list)
{
    std::free(EmptyLL(list));
    return 0;
}

LLHead *ConsPtrLL(LLHead *list)
{
    LLHead *const pointers = ConsLL();
    for (LLHead *node = list->next; node->size != 0; node = node->next) {
        void *const element = data_of(node);
        InsLastLLf(pointers, sizeof element, &element);
    }
    return pointers;
}

LLHead *ConsCopyLL(LLHead *list)
{
    LLHead *const copy = ConsLL();
    for (LLHead *node = list->next; node->size != 0; node = node->next)
        InsLastLLf(copy, node->size, data_of(node));
    return copy;
}

// ---- inserting and linking --------------------------------------------------------------------------------------

void *InsLLf(LLHead *where, uint32_t size, const void *data, LLLink link)
{
    auto *const node = static_cast<LLHead *>(library_malloc(sizeof(LLHead) + size));
    if (!node)
        out_of_memory("InsLLf");
    if (size > 0 && data)
        std::memcpy(data_of(node), data, size);
    node->size = size;
    link(where, node);
    return data_of(node);
}

void *InsFirstLLf(LLHead *list, uint32_t size, const void *data)
{
    return InsLLf(list, size, data, LinkAfterNodeLL);
}

void *InsLastLLf(LLHead *list, uint32_t size, const void *data)
{
    return InsLLf(list, size, data, LinkBeforeNodeLL);
}

void *InsBefLLf(void *elm, uint32_t size, const void *data)
{
    return InsLLf(node_of(elm), size, data, LinkBeforeNodeLL);
}

void *InsAftLLf(void *elm, uint32_t size, const void *data)
{
    return InsLLf(node_of(elm), size, data, LinkAfterNodeLL);
}

void LinkFirstLL(LLHead *list, void *elm)
{
    LinkAfterNodeLL(list, node_of(elm));
}

void LinkLastLL(LLHead *list, void *elm)
{
    LinkBeforeNodeLL(list, node_of(elm));
}

void LinkAftLL(void *at, void *elm)
{
    LinkAfterNodeLL(node_of(at), node_of(elm));
}

void LinkBefLL(void *at, void *elm)
{
    LinkBeforeNodeLL(node_of(at), node_of(elm));
}

void *LinkInsLLf(LLHead *where, uint32_t size, void *elm, LLLink link)
{
    node_of(elm)->size = size;
    link(where, node_of(elm));
    return elm;
}

void *LinkInsFirstLLf(LLHead *list, uint32_t size, void *elm)
{
    return LinkInsLLf(list, size, elm, LinkAfterNodeLL);
}

void *LinkInsLastLLf(LLHead *list, uint32_t size, void *elm)
{
    return LinkInsLLf(list, size, elm, LinkBeforeNodeLL);
}

void *LinkInsBefLLf(void *at, uint32_t size, void *elm)
{
    return LinkInsLLf(node_of(at), size, elm, LinkBeforeNodeLL);
}

void *LinkInsAftLLf(void *at, uint32_t size, void *elm)
{
    return LinkInsLLf(node_of(at), size, elm, LinkAfterNodeLL);
}

// ---- taking out -------------------------------------------------------------------------------------------------

void *UnlinkLL(void *elm)
{
    unlink_node(node_of(elm));
    return elm;
}

void *UnlinkNeLL(void *elm)
{
    return NextElmLL(UnlinkLL(elm)); // the node keeps its own links
}

void *UnlinkPrLL(void *elm)
{
    return PrevElmLL(UnlinkLL(elm));
}

void DelElmLL(void *elm)
{
    std::free(node_of(UnlinkLL(elm)));
}

void *DelElmNeLL(void *elm)
{
    void *const next = NextElmLL(elm);
    DelElmLL(elm);
    return next;
}

void *DelElmPrLL(void *elm)
{
    void *const previous = PrevElmLL(elm);
    DelElmLL(elm);
    return previous;
}

// ---- finding the way --------------------------------------------------------------------------------------------

void *FirstElmLL(const LLHead *list)
{
    return data_of(list->next);
}

void *LastElmLL(const LLHead *list)
{
    return data_of(list->prev);
}

void *NextElmLL(const void *elm)
{
    return data_of(node_of(elm)->next);
}

void *PrevElmLL(const void *elm)
{
    return data_of(node_of(elm)->prev);
}

void *NextCElmLL(const void *elm)
{
    LLHead *const next = node_of(elm)->next;
    return data_of(next->size != 0 ? next : next->next);
}

void *PrevCElmLL(const void *elm)
{
    LLHead *const previous = node_of(elm)->prev;
    return data_of(previous->size != 0 ? previous : previous->prev);
}

void *NthElmLL(const LLHead *list, uint32_t n)
{
    return data_of(walk(list, n));
}

void *RelNthElmLL(const void *elm, uint32_t n)
{
    return data_of(walk(node_of(elm), n));
}

uint32_t IsElmLL(const void *elm)
{
    return node_of(elm)->size;
}

int32_t IsFirstElmLL(const void *elm)
{
    return node_of(elm)->prev->size == 0;
}

int32_t IsLastElmLL(const void *elm)
{
    return node_of(elm)->next->size == 0;
}

int32_t IsNthElmLL(const LLHead *list, uint32_t n, const void *elm)
{
    return NthElmLL(list, n) == elm;
}

int32_t IsEmptyLL(const LLHead *list)
{
    return list->next == list;
}

uint32_t SizeLL(const LLHead *list)
{
    uint32_t count = 0;
    for (const LLHead *node = list->next; node->size != 0; node = node->next)
        ++count;
    return count;
}

uint32_t IndexElmLL(const LLHead *list, const void *elm)
{
    uint32_t index = 1;
    for (const LLHead *node = list->next; node->size != 0; node = node->next, ++index)
        if (data_of(node) == elm)
            return index;
    return 0;
}

void **LookInLL(LLHead *list)
{
    auto **const table = static_cast<void **>(library_malloc((size_t{SizeLL(list)} + 1) * sizeof(void *)));
    if (!table)
        return nullptr;
    size_t count = 0;
    table[count++] = list;
    for (LLHead *node = list->next; node->size != 0; node = node->next)
        table[count++] = data_of(node);
    return table;
}

int32_t ApplyLL(LLHead *list, LLApply fn)
{
    for (LLHead *node = list->next; node->size != 0;) {
        LLHead *const next = node->next;
        if (const int32_t result = fn(data_of(node)))
            return result;
        node = next;
    }
    return 0;
}
