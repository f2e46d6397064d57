// The rows of one query for the library's own callers.
#pragma once

#include <db/records.h>
#include <foundation/text.h>
#include <tamba/db.h>

// What a look into the catalogue gave.  A catalogue that could not be read (locked, missing, damaged) is no answer:
// who gets unreadable ends with the catalogue's text; nothing is changed, closed or deleted because of it.
enum class Found { no, yes, unreadable };

// A record list that frees itself, read with bounded buffers.
//
//   Rows rows("CheckCapac", trace);
//   const Found found = rows.find("CHECK_CAPACITIES", "select kapaz_num from capacities where drive_typ='%s'",
//                                 SqlText(drive_typ).c_str());
//   if (found == Found::unreadable)
//       return fail(rows.message());
//   return found == Found::no ? 0 : rows.integer(1, "kapaz_num");
//
// Rows count from 1.  A read outside the result gives "" or 0 and false where it can say so; an unknown
// column is reported (E005-DATABAS) like in every other reader.  Belongs to one thread.
class Rows {
public:
    // name labels the list in traces and messages; trace outlives the object.
    Rows(const char *name, TraceContext &trace);
    ~Rows();
    Rows(const Rows &) = delete;
    Rows &operator=(const Rows &) = delete;

    // Runs a query and tells whether it has rows.  A failure is reported to the operator (E018-DATABAS with who in
    // front).  Values enter the statement as SqlText.
    [[nodiscard]] Found find(const char *who, const char *format, ...) TAMBA_PRINTF(3, 4);

    // The same without a report; false when the catalogue could not be read (failed() says it later, too).  The rows
    // of an earlier query are freed; after a failure there are none.
    bool select(const char *format, ...) TAMBA_PRINTF(2, 3);

    // The value of an aggregate query, which has no rows, or the reason of a failure.
    const char *message() const { return message_.c_str(); }
    bool failed() const { return failed_; } // the last query

    int32_t count() const { return static_cast<int32_t>(list_.count); }
    bool empty() const { return list_.count == 0; }
    DB_REC_LIST *list() { return &list_; } // for exported functions that take one

    // A column of a row, cut to the buffer; a NULL is the word "NULL" (see is_null).
    template <size_t Size> bool text(int32_t row, const char *column, FixedText<Size> &value) const
    {
        return read(row, column, value.data(), Size);
    }
    bool read(int32_t row, const char *column, char *value, size_t value_size) const;

    // A column as a number, clamped; 0 for NULL and for what is no number.
    int32_t integer(int32_t row, const char *column) const;

private:
    bool run(const char *format, va_list arguments) TAMBA_PRINTF(2, 0);

    TraceContext &trace_;
    DB_REC_LIST list_ = {};
    DbMessage message_;
    bool failed_ = false;
};

// Runs a statement that changes data.  msg (TAMBA_DB_MSG_SIZE) receives "ok" or the reason.  Values enter it
// as SqlText: inserts and deletes quote like queries, updates in their own way.
[[nodiscard]] bool execute_sql(char *msg, TraceContext &trace, const char *format, ...) TAMBA_PRINTF(3, 4);

// The end of a query of which only the first rows are needed, " limit <count>": SQLite then stops there instead of
// copying all.  "" for the other catalogues, not all of which know the word.
std::string at_most(int32_t count);
