/* The catalogue: one entry point for statements, and the record lists that hold the rows of a query.
 *
 * A program runs its statements with iDB_ACCESS, reads the rows with iDB_SEL_GET and frees them with the
 * terminator "d" of its last read or with DB_SEL_LOOP_RECORDS(list, 'd'):
 *
 *     DB_REC_LIST list = {"media"};
 *     if (iDB_ACCESS("select label, eol from media where pool='DAILY'", msg, &list, trace))
 *         for (row = 1; row <= (int32_t)list.count; ++row)
 *             iDB_SEL_GET(&list, row, msg, trace, "label", label, "eol", eol, "x");
 *     DB_SEL_LOOP_RECORDS(&list, 'd');
 *
 * A record is one text: "|" and then, for each column in the order of the result, the name, "=", the value
 * and "|".  A NULL is the word NULL.  Nothing is escaped: a value must not contain "|".  Names stand as the
 * catalogue declares them, cut to 30 characters; the catalogue is declared in lower case.  Column names "x"
 * and "d" cannot be fetched. */
#ifndef TAMBA_DB_H
#define TAMBA_DB_H

#include <tamba/trace.h>

TAMBA_BEGIN

struct sqlite3;

#define TAMBA_DB_MSG_SIZE 256   /* least size of a message buffer that comes without its size */
#define TAMBA_SQL_LENGTH 65536  /* characters of the longest statement; a longer one is refused, never cut */
#define TAMBA_SQL_CMD_SIZE 1024 /* least size of the command that iDB_CREATE_SQL_CMD writes */
#define TAMBA_DB_STRING_SPARE 3 /* characters that db_string needs beyond its limit */

/* One row.  Made by DB_SEL_FIRST and DB_SEL_ALLOC, freed by DB_SEL_LOOP_RECORDS; record and text are two
 * blocks of the library's heap.  Programs read records; they do not link, unlink or free them by hand, because
 * the library keeps beside a list where its reader stands. */
typedef struct DB_REC {
    uint32_t number; /* 1, 1, 2, 3, ...: the count of records before this one was added, 1 for the first */
    char *text;      /* the record text */
    struct DB_REC *next; /* NULL at the end */
} DB_REC;

/* The rows of a query.  Belongs to the caller, who zeroes it (or at least sets name and count) before its
 * first use, and to one thread at a time.  first and last mean something only while count is not 0. */
typedef struct DB_REC_LIST {
    char name[32];  /* the caller's label for traces and messages; may be empty */
    uint32_t count; /* number of records */
    int32_t
        record_size; /* least size of the block for the next record's text, in bytes; 0: as the text needs */
    DB_REC *first;
    DB_REC *last;
} DB_REC_LIST;

/* "MAX": the pseudo-statement that turns the name of a max() column into what the database type calls it. */
TAMBA_API extern const char *const cpDB_MAX_COL_NAME;

/* Runs one statement on the catalogue, or converts a value for it.
 *
 * sql    Everything before the first single quote is lower-cased, so keywords and names may be written in any
 *        case and quoted values keep theirs; CLEANUP_QUOTA then repairs stray quotes.  A statement runs whole, or
 *        not at all when it is longer than TAMBA_SQL_LENGTH; trace and protocol show as much of it as they hold.
 * msg    TAMBA_DB_MSG_SIZE, terminated on entry, where "export" asks for export mode: a query writes its rows as
 *        INSERT statements to standard output.  On return: the database's error text or another reason after a
 *        failure; "ok" after a statement that is no query (other types than "sqlite": "Rows affected = <n>"); the
 *        value of an aggregate ("select count(", "sum(", "min(", "max(" without "group by" in the first 255
 *        characters; "0" for NULL or no row); the table name in export mode; else the number of rows.
 * list   receives the rows of a query; NULL discards them.  Its count becomes 0 first: records of an earlier
 *        query are not freed, the caller does that before.  A count below the number in msg tells that the list had
 *        no memory for a row (iSQLITE_MAKE_DB_REC_LIS).
 *
 * Pseudo-statements convert the value in msg in place, cut to 255 characters, as the database type (global variable
 * "gv_db_type") needs it:
 *   "DATE"             YYYY-MM-DD for a date column: with " 00:00:00"; ORACLE: YYYYMMDD
 *   "DATE_TAMBA"       a date column's value as YYYY-MM-DD 00:00:00; ORACLE: YYYY-MM-DD.  The type's second letter
 *                      decides: "R" as ORACLE, "o", "p" and "q" as the others
 *   "DATE_TIME_TAMBA"  unchanged
 *   "MAX"              unchanged; OpenAccess "COL1", postgres "max"
 * Another database type gives "".  Any other text that begins with "DA" or "MA" is an error (E008-DATABAS).
 *
 * Returns 1 or 0.  0 is no answer: nothing is known of the catalogue then, neither that it has rows nor that it has
 * none.
 *
 * Type "sqlite": a catalogue that another process keeps locked is waited for, at most two minutes.  An unknown
 * directory "gv_rw_db" fails without touching the disk; a missing file in an existing directory is created, empty,
 * by SQLite, and the statement fails for want of its table.
 * Any other type: the database's command-line client runs the statement (the program damisql of the directory
 * "gv_ro_db"; docs/database-client.md), one at a time on the machine (semaphore "ctrl_db").  What the system's command
 * lines cannot hold (about 32,000 characters on Windows) is not run.  Failures are also written to the protocol
 * (I001, E009, E010, E012, E014-DATABAS).
 * Without "gv_db_type" nothing runs.
 *
 * Threads: thread-safe; the first call of a process also sets the environment (i_setenv_tamba). */
TAMBA_API int32_t iDB_ACCESS(const char *sql, char *msg, DB_REC_LIST *list, TraceContext trace);

/* Runs one statement, already in its final form, on the file "tamba_db.sdb" in the directory "gv_rw_db"; the
 * file is opened and closed for each statement.
 *
 * sql          "select" in lower case and without leading blanks marks a query; refused beyond TAMBA_SQL_LENGTH
 * export_flag  'y' export mode
 * msg          receives at most msg_size - 1 characters (of 255), see iDB_ACCESS; is not read
 * list         see iDB_ACCESS
 *
 * Returns 1 or 0.  Thread-safe. */
TAMBA_API int32_t SQLITE_DO_SQL(const char *sql, char export_flag, char *msg, int32_t msg_size,
                                DB_REC_LIST *list, TraceContext trace);

/* Runs a statement on an open database and returns its whole result.
 *
 * sql         of any length that SQLite takes
 * ncol, nrow  columns and rows; 0 on failure.  These and the next two must not be NULL.
 * values      the values row by row, a null pointer for NULL
 * colnames    the column names; this is the block that the caller releases with sqlite3_free_table, NULL on
 *             failure
 * msg         TAMBA_DB_MSG_SIZE; SQLite's error text on failure, else ""
 *
 * Returns SQLite's result code, 0 for success.  Threads: as the connection, which belongs to the caller. */
TAMBA_API int32_t iSQLITE_GET_TABLE(struct sqlite3 *db, const char *sql, int32_t *ncol, int32_t *nrow,
                                    char ***values, char ***colnames, char *msg, TraceContext trace);

/* Appends one record for each row to a list whose count is 0.
 *
 * colnames, values  as iSQLITE_GET_TABLE returns them
 * list              NULL discards the rows
 * msg               TAMBA_DB_MSG_SIZE; the number of rows, or the reason of a failure
 *
 * Returns 1, or 0 for a result with rows of more than 100 columns (E017-DATABAS) and when memory for a record
 * text is short (E011-DATABAS); rows before the failure stay in the list.  A row that the list could not take
 * is reported (E002, E003, E004-DATABAS) and missing, and the result is still 1: the list's count is then below the
 * number in msg.  Thread-safe. */
TAMBA_API int32_t iSQLITE_MAKE_DB_REC_LIS(int32_t ncol, int32_t nrow, char **colnames, char **values,
                                          DB_REC_LIST *list, char *msg, TraceContext trace);

/* Writes one INSERT statement for each row to standard output, and a closing comment with their number.
 * Values stand between single quotes as they are: quotes inside a value are not doubled.  Returns 1. */
TAMBA_API int32_t iSQLITE_MAKE_EXPORT_FILE(const char *table, int32_t ncol, int32_t nrow, char **colnames,
                                           char **values, TraceContext trace);

/* Builds the command that runs the statements of a file with the database's own client.
 *
 * sqlfile  path of the file
 * cmd      TAMBA_SQL_CMD_SIZE; "" for another type than "sqlite", "OpenAccess" and "postgres", when a directory that it
 *          needs is unknown, and when the command would be cut
 *
 * Returns 1.  Threads: sets the process's environment for types other than "sqlite". */
TAMBA_API int32_t iDB_CREATE_SQL_CMD(const char *sqlfile, char *cmd, TraceContext trace);

/* Rewrites a value in place so that it can stand between the single quotes of a select, insert or delete: a
 * single quote is doubled, a double quote and a closing backslash become blanks.  Not for updates, where
 * CLEANUP_QUOTA takes the doubled quotes apart.
 *
 * text   buffer of limit + TAMBA_DB_STRING_SPARE; at most 510 characters of it are used
 * limit  writing stops behind this position, so the text may become limit + 2 characters long; negative
 *        gives ""
 *
 * Returns text.  Thread-safe. */
TAMBA_API char *db_string(char *text, int32_t limit);

/* Repairs quotes in a normalised statement, in place and without changing its length.
 *
 * In an update, the last single quote between =' and the next "=" (or "where", or the end) closes the value and
 * every earlier one in it becomes an acute accent (octal 264, one byte whatever the catalogue's encoding).  In
 * any statement a double quote inside single quotes becomes "_".
 *
 * Correct updates can be damaged, and programs count on the rule as it is: doubled quotes become accents, and
 * so do the quotes of a list "in ('a','b')" behind the last assignment.
 *
 * Returns 1 unchanged, 0 repaired.  Thread-safe. */
TAMBA_API int32_t CLEANUP_QUOTA(char *sql, TraceContext trace);

/* Starts a list with one record that holds a copy of text.  Records already in the list are not freed.
 * Returns 1, or 0 for a NULL list and when memory is short (E002-DATABAS); the list is then unchanged. */
TAMBA_API int32_t DB_SEL_FIRST(DB_REC_LIST *list, const char *text, TraceContext trace);

/* Appends a record that holds a copy of text.  Returns 1, or 0 when the list is empty (E003-DATABAS) or
 * memory is short (E004-DATABAS); the list is then unchanged. */
TAMBA_API int32_t DB_SEL_ALLOC(DB_REC_LIST *list, const char *text, TraceContext trace);

/* Copies the value of a column in one record.
 *
 * value  must hold the longest value of that column and the terminator: the copy is not bounded
 * list   gives its name to the message; may be NULL
 *
 * Returns 1, or 0 with "?" in value when the record has no such column (E005-DATABAS). */
TAMBA_API int32_t DB_SEL_WRITE_VALUE(DB_REC *record, const char *column, char *value, DB_REC_LIST *list,
                                     TraceContext trace);

/* Copies columns of one row.
 *
 * row  from 1.  A row outside 1..count serves nothing and returns 1: buffers stay untouched, and a closing "d"
 *      frees nothing.
 * msg  TAMBA_DB_MSG_SIZE; "" or the reason
 * ...  pairs of a column name (const char *, used up to 31 characters) and a buffer (char *, see
 *      DB_SEL_WRITE_VALUE), closed by the name "x" (stop) or "d" (stop and free the whole list)
 *
 * Returns 1, or 0 for an empty list (E006-DATABAS), an unknown column (E005-DATABAS; its buffer holds "?"), a
 * broken chain of records (E007-DATABAS) or a NULL in a pair.  Pairs before a failing one have been written; a failing call frees
 * nothing.  Reading rows in ascending order costs the same for each row, however long the list is. */
TAMBA_API int32_t iDB_SEL_GET(DB_REC_LIST *list, int32_t row, char *msg, TraceContext trace, ...);

/* Runs a query and copies one column of its first row.
 *
 * value  as in DB_SEL_WRITE_VALUE; "?" for an unknown column; untouched by an aggregate, which has
 *        no row
 *
 * Returns 1 when the query found something other than 0, else 0: also when the catalogue could not be read.  Where
 * that makes a difference use iDB_ACCESS.  Thread-safe. */
TAMBA_API int32_t iDB_SEL_GETVALUE(const char *sql, const char *column, char *value, TraceContext trace);

/* Goes through all records.  mode 's' prints each record text as a line on standard output; 'd' frees every
 * record and sets the count to 0, which makes a second 'd' harmless; any other mode only walks. */
TAMBA_API void DB_SEL_LOOP_RECORDS(DB_REC_LIST *list, char mode);

TAMBA_END

#endif
