// Record lists from inside: the bounded twins of the public readers.
#pragma once

#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <tamba/db.h>

#include <string_view>

// The message of a catalogue function.
using DbMessage = FixedText<TAMBA_DB_MSG_SIZE>;

// What a read of an empty list is answered with, and what callers say of a row that is not there.
inline constexpr char kEmptyRecordList[] = "empty record-list, cannot get requested data";

// The name of a list for messages and traces, "" without a list.  A name may fill its field without a
// terminator.
using ListName = FixedText<sizeof(DB_REC_LIST::name)>;
ListName list_name(const DB_REC_LIST *list);

// Finds a column in a record text; value then points into the text.
bool find_column(const char *text, std::string_view column, std::string_view *value);

// DB_SEL_WRITE_VALUE with the size of its buffer.
bool write_value_n(const DB_REC *record, const char *column, char *value, size_t value_size,
                   const DB_REC_LIST *list, TraceContext &trace);

// iDB_SEL_GET for one column, with the size of its buffer.  Returns whether the value was found; value is ""
// when not.
bool get_value_n(const DB_REC_LIST *list, int32_t row, const char *column, char *value, size_t value_size,
                 char *msg, TraceContext &trace);

// DB_SEL_FIRST (first) or DB_SEL_ALLOC for a text whose length is known.
bool add_record(DB_REC_LIST *list, std::string_view text, bool first, TraceContext &trace);

// The rows of a query, row by row; NULL stands for an SQL NULL.
struct ResultTable {
    int32_t columns, rows;
    char **names;
    char **values;
};
constexpr int32_t kMaxColumns = 100;

// Puts rows into a list (none for a NULL list).  After no_memory size tells what was missing; the rows before stay
// in the list.
enum class MakeRecords { done, too_wide, no_memory };
MakeRecords make_records(const ResultTable &table, DB_REC_LIST *list, size_t *size, TraceScope &scope);

// Writes rows as INSERT statements to standard output, and their number.
void print_inserts(const char *table_name, const ResultTable &table);
