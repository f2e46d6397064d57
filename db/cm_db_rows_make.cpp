// What a query's rows become: record texts in a list, or INSERT statements on standard output.
#include <db/records.h>
#include <foundation/alloc.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>

#include <cstdio>
#include <limits>

namespace {

constexpr size_t kLabelSize = 32;
constexpr char kNull[] = "NULL";

// "name=", the name cut so that the "=" always fits.
class Label {
public:
    void set(const char *name)
    {
        copy_text(text_, kLabelSize - 1, text_or_empty(name));
        length_ = std::strlen(text_);
        text_[length_++] = '=';
        text_[length_] = '\0';
    }
    const char *c_str() const { return text_; }
    std::string_view view() const { return {text_, length_}; }

private:
    char text_[kLabelSize];
    size_t length_ = 0;
};

// One record text after the other in one growing block.
class RecordBuilder {
public:
    RecordBuilder(int32_t columns, char **names) : columns_(columns)
    {
        for (int32_t i = 0; i < columns_; ++i)
            labels_[i].set(names[i]);
    }

    // Takes a row's values and computes the size of its record.
    size_t measure(char **values, TraceScope &scope)
    {
        size_t size = columns_ > 0 ? 0 : sizeof "|";
        for (int32_t i = 0; i < columns_; ++i) {
            values_[i] = values[i] ? std::string_view(values[i]) : std::string_view(kNull);
            size += labels_[i].view().size() + values_[i].size() + 4;
            if (!traces(scope.context(), kTraceFine))
                continue;
            scope.fine("Column name %s", labels_[i].c_str());
            scope.fine("Record size %d", clamped(size));
        }
        scope.detail("Full record size %d", clamped(size));
        return size;
    }

    // Makes room; false when memory is short or the record is larger than its size field can say.
    bool reserve(size_t size)
    {
        if (size > static_cast<size_t>(std::numeric_limits<int32_t>::max()))
            return false;
        if (size <= capacity_)
            return true;
        text_ = allocate_text(size);
        capacity_ = text_ ? size : 0;
        return text_ != nullptr;
    }

    std::string_view build(TraceScope &scope)
    {
        char *at = text_.get();
        for (int32_t i = 0; i < columns_; ++i) {
            *at++ = '|';
            at = put(put(at, labels_[i].view()), values_[i]);
            scope.detail("Value: %s", values_[i].data());
        }
        *at++ = '|';
        *at = '\0';
        return {text_.get(), static_cast<size_t>(at - text_.get())};
    }

    static int32_t clamped(size_t size)
    {
        constexpr size_t kMost = static_cast<size_t>(std::numeric_limits<int32_t>::max());
        return static_cast<int32_t>(size < kMost ? size : kMost);
    }

private:
    static char *put(char *at, std::string_view text)
    {
        std::memcpy(at, text.data(), text.size());
        return at + text.size();
    }

    const int32_t columns_;
    Label labels_[kMaxColumns];
    std::string_view values_[kMaxColumns];
    AllocatedText text_;
    size_t capacity_ = 0;
};

int32_t too_many_columns(DB_REC_LIST *list, char *msg, TraceScope &scope)
{
    DbMessage reason;
    reason.format("too much columns ( max %d )", kMaxColumns);
    copy_text(msg, TAMBA_DB_MSG_SIZE, reason.view());
    prot_message<Msg::kTooManyColumns>("SQLITE_MAKE_DB_REC_LIS", list_name(list).c_str());
    return scope.leave(0, "--- SQLITE_MAKE_DB_REC_LIS  ERROR: %s", reason.c_str());
}

int32_t no_memory(DB_REC_LIST *list, size_t size, char *msg, TraceScope &scope)
{
    DbMessage reason;
    reason.format("cannot allocate memory  ( %d bytes)", RecordBuilder::clamped(size));
    copy_text(msg, TAMBA_DB_MSG_SIZE, reason.view());
    prot_message<Msg::kRecordNoMemory>("SQLITE_MAKE_REC_LIS", list_name(list).c_str(),
                                       RecordBuilder::clamped(size));
    return scope.leave(0, "--- SQLITE_MAKE_DB_REC_LIS  error: %s", reason.c_str());
}

// Prints items separated by commas.
void print_list(int32_t count, char **items, void (*print)(const char *))
{
    for (int32_t i = 0; i < count; ++i) {
        if (i > 0)
            std::fputs(",", stdout);
        print(items[i]);
    }
}

void print_name(const char *name)
{
    std::fputs(text_or_empty(name), stdout);
}

void print_value(const char *value)
{
    if (value)
        std::printf("'%s'", value);
    else
        std::fputs(kNull, stdout);
}

} // namespace

MakeRecords make_records(const ResultTable &table, DB_REC_LIST *list, size_t *size, TraceScope &scope)
{
    // Only rows are refused: a wide result without a row is an empty list.
    if (list && table.columns > kMaxColumns && table.rows > 0)
        return MakeRecords::too_wide;
    RecordBuilder record(table.columns <= kMaxColumns ? table.columns : 0, table.names);
    for (int32_t row = 0; list && row < table.rows; ++row) {
        scope.fine("row %d", row + 1);
        *size = record.measure(table.values + static_cast<ptrdiff_t>(row) * table.columns, scope);
        if (!record.reserve(*size))
            return MakeRecords::no_memory;
        list->record_size = static_cast<int32_t>(*size);
        // A record that finds no memory is reported by the list and missing; the count in the list tells.
        add_record(list, record.build(scope), row == 0, scope.context());
    }
    return MakeRecords::done;
}

void print_inserts(const char *table_name, const ResultTable &table)
{
    for (int32_t row = 0; row < table.rows; ++row) {
        std::printf("INSERT INTO %s (", table_name);
        print_list(table.columns, table.names, print_name);
        std::fputs(") VALUES (", stdout);
        print_list(table.columns, table.values + static_cast<ptrdiff_t>(row) * table.columns, print_value);
        std::fputs(");\n", stdout);
    }
    std::fflush(stdout);
    std::printf("\n-- %d rows found \n", table.rows);
    std::fflush(stdout);
}

int32_t iSQLITE_MAKE_DB_REC_LIS(int32_t ncol, int32_t nrow, char **colnames, char **values, DB_REC_LIST *list,
                                char *msg, TraceContext trace)
{
    TraceScope scope(trace, kTraceDetail, "+++ iSQLITE_MAKE_DB_REC_LIS  id=%s", list_name(list).c_str());
    scope.detail("Got %d columns", ncol);
    scope.detail("Got %d rows", nrow);
    size_t size = 0;
    switch (make_records({ncol, nrow, colnames, values}, list, &size, scope)) {
    case MakeRecords::too_wide:
        return too_many_columns(list, msg, scope);
    case MakeRecords::no_memory:
        return no_memory(list, size, msg, scope);
    case MakeRecords::done:
        break;
    }
    DbMessage rows;
    rows.format("%d", nrow);
    copy_text(msg, TAMBA_DB_MSG_SIZE, rows.view());
    return scope.leave(1, "--- SQLITE_MAKE_DB_REC_LIS   rows=%s", rows.c_str());
}

int32_t iSQLITE_MAKE_EXPORT_FILE(const char *table, int32_t ncol, int32_t nrow, char **colnames,
                                 char **values, TraceContext trace)
{
    TraceScope scope(trace, kTraceDetail, "+++ iSQLITE_MAKE_EXPORT_FILE");
    scope.detail("read the columns");
    print_inserts(text_or_empty(table), {ncol, nrow, colnames, values});
    return scope.leave(1, "--- iSQLITE_MAKE_EXPORT_FILE");
}
