#ifndef TAMBA_DB_H
#define TAMBA_DB_H

#include <tamba/trace.h>

TAMBA_BEGIN

struct sqlite3;

#define TAMBA_DB_MSG_SIZE 256
#define TAMBA_SQL_CMD_SIZE 1024

typedef struct DB_REC {
    uint32_t number;
    char *text;
    struct DB_REC *next;
} DB_REC;

typedef struct DB_REC_LIST {
    char name[32];
    uint32_t count;
    int32_t record_size;
    DB_REC *first;
    DB_REC *last;
} DB_REC_LIST;

TAMBA_API extern const char *const cpDB_MAX_COL_NAME;

TAMBA_API int32_t SQLITE_DO_SQL(const char *sql, char export_flag, char *msg, int32_t msg_size,
                                DB_REC_LIST *list, TraceContext trace);
TAMBA_API int32_t iSQLITE_GET_TABLE(struct sqlite3 *db, const char *sql, int32_t *ncol, int32_t *nrow,
                                    char ***values, char ***colnames, char *msg, TraceContext trace);
TAMBA_API int32_t iSQLITE_MAKE_DB_REC_LIS(int32_t ncol, int32_t nrow, char **colnames, char **values,
                                          DB_REC_LIST *list, char *msg, TraceContext trace);
TAMBA_API int32_t iSQLITE_MAKE_EXPORT_FILE(const char *table, int32_t ncol, int32_t nrow, char **colnames,
                                           char **values, TraceContext trace);
TAMBA_API int32_t iDB_ACCESS(const char *sql, char *msg, DB_REC_LIST *list, TraceContext trace);
TAMBA_API int32_t iDB_CREATE_SQL_CMD(const char *sqlfile, char *cmd, TraceContext trace);
TAMBA_API char *db_string(char *text, int32_t limit);
TAMBA_API int32_t CLEANUP_QUOTA(char *sql, TraceContext trace);
TAMBA_API int32_t DB_SEL_FIRST(DB_REC_LIST *list, const char *text, TraceContext trace);
TAMBA_API int32_t DB_SEL_ALLOC(DB_REC_LIST *list, const char *text, TraceContext trace);
TAMBA_API int32_t DB_SEL_WRITE_VALUE(DB_REC *record, const char *column, char *value, DB_REC_LIST *list,
                                     TraceContext trace);
TAMBA_API int32_t iDB_SEL_GET(DB_REC_LIST *list, int32_t row, char *msg, TraceContext trace, ...);
TAMBA_API int32_t iDB_SEL_GETVALUE(const char *sql, const char *column, char *value, TraceContext trace);
TAMBA_API void DB_SEL_LOOP_RECORDS(DB_REC_LIST *list, char mode);

TAMBA_END

#endif
