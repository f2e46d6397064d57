#include <db/statement.h>

#include <algorithm>

namespace {

constexpr size_t kAggregateCheckSize = 256; // how much of a query is looked at for "group by"

} // namespace

bool may_run(size_t length, DbMessage *msg)
{
    if (length <= TAMBA_SQL_LENGTH)
        return true;
    msg->format("statement of %zu characters is too long ( max %d )", length, TAMBA_SQL_LENGTH);
    return false;
}

bool is_query(std::string_view sql)
{
    return sql.substr(0, 6) == "select";
}

bool is_aggregate(std::string_view sql)
{
    FixedText<kAggregateCheckSize> lower(sql);
    std::transform(lower.data(), lower.data() + lower.length(), lower.data(), ascii_lower);
    const std::string_view query = lower.view();
    if (query.find("group by") != std::string_view::npos)
        return false;
    for (const std::string_view begin : {"select count(", "select sum(", "select min(", "select max("})
        if (query.substr(0, begin.size()) == begin)
            return true;
    return false;
}

TableName table_after(std::string_view sql, std::string_view keyword)
{
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    const size_t at = sql.find(keyword);
    if (at == std::string_view::npos)
        return {};
    sql.remove_prefix(at + keyword.size());
    sql.remove_prefix(std::min(sql.find_first_not_of(kBlanks), sql.size()));
    return TableName(sql.substr(0, sql.find_first_of(kBlanks)));
}
