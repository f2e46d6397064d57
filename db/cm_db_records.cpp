// Record lists: filling, reading and freeing the rows of a query.
#include <db/record_cursor.h>
#include <db/records.h>
#include <foundation/alloc.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>

#include <algorithm>
#include <cstdio>
#include <new>

namespace {

// Column names stand in record texts with at most this many characters.
constexpr size_t kRecordNameLength = 30;
constexpr size_t kAskedNameSize = 32;

// A record with a copy of text; the text's block has the list's record size, or what the text needs if that
// is more.
DB_REC *make_record(std::string_view text, int32_t record_size, uint32_t number)
{
    const size_t size = std::max(text.size() + 1, static_cast<size_t>(std::max(record_size, 0)));
    AllocatedText copy = allocate_text(size);
    void *const block = copy ? library_malloc(sizeof(DB_REC)) : nullptr;
    if (!block)
        return nullptr;
    copy_text(copy.get(), size, text);
    return new (block) DB_REC{number, copy.release(), nullptr};
}

enum class Row { found, outside, broken };

// At the fine level every record on the way is named, from the first one on.
DB_REC *walk_to(const DB_REC_LIST &list, uint32_t row, TraceScope &scope)
{
    if (!traces(scope.context(), kTraceFine))
        return cursor_seek(list.first, row);
    DB_REC *record = list.first;
    for (uint32_t position = 1; record; record = record->next, ++position) {
        scope.fine("got record:%s", text_or_empty(record->text));
        if (position == row)
            break;
    }
    return record;
}

// A row outside the list is no error, but a chain that ends before the count is.
Row find_row(const DB_REC_LIST &list, int32_t row, DB_REC **record, TraceScope &scope)
{
    const bool inside = row >= 1 && static_cast<uint32_t>(row) <= list.count;
    *record = walk_to(list, inside ? static_cast<uint32_t>(row) : list.count, scope);
    if (!*record)
        return Row::broken;
    if (!inside)
        return Row::outside;
    scope.fine("found row:%s", text_or_empty((*record)->text));
    return Row::found;
}

// The frame of every read: an empty list and a broken chain are reported, then serve(record, scope, reason)
// does the work; it returns false and fills reason when it fails.
template <class Serve>
int32_t read_row(const DB_REC_LIST *list, int32_t row, char *msg, TraceContext &trace, Serve serve)
{
    TraceScope scope(trace, kTraceDetail, "+++ DB_SEL_GET  id=%s  row=%d", list_name(list).c_str(), row);
    copy_text(msg, TAMBA_DB_MSG_SIZE, "");
    const bool empty = !list || list->count == 0;
    DbMessage reason;
    bool done = false;
    DB_REC *record = nullptr;
    if (empty) {
        reason.assign(kEmptyRecordList);
        prot_message<Msg::kListEmptyOnRead>(list_name(list).c_str());
    } else {
        switch (find_row(*list, row, &record, scope)) {
        case Row::broken:
            reason.assign("unexpected NULL value");
            prot_message<Msg::kUnexpectedNull>();
            break;
        case Row::found:
            done = serve(record, scope, &reason);
            break;
        case Row::outside:
            done = true;
            break;
        }
    }
    if (!done) {
        copy_text(msg, TAMBA_DB_MSG_SIZE, reason.view());
        scope.note("Error: DB_SEL_GET: %s", reason.c_str());
    }
    if (empty)
        return scope.leave(0, "--- DB_SEL_GET  error: %s", reason.c_str());
    return scope.leave(done ? 1 : 0, "--- DB_SEL_GET returns %d: >%s<", done ? 1 : 0, reason.c_str());
}

// One column of the row; says which one is missing.
bool serve_column(const DB_REC *record, const char *asked, char *value, size_t value_size,
                  const DB_REC_LIST *list, TraceScope &scope, DbMessage *reason)
{
    const FixedText<kAskedNameSize> column(text_or_empty(asked));
    if (!write_value_n(record, column.c_str(), value, value_size, list, scope.context())) {
        reason->format("cannot find requested column %s", column.c_str());
        return false;
    }
    scope.fine("cpValue >%s<", value);
    return true;
}

// The pairs of iDB_SEL_GET.
bool serve_pairs(const DB_REC *record, DB_REC_LIST *list, TraceScope &scope, DbMessage *reason, va_list pairs)
{
    for (;;) {
        const char *const column = va_arg(pairs, const char *);
        if (!column) {
            reason->assign("va_arg() returned NULL for column argument");
            return false;
        }
        const std::string_view name = column;
        if (name == "x")
            return true;
        if (name == "d") {
            DB_SEL_LOOP_RECORDS(list, 'd');
            return true;
        }
        char *const value = va_arg(pairs, char *);
        if (!value) {
            reason->assign("va_arg() returned NULL for cpValue argument");
            return false;
        }
        if (!serve_column(record, column, value, SIZE_MAX, list, scope, reason))
            return false;
    }
}

bool add_first(DB_REC_LIST *list, std::string_view text, TraceContext &trace)
{
    TraceScope scope(trace, kTraceFine, "+++ DB_SEL_FIRST  id=%s", list_name(list).c_str());
    DB_REC *const record = list ? make_record(text, list->record_size, 1) : nullptr;
    if (!record) {
        scope.note("DB_SEL_FIRST  cannot allocate memory");
        prot_message<Msg::kListFirstNoMemory>(list_name(list).c_str());
        return scope.leave(0, "--- DB_SEL_FIRST  no record");
    }
    cursor_start(record);
    list->first = list->last = record;
    list->count = 1;
    return scope.leave(1, "--- DB_SEL_FIRST  first record > %s <", record->text);
}

bool add_next(DB_REC_LIST *list, std::string_view text, TraceContext &trace)
{
    TraceScope scope(trace, kTraceFine, "+++ DB_SEL_ALLOC data:%s  id=%s", text.data(),
                     list_name(list).c_str());
    if (!list || list->count == 0 || !list->last) {
        prot_message<Msg::kListEmptyOnAdd>(list_name(list).c_str());
        return scope.leave(0, "--- DB_SEL_ALLOC the record-list is empty, cannot allocate a new element");
    }
    // The number is the count before this record, so the first two both carry 1: programs know it that way.
    DB_REC *const record = make_record(text, list->record_size, list->count);
    if (!record) {
        scope.note("DB_SEL_ALLOC  cannot allocate memory");
        prot_message<Msg::kListAddNoMemory>(list_name(list).c_str());
        return scope.leave(0, "--- DB_SEL_ALLOC no record");
    }
    if (list->last->next) // a copy of the list has grown: its records lose their place in the chain
        cursor_rewind(list->first);
    list->last->next = record;
    list->last = record;
    ++list->count;
    return scope.leave(1, "--- DB_SEL_ALLOC new rec >%s<", record->text);
}

} // namespace

ListName list_name(const DB_REC_LIST *list)
{
    if (!list)
        return {};
    const char *const end = std::find(list->name, list->name + sizeof list->name, '\0');
    return ListName(std::string_view(list->name, static_cast<size_t>(end - list->name)));
}

bool find_column(const char *text, std::string_view column, std::string_view *value)
{
    for (const char *bar = std::strchr(text_or_empty(text), '|'); bar; bar = std::strchr(bar + 1, '|')) {
        const char *const name = bar + 1;
        if (std::strncmp(name, column.data(), column.size()) != 0 || name[column.size()] != '=')
            continue;
        const char *const begin = name + column.size() + 1;
        *value = std::string_view(begin, std::strcspn(begin, "|"));
        return true;
    }
    return false;
}

bool write_value_n(const DB_REC *record, const char *column, char *value, size_t value_size,
                   const DB_REC_LIST *list, TraceContext &trace)
{
    const std::string_view asked = text_or_empty(column);
    TraceScope scope(trace, kTraceDetail, "+++ DB_SEL_WRITE_VALUE  cur.col.: %s", asked.data());
    const char *const text = record ? record->text : nullptr;
    std::string_view found;
    // A longer name stands in the record as far as the producer's labels reach.
    if (!find_column(text, asked, &found) && !find_column(text, asked.substr(0, kRecordNameLength), &found)) {
        copy_text(value, value_size, "?");
        DbMessage key, reason;
        key.format("|%s=", asked.data());
        reason.format("Cannot find column %s in record", asked.data());
        prot_message<Msg::kColumnNotFound>(list_name(list).c_str(), key.c_str());
        return scope.leave(0, "--- DB_SEL_WRITE_VALUE error:%s", reason.c_str());
    }
    copy_text(value, value_size, found);
    return scope.leave(1, "--- DB_SEL_WRITE_VALUE success: found value %s", text_or_empty(value));
}

bool get_value_n(const DB_REC_LIST *list, int32_t row, const char *column, char *value, size_t value_size,
                 char *msg, TraceContext &trace)
{
    bool served = false;
    copy_text(value, value_size, "");
    read_row(list, row, msg, trace, [&](const DB_REC *record, TraceScope &scope, DbMessage *reason) {
        served = serve_column(record, column, value, value_size, list, scope, reason);
        return served;
    });
    if (!served)
        copy_text(value, value_size, "");
    return served;
}

bool add_record(DB_REC_LIST *list, std::string_view text, bool first, TraceContext &trace)
{
    return first ? add_first(list, text, trace) : add_next(list, text, trace);
}

int32_t DB_SEL_FIRST(DB_REC_LIST *list, const char *text, TraceContext trace)
{
    return add_first(list, text_or_empty(text), trace);
}

int32_t DB_SEL_ALLOC(DB_REC_LIST *list, const char *text, TraceContext trace)
{
    return add_next(list, text_or_empty(text), trace);
}

int32_t DB_SEL_WRITE_VALUE(DB_REC *record, const char *column, char *value, DB_REC_LIST *list,
                           TraceContext trace)
{
    return write_value_n(record, column, value, SIZE_MAX, list, trace);
}

int32_t iDB_SEL_GET(DB_REC_LIST *list, int32_t row, char *msg, TraceContext trace, ...)
{
    va_list pairs;
    va_start(pairs, trace);
    const int32_t result =
        read_row(list, row, msg, trace, [&](const DB_REC *record, TraceScope &scope, DbMessage *reason) {
            return serve_pairs(record, list, scope, reason, pairs);
        });
    va_end(pairs);
    return result;
}

void DB_SEL_LOOP_RECORDS(DB_REC_LIST *list, char mode)
{
    if (!list)
        return;
    if (list->count == 0) {
        if (mode == 's')
            std::fprintf(stderr,
                         "\nDB_SEL_LOOP_RECORDS id=%s: empty record-list, cannot get requested data\n",
                         list_name(list).c_str());
        return;
    }
    if (mode == 'd' && list->first)
        cursor_drop(list->first);
    DB_REC *record = list->first;
    for (uint32_t position = 1; position <= list->count; ++position) {
        if (!record) {
            std::fputs("DB_SEL_LOOP_RECORDS: unexpected NULL value\n", stderr);
            break;
        }
        DB_REC *const next = record->next;
        if (mode == 's')
            std::printf("%s\n", text_or_empty(record->text));
        if (mode == 'd') {
            std::free(record->text);
            std::free(record);
        }
        record = next;
    }
    if (mode == 'd')
        list->count = 0;
}
