/* tamba: the common runtime library of the backup system.  This header includes every family.
 *
 * Conventions of all functions, unless a declaration says otherwise:
 *
 *   Result      int32_t: 1 success, 0 failure; distinct negative codes are listed where they exist.
 *   Text        Latin-1, zero-terminated.  A NULL text counts as "".  A text that is too long for its buffer
 *               is cut, never rejected, and the buffer is always terminated.  A size of 0 writes nothing.
 *   Buffers     belong to the caller.  Where a buffer has no size argument the declaration names its least
 *               size as a constant.  On failure a message buffer holds the reason.
 *   Trace       TraceContext goes by value and last (in variadic functions: the last named argument).
 *   Paths       "\" and "/" both separate on Linux; directories in the configuration end with a separator.
 *   Ownership   what a function allocates for the caller is said where it happens, with the function that
 *               frees it.  Windows: program and library must share one C runtime, because FILE pointers and
 *               allocated blocks cross the border.
 *   Memory      what grows with the data of a call (rows, answers, statements, elements, texts of any length) is taken
 *               so that its lack is an error of that call like any other, where its declaration does not say that
 *               the process ends.  For the small needs of every call (names, paths, a line, the configuration's
 *               files) there is no such error: without memory for them the process ends, through abort.
 *   Threads     functions work on their arguments and may run in parallel unless the declaration names
 *               process-wide state; a record belongs to one thread at a time.
 */
#ifndef TAMBA_TAMBA_H
#define TAMBA_TAMBA_H

#include <tamba/client.h>
#include <tamba/completion.h>
#include <tamba/config.h>
#include <tamba/control.h>
#include <tamba/crypt.h>
#include <tamba/db.h>
#include <tamba/drive.h>
#include <tamba/eol.h>
#include <tamba/files.h>
#include <tamba/housekeeping.h>
#include <tamba/joblog.h>
#include <tamba/lists.h>
#include <tamba/media.h>
#include <tamba/messages.h>
#include <tamba/options.h>
#include <tamba/pipes.h>
#include <tamba/process.h>
#include <tamba/queue.h>
#include <tamba/remote.h>
#include <tamba/semaphore.h>
#include <tamba/text.h>
#include <tamba/time_stamp.h>
#include <tamba/timing.h>
#include <tamba/trace.h>
#include <tamba/volume.h>

#endif
