/* Lists: circular, doubly linked, each element a copy of the caller's data of any size.
 *
 * An element is one block: the node with its links, and behind it the data.  Its handle is the address of the
 * data, which is aligned to 8 bytes.  The list is a node, too, the head, with size 0; its handle for navigation is
 * the address behind it.  From the last element navigation reaches the head, and IsElmLL tells that this is no
 * element:
 *
 *     for (e = FirstElmLL(list); IsElmLL(e); e = NextElmLL(e)) ...
 *
 * An element of size 0 cannot be told from the head: iterations end there, so callers insert none.
 *
 * list, dest and src are heads; elm, at and results of type void * are element handles.  No function checks its
 * arguments.  When memory is short the functions that make lists and elements print "In CreatLL: malloc returned NULL" or
 * "In InsLLf: malloc returned NULL" on standard error and end the process with exit code -1.  A list belongs to one thread; the sorts to one thread of the
 * process at a time. */
#ifndef TAMBA_LISTS_H
#define TAMBA_LISTS_H

#include <tamba/tamba_export.h>

#include <stdint.h>

TAMBA_BEGIN

/* A node: the head of a list, and what stands in front of each element's data. */
typedef struct LLHead {
    struct LLHead *next; /* the head after the last element */
    struct LLHead *prev; /* the head before the first element */
    uint32_t size;       /* bytes of data; 0 marks the head */
} LLHead;

/* How InsLLf links a new node to the node at. */
typedef void (*LLLink)(LLHead *at, LLHead *node);
TAMBA_API void LinkAfterNodeLL(LLHead *at, LLHead *node);
TAMBA_API void LinkBeforeNodeLL(LLHead *at, LLHead *node);

/* Compares two elements, as strcmp does two texts. */
typedef int (*LLCompare)(const void *elm_a, const void *elm_b);

/* Called for an element; a result other than 0 ends the iteration. */
typedef int32_t (*LLApply)(void *elm);

/* ---- making and freeing lists ---- */

/* An empty list in memory of the library; freed by DestLL. */
TAMBA_API LLHead *ConsLL(void);
/* Makes list, in memory of the caller, an empty list.  Frees nothing.  Returns list. */
TAMBA_API LLHead *InitLL(LLHead *list);
/* Frees every element.  Returns list. */
TAMBA_API LLHead *EmptyLL(LLHead *list);
/* Frees every element and the head.  Returns 0. */
TAMBA_API int32_t DestLL(LLHead *list);
/* A new list whose elements are the handles of list's elements (8 bytes each), in order. */
TAMBA_API LLHead *ConsPtrLL(LLHead *list);
/* A new list with a copy of each element. */
TAMBA_API LLHead *ConsCopyLL(LLHead *list);

/* ---- inserting a copy of size bytes; return the new element ---- */

/* where is a node (a head, or the node in front of an element's data), link one of the two functions above. */
TAMBA_API void *InsLLf(LLHead *where, uint32_t size, const void *data, LLLink link);
TAMBA_API void *InsFirstLLf(LLHead *list, uint32_t size, const void *data);
TAMBA_API void *InsLastLLf(LLHead *list, uint32_t size, const void *data);
TAMBA_API void *InsBefLLf(void *elm, uint32_t size, const void *data);
TAMBA_API void *InsAftLLf(void *elm, uint32_t size, const void *data);

/* ---- linking elements that are in no list; nothing is copied ---- */

TAMBA_API void LinkFirstLL(LLHead *list, void *elm);
TAMBA_API void LinkLastLL(LLHead *list, void *elm);
TAMBA_API void LinkAftLL(void *at, void *elm);
TAMBA_API void LinkBefLL(void *at, void *elm);

/* The same for an element that the caller has allocated, with malloc and room for the node in front of its data;
 * set its size.  Return elm. */
TAMBA_API void *LinkInsLLf(LLHead *where, uint32_t size, void *elm, LLLink link);
TAMBA_API void *LinkInsFirstLLf(LLHead *list, uint32_t size, void *elm);
TAMBA_API void *LinkInsLastLLf(LLHead *list, uint32_t size, void *elm);
TAMBA_API void *LinkInsBefLLf(void *at, uint32_t size, void *elm);
TAMBA_API void *LinkInsAftLLf(void *at, uint32_t size, void *elm);

/* ---- taking elements out ---- */

/* Unlinks without freeing.  Return elm, its next and its previous handle. */
TAMBA_API void *UnlinkLL(void *elm);
TAMBA_API void *UnlinkNeLL(void *elm);
TAMBA_API void *UnlinkPrLL(void *elm);

/* Unlinks and frees.  The last two return the next and the previous handle. */
TAMBA_API void DelElmLL(void *elm);
TAMBA_API void *DelElmNeLL(void *elm);
TAMBA_API void *DelElmPrLL(void *elm);

/* ---- finding the way ---- */

/* First and last element, the head's handle in an empty list. */
TAMBA_API void *FirstElmLL(const LLHead *list);
TAMBA_API void *LastElmLL(const LLHead *list);
/* The neighbour, which may be the head's handle. */
TAMBA_API void *NextElmLL(const void *elm);
TAMBA_API void *PrevElmLL(const void *elm);
/* The neighbour in the circle of the elements, without the head: the first follows the last.  The only element is
 * its own neighbour; in an empty list it is the head's handle. */
TAMBA_API void *NextCElmLL(const void *elm);
TAMBA_API void *PrevCElmLL(const void *elm);
/* n steps forward from the head and from elm; 0 stays.  The head counts as a step, so that counting wraps. */
TAMBA_API void *NthElmLL(const LLHead *list, uint32_t n);
TAMBA_API void *RelNthElmLL(const void *elm, uint32_t n);

/* The element's size, 0 for the head. */
TAMBA_API uint32_t IsElmLL(const void *elm);
/* 1 or 0. */
TAMBA_API int32_t IsFirstElmLL(const void *elm);
TAMBA_API int32_t IsLastElmLL(const void *elm);
TAMBA_API int32_t IsNthElmLL(const LLHead *list, uint32_t n, const void *elm);
TAMBA_API int32_t IsEmptyLL(const LLHead *list);
/* Number of elements, counted. */
TAMBA_API uint32_t SizeLL(const LLHead *list);
/* Position from 1; 0 when elm is not in the list. */
TAMBA_API uint32_t IndexElmLL(const LLHead *list, const void *elm);
/* A new array of SizeLL + 1 pointers: list itself, then the elements in order.  Freed with free.  NULL when memory is
 * short. */
TAMBA_API void **LookInLL(LLHead *list);

/* ---- whole lists ---- */

/* Calls fn for each element in order; fn may delete the element it is given.  Returns the first result that is not
 * 0, and ends there, or 0. */
TAMBA_API int32_t ApplyLL(LLHead *list, LLApply fn);
/* Turns the order round. */
TAMBA_API void ReverseLL(LLHead *list);
/* Sort ascending; return list.  MergeSortLL keeps equal elements in their order, SysSortLL need not; it takes memory for
 * a handle of each element and sorts as MergeSortLL does when there is none. */
TAMBA_API LLHead *SysSortLL(LLHead *list, LLCompare compare);
TAMBA_API LLHead *MergeSortLL(LLHead *list, LLCompare compare);

/* Move elements in their order: to the front or the end of dest, behind or in front of the element at.  MoveList
 * moves all of src, which may be the list they go to; MoveHead those in front of elm, MoveTail elm and those
 * behind it, elm being an element of src.  The target must not lie among the elements that are moved, but may be
 * their last one (nothing changes then). */
TAMBA_API void MoveListFirstLL(LLHead *dest, LLHead *src);
TAMBA_API void MoveListLastLL(LLHead *dest, LLHead *src);
TAMBA_API void MoveListAftLL(void *at, LLHead *src);
TAMBA_API void MoveListBefLL(void *at, LLHead *src);
TAMBA_API void MoveHeadFirstLL(LLHead *dest, LLHead *src, void *elm);
TAMBA_API void MoveHeadLastLL(LLHead *dest, LLHead *src, void *elm);
TAMBA_API void MoveHeadAftLL(void *at, LLHead *src, void *elm);
TAMBA_API void MoveHeadBefLL(void *at, LLHead *src, void *elm);
TAMBA_API void MoveTailFirstLL(LLHead *dest, LLHead *src, void *elm);
TAMBA_API void MoveTailLastLL(LLHead *dest, LLHead *src, void *elm);
TAMBA_API void MoveTailAftLL(void *at, LLHead *src, void *elm);
TAMBA_API void MoveTailBefLL(void *at, LLHead *src, void *elm);

TAMBA_END

#endif
