/* Developer trace: one text file per program (".lgc"), switched on per module in "debug.ini". */
#ifndef TAMBA_TRACE_H
#define TAMBA_TRACE_H

#include <tamba/tamba_export.h>

TAMBA_BEGIN

#define TAMBA_TRACE_PATH_SIZE 384
#define TAMBA_TRACE_INDENT_SIZE 64

/* Where and how much a program traces.  Owned by the calling program, zeroed before the first
 * v_set_log_main, and passed by value as the last argument of every library function: a callee may switch
 * its copy to another module without the caller noticing. */
typedef struct TraceContext {
    char path[TAMBA_TRACE_PATH_SIZE];     /* full path of the trace file; lines are appended */
    int32_t level;                        /* 0 off, 1 calls and decisions, 2 values, 3 every step */
    int32_t to_stderr;                    /* non-zero: every line also goes to standard error */
    char indent[TAMBA_TRACE_INDENT_SIZE]; /* blanks between time and text, four per open call */
} TraceContext;

/* Sets up a trace context and the language.
 *
 * file    trace file: a bare name such as "tb_info.lgc", put into the log directory ("[Pathes]" "gv_rw_lgc"
 *         of the ini file), or a text that already contains the log directory and is taken as it is.  May be
 *         ctx->path.
 * module  module name; its level comes from "debug.ini"
 * ctx     receives path, level and echo; left alone when the log directory is not configured
 *
 * The first call that finds the log directory also fills the library's own context, which trace() writes to.
 * Each call sets eLang from "[SETUP]" "lang".  A missing ini key is reported (E003-BASICS and standard
 * error), never fatal.  Threads: the library's own context and eLang are process-wide; call it from one
 * thread at a time. */
TAMBA_API void v_set_log_main(const char *file, const char *module, TraceContext *ctx);

/* Returns the level of a module (upper-cased before matching, at most 127 characters) from "debug.ini" in
 * the directory "[Pathes]" "gv_rw_ini"; 0 when the file or the module is missing or the value is no
 * number. */
TAMBA_API int32_t log_check(const char *module);

/* Writes one trace line, whatever the level: the caller tests ctx->level first.
 *
 * format  printf-style; a leading "+" deepens and a leading "-" shortens the indentation.  The line is built
 *         from at most 1023 characters of time, indentation and format; arguments are written whole, or up to
 *         4094 characters of the line when memory is short.  A line that cannot be made (a width of six digits)
 *         is its format.  User data belongs into arguments, never into the format.  Exactly "COPY_FILE": the next
 *         argument names a text file whose lines are copied into the trace, as long as it was when it was opened,
 *         in pieces of 254 characters; each loses its last character, its line end
 *
 * The file is opened, appended to and closed for each line, so processes share it by whole lines; a file
 * that cannot be opened loses the line silently.  Changes neither errno nor the last system error.
 * Threads: lines are whole; the indentation is meaningful for one thread at a time. */
TAMBA_API void WRITE_TRACE(TraceContext *ctx, const char *format, ...);

/* Writes a line to the library's own context, which the first v_set_log_main fills, when its level is above 1; time,
 * indentation and text are cut to 1023 characters.  A text that cannot be made is its format.  "%%" in the finished text
 * becomes "%"; any other "%" stays.  Threads: lines are whole. */
TAMBA_API void trace(const char *format, ...) TAMBA_PRINTF(1, 2);

TAMBA_END

#endif
