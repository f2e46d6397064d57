/* Configuration: the ini file, the registry and the global variables. */
#ifndef TAMBA_CONFIG_H
#define TAMBA_CONFIG_H

#include <tamba/tamba_export.h>

TAMBA_BEGIN

#define TAMBA_GLBV_SIZE 512     /* least size of a buffer that receives a global variable */
#define TAMBA_RESOLVE_SIZE 1024 /* least size of a text that a path resolver rewrites */
#define TAMBA_INI_PATH_SIZE 256 /* least size of the path that i_INI_SCAN returns */

/* Reads one key of an ini file.
 *
 * file     path of the ini file
 * section  with its brackets, e.g. "[Pathes]"; matched without regard to case, as a prefix of the header
 *          without its closing bracket; NULL or "" searches from the first line to the first header
 * key      matched without regard to case; "key=" must begin the line, without blanks around "=".  Of section and of
 *          "key=" the first 63 characters count; lines are read in pieces of 1023
 * value    receives the text after "=", trailing blanks cut, its first "%(name)" replaced by the value of
 *          that key (same section, then "[DEFAULT]"); cut to value_size - 1 characters; untouched on failure
 * err      receives the reason on failure; may be NULL
 *
 * Returns 1 found, 0 not found, empty or not readable.  References nest at most eight deep; deeper counts as
 * not found.  Thread-safe. */
TAMBA_API int32_t i_GetPrivateProfileString(const char *file, const char *section, const char *key,
                                            char *value, int32_t value_size, char *err, int32_t err_size);

/* Finds the path of an ini file: the registry value value_name below HKEY_LOCAL_MACHINE, in the key named by
 * the environment variable TAMBA_INI if that is set, then in "Software\KORVEL\tamba", then in
 * "Software\Korvel\tamba".  Returns 1 and the path, cut to path_size - 1, or 0 and the reason in err.
 * Thread-safe. */
TAMBA_API int32_t i_GET_ROOT_FOR_INI(const char *value_name, char *path, int32_t path_size, char *err,
                                     int32_t err_size);

/* Reads a string value below HKEY_LOCAL_MACHINE (key at most 127 characters, value_name "" for the key's
 * default value).  Returns 1 and the text, cut to out_size - 1, or 0 and the reason in err; a value of
 * another type counts as not found.  Thread-safe. */
TAMBA_API int32_t i_GET_REG_VALUE(const char *key, const char *value_name, char *out, int32_t out_size,
                                  char *err, int32_t err_size);

/* Reads the value of a key of the system's ini file.
 *
 * value_name  registry value that names the file; NULL or "" means "TB_INI"
 * section     with its brackets, e.g. "[Pathes]"; letter case does not matter
 * value       receives at most value_size - 1 characters, always terminated; "" on failure
 * err         receives the reason on failure
 *
 * Returns 1 found, 0 not found or not readable.  Thread-safe. */
TAMBA_API int32_t i_READ_INI(const char *value_name, const char *section, const char *key, char *value,
                             int32_t value_size, char *err, int32_t err_size);

/* Loads the ini file that value_name names (as i_READ_INI) into an iniparser dictionary, entries
 * "section:key" in lower case, in iniparser's own syntax: one line that this does not know refuses the whole file, also
 * where i_READ_INI reads it.  Returns the dictionary, which the caller frees with iniparser_freedict, or NULL and the
 * reason in err, with the first such line and its number.  Thread-safe; iniparser's error callback, one for the process,
 * is afterwards its default. */
struct _dictionary_;
TAMBA_API struct _dictionary_ *p_PARSE_INI(const char *value_name, char *err, int32_t err_size);

/* Reads the registry value "TB_INI" of "SOFTWARE\Korvel\tamba" into out (TAMBA_INI_PATH_SIZE).  Returns 1,
 * or 0 with the name of the missing value in out. */
TAMBA_API int32_t i_INI_SCAN(char *out);

/* The global-variable service of this host.
 *
 * function  its first character counts: "r" read, "R" read and delete, "w" write, "d" delete
 * name      names that begin with "gv_" are registry values, all others text files "<name>.sgv" in the
 *           directory "gv_rw_glbv"; of these a name that holds a separator or ".." is unknown.  For "d", a "*"
 *           in a name that begins with it or with "gv_" deletes every registry variable whose name contains
 *           the part before the first "*" and the part after it.  "MyVersion" reads this library's version.
 * value     TAMBA_GLBV_SIZE; receives the value read ("gv_" variables up to 511 characters, files up to
 *           255), holds the value to write.  NULL: a buffer of the calling thread stands in, valid until its
 *           next call without one ("w" then writes "").
 *
 * Returns value, never NULL; for "w" on a file a static buffer, which alone then tells a failure.  A result that
 * begins with "?" means that the variable is unknown, not readable or could not be written; nothing is deleted unread.
 * Readers in other processes see the old text or the new one.  Threads: "w" on files shares the static buffer; all else
 * is thread-safe. */
TAMBA_API char *glbv(const char *function, const char *name, char *value);

/* The same service on any host: name may be a host name, ":" and the variable's name.  This host and
 * "localhost" are served as by glbv; failures on other hosts read "?? GLBV: ...", and "d" there reads the value, too.
 * A name or a value that the client's shell would take for more than a word is refused there ("?? GLBV: value not
 * allowed"): quotes, control characters, ; & | < > $ % ^ `, in a value also patterns and a backslash at its end.
 *
 * value  TAMBA_GLBV_SIZE or NULL, as for glbv; a failed "w" leaves "???" in it
 *
 * Returns value, never NULL.  Sets up the module TB_GLBV with v_set_log_main, which sets eLang.  Threads: as
 * v_set_log_main; calls for other hosts also share the process's answer file (make_answ_file_name). */
TAMBA_API char *master_glbv(const char *function, const char *name, char *value);

/* Replaces a leading global variable, ended by ":" or the end of text, by its value.  text:
 * TAMBA_RESOLVE_SIZE.  Returns 1, or 0 with text unchanged when the variable is unknown. */
TAMBA_API int32_t resolve_glbv(char *text);

/* Replaces a leading key of the ini section "[Pathes]", ended by ":" or the end of text, by its value;
 * leaves text alone when there is no such key.  text: TAMBA_RESOLVE_SIZE.  Returns 1 always. */
TAMBA_API int32_t resolve_path(char *text);

/* Prepares the environment of a program that is about to be started: PATH gets the system's program
 * directories, PGPORT and OPENRDA_INI come from the configuration.
 *
 * command  the command line; "tb_db ..." and "tb_tbs_interface ..." get directories of their own
 *
 * Returns 1 set or nothing to do, 0 a variable could not be set or "gv_port_db" is missing for a database
 * program, -1 "[PATHES]" "gv_ro_bin" missing, -2 no PATH, -3 PATH would reach 2000 characters ("PATH=" counts when
 * something is added), -4 PATH could not be set.  Threads: calls wait for each other; the program's own code must not
 * use the environment meanwhile. */
TAMBA_API int32_t i_setenv_tamba(const char *command);

TAMBA_END

#endif
