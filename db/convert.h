// The pseudo-statements of iDB_ACCESS.
#pragma once

#include <tamba/trace.h>

// A statement that converts a value instead of running on the catalogue: it begins with "DA" or "MA".
bool is_pseudo_statement(const char *sql);

// Converts the value in msg (TAMBA_DB_MSG_SIZE) as the key says; 0 and a message for an unknown key.
int32_t convert_value(const char *key, char *msg, TraceContext &trace);
