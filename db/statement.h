// What kind of statement a text is: decided by its first words, after iDB_ACCESS has lower-cased them.
#pragma once

#include <foundation/text.h>

using TableName = FixedText<256>;

bool is_query(std::string_view sql);

// A query whose answer is one value: count, sum, min or max without "group by".
bool is_aggregate(std::string_view sql);

// The word after the first occurrence of a keyword (" from "), "" when there is none.
TableName table_after(std::string_view sql, std::string_view keyword);
