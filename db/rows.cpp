#include <db/rows.h>

namespace {

using Statement = FixedText<TAMBA_SQL_SIZE>;

// A statement that lost its end would change or find more than was meant.
bool format_statement(Statement *sql, DbMessage *message, const char *format, va_list arguments)
{
    const size_t length = format_text_v(sql->data(), Statement::size(), format, arguments);
    if (length > 0 && length < Statement::size())
        return true;
    message->format("statement of %d characters is too long", static_cast<int>(length));
    return false;
}

} // namespace

Rows::Rows(const char *name, TraceContext &trace) : trace_(trace)
{
    copy_text(list_.name, sizeof list_.name, text_or_empty(name));
}

Rows::~Rows()
{
    DB_SEL_LOOP_RECORDS(&list_, 'd');
}

bool Rows::select(const char *format, ...)
{
    DB_SEL_LOOP_RECORDS(&list_, 'd');
    message_.assign("");
    Statement sql;
    va_list arguments;
    va_start(arguments, format);
    const bool fits = format_statement(&sql, &message_, format, arguments);
    va_end(arguments);
    failed_ = !fits || iDB_ACCESS(sql.c_str(), message_.data(), &list_, trace_) != 1;
    if (failed_) // rows before the failure are no answer
        DB_SEL_LOOP_RECORDS(&list_, 'd');
    return !failed_;
}

bool Rows::read(int32_t row, const char *column, char *value, size_t value_size) const
{
    DbMessage reason;
    return get_value_n(&list_, row, column, value, value_size, reason.data(), trace_);
}

int32_t Rows::integer(int32_t row, const char *column) const
{
    FixedText<32> value;
    text(row, column, value);
    return to_int32(value.c_str());
}

bool execute_sql(char *msg, TraceContext &trace, const char *format, ...)
{
    DbMessage message;
    Statement sql;
    va_list arguments;
    va_start(arguments, format);
    const bool fits = format_statement(&sql, &message, format, arguments);
    va_end(arguments);
    const bool done = fits && iDB_ACCESS(sql.c_str(), message.data(), nullptr, trace) == 1;
    copy_text(msg, TAMBA_DB_MSG_SIZE, message.view());
    return done;
}
