// Lists: moving runs of elements, turning.
#include <tamba/lists.h>

#include <foundation/list_node.h>

#include <utility>

namespace {

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

} // namespace

void ReverseLL(LLHead *list)
{
    LLHead *node = list;
    do {
        std::swap(node->next, node->prev);
        node = node->prev; // the former next
    } while (node != list);
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
