// The command-line client path of iDB_ACCESS.
#pragma once

#include <db/records.h>

// Runs one normalised statement through the program damisql in the directory "gv_ro_db", as iDB_ACCESS does for
// database types other than "sqlite"; results and msg as there, but a statement that is no
// query leaves "Rows affected = <n>".  A msg with "ERROR_BROKEN_PIPE" asks for another try.
int32_t OA_DO_SQL(const char *sql, bool export_mode, DbMessage *msg, DB_REC_LIST *list, TraceContext &trace);
