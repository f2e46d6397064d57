// What kind of statement a text is: decided by its first words, after iDB_ACCESS has lower-cased them; and how long a
// statement may be.
#pragma once

#include <db/records.h>

using TableName = FixedText<256>;

// False, and the reason, for a statement of more than TAMBA_SQL_LENGTH characters: what a cut would leave of it could
// change or find more than was meant.
bool may_run(size_t length, DbMessage *msg);

bool is_query(std::string_view sql);

// A query whose answer is one value: count, sum, min or max without "group by".
bool is_aggregate(std::string_view sql);

// The word after the first occurrence of a keyword (" from "), "" when there is none.
TableName table_after(std::string_view sql, std::string_view keyword);
