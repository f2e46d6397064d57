/* Options of command lines, fields of texts, queues of blocks.
 *
 * The parsers and the tokeniser keep their state in the process: one command line and one text at a time, from one
 * thread. */
#ifndef TAMBA_OPTIONS_H
#define TAMBA_OPTIONS_H

#include <tamba/lists.h>

TAMBA_BEGIN

/* Index of the argument that getopt takes next; set it to 1 to parse another vector.  Already behind an argument
 * while the letters of that argument are being taken. */
TAMBA_API extern int optind;
/* The option's argument, inside argv; NULL for options without one. */
TAMBA_API extern char *optarg;

/* Takes the next option letter.  These names replace the C library's in programs that are linked to this library,
 * and "/" introduces options as "-" does.
 *
 * optstring  the letters; a letter followed by ":" has an argument, the rest of its word or the next one
 *
 * Returns the letter, '?' for an unknown letter or one whose argument is missing, or -1 at the first word that is
 * no option (optind is its index) and behind "-" or "--" (optind is behind it).  Prints nothing. */
TAMBA_API int getopt(int argc, char *const argv[], const char *optstring) TAMBA_LIBC_NOEXCEPT;

#define TAMBA_OPTION_SIZE 512 /* least size of mygetopt's value */

/* getopt with a state of its own, which cannot be reset: it serves one argument vector per process.  Only "-"
 * introduces options.
 *
 * value  TAMBA_OPTION_SIZE, or NULL; receives the option's argument, "" without one; behind "-" or "--" the word "+" and the
 *        index of the first operand */
TAMBA_API int mygetopt(int argc, char *const argv[], const char *optstring, char *value);

/* Goes through the fields of a text; consecutive separators have an empty field between them, and one at the end
 * an empty field behind it.
 *
 * text       a text (a copy of its first 8191 characters is used; a longer one is reported on standard error), or
 *            NULL for the next field of the last one
 * separator  one character
 *
 * Returns the field, valid until the next text, or NULL behind the last one. */
TAMBA_API char *cm_strtok(const char *text, char separator);

#define TAMBA_ELEM_SIZE 768 /* least size of str_elem's out for a text with separators */

/* Copies one field of a text, of which 767 characters are used; a separator at its begin is skipped.
 *
 * index  from 0
 * out    TAMBA_ELEM_SIZE, and the size of text when it holds no separator; may be text itself; "" when there is no
 *        such field
 *
 * Returns 1, or 0: no such field, an empty text, or a text that is just the separator.  Ends a loop over the fields
 * of cm_strtok, whose buffer it uses. */
TAMBA_API int32_t str_elem(int32_t index, char separator, const char *text, char *out);

/* Splits a text at every occurrence of a separator of any length (an empty one splits nothing).
 *
 * array  receives an array of the pieces, closed by NULL; freed by FreeSplitList
 *
 * Returns the number of pieces, at least 1, or -1 with nothing allocated for a NULL argument or when memory is
 * short.  Thread-safe. */
TAMBA_API int32_t cm_split(const char *text, const char *separator, char ***array);
TAMBA_API void FreeSplitList(char **array);

/* Appends texts, with their terminators, to a list, as InsLastLLf does.  The last argument is (char *)0.  Returns 0. */
TAMBA_API int32_t InsArgvLL(LLHead *list, const char *text, ...);

/* A queue of blocks: what is pushed first is pulled first.  A queue belongs to one thread. */
typedef struct FIFOItem {
    void *data;
    int32_t size;
    struct FIFOItem *next;
} FIFOItem;
typedef struct FIFOList {
    int32_t count;
    FIFOItem *first;
    FIFOItem *last;
} FIFOList;

/* A new, empty queue; NULL when memory is short. */
TAMBA_API FIFOList *CreateFIFOList(void);

/* Appends a copy of size bytes.  Returns 1, or 0 with the queue as it was: no queue, no data, a negative size or no
 * memory. */
TAMBA_API int32_t PushFIFOItem(FIFOList *list, const void *data, int32_t size);

/* Removes the first block and copies it to out, which must hold it.  Returns 1 and the size, or 0 with out and size
 * untouched when the queue is empty. */
TAMBA_API int32_t PullFIFOItem(FIFOList *list, void *out, int32_t *size);

/* Copies block n, from 1, without removing it.  Returns 1 and the size, or 0 when there is none. */
TAMBA_API int32_t PeekFIFOItem(const FIFOList *list, int32_t n, void *out, int32_t *size);

/* Frees the blocks and the queue. */
TAMBA_API void FreeFIFOList(FIFOList *list);

TAMBA_END

#endif
