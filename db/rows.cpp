#include <db/rows.h>
#include <foundation/glbv.h>

#include <db/statement.h>
#include <foundation/alloc.h>
#include <tamba/messages.h>

namespace {

// The whole statement; null and the reason when it is too long or there is no memory for it.
AllocatedText format_statement(DbMessage *message, const char *format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const size_t length = format_text_v(nullptr, 0, format, arguments);
    AllocatedText sql = may_run(length, message) ? allocate_text(length + 1) : nullptr;
    if (sql)
        format_text_v(sql.get(), length + 1, format, again);
    else if (message->empty())
        message->assign("cannot allocate memory for a statement");
    va_end(again);
    return sql;
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

bool Rows::run(const char *format, va_list arguments)
{
    DB_SEL_LOOP_RECORDS(&list_, 'd');
    message_.assign("");
    const AllocatedText sql = format_statement(&message_, format, arguments);
    failed_ = !sql || iDB_ACCESS(sql.get(), message_.data(), &list_, trace_) != 1;
    if (!failed_ && !is_aggregate(sql.get()) && to_int32(message_.c_str()) != count()) {
        failed_ = true; // the list had no memory for a row; what it reported does not come back in the result
        message_.format("only %d of %s rows could be read", count(), DbMessage(message_).c_str());
    }
    if (failed_) // rows before the failure are no answer
        DB_SEL_LOOP_RECORDS(&list_, 'd');
    return !failed_;
}

Found Rows::find(const char *who, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const bool read = run(format, arguments);
    va_end(arguments);
    if (!read) {
        trap_db_err(who, message(), trace_, 0);
        return Found::unreadable;
    }
    return empty() ? Found::no : Found::yes;
}

bool Rows::select(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const bool read = run(format, arguments);
    va_end(arguments);
    return read;
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
    va_list arguments;
    va_start(arguments, format);
    const AllocatedText sql = format_statement(&message, format, arguments);
    va_end(arguments);
    const bool done = sql && iDB_ACCESS(sql.get(), message.data(), nullptr, trace) == 1;
    copy_text(msg, TAMBA_DB_MSG_SIZE, message.view());
    return done;
}

std::string at_most(int32_t count)
{
    GlobalValue type;
    const bool knows_limit = read_global("gv_db_type", &type) && type.view() == "sqlite";
    return knows_limit ? format_string(" limit %d", count) : std::string();
}
