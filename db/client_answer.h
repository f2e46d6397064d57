// What the database's command-line client prints, taken apart.  docs/database-client.md describes it.
#pragma once

#include <db/records.h>
#include <foundation/alloc.h>

#include <string>

class ClientAnswer {
public:
    // Takes one whole line.
    void take(std::string_view line);

    // A line that was too long to be read, or had no memory, makes the answer incomplete.
    void reject() { damaged_ = true; }

    // The first error that the client reported, from "Error:" on; "" without one.
    const DbMessage &error() const { return error_; }

    // Whether every line that belongs to an answer has come, as many values as it promises, and there was memory for all.
    bool complete();

    // The number behind "Rows ", "" without that line.
    const std::string &rows() const { return rows_; }

    // A query's rows, when it is complete; valid until the next line is taken.
    ResultTable table();

private:
    void take_columns(std::string_view names);
    void add_text(std::string_view text, char escape, Growing<size_t> *places);
    bool counts_agree() const;

    static constexpr size_t kNull = SIZE_MAX;

    Growing<char> text_;             // names and values, each with its terminator
    Growing<size_t> names_, values_; // where they begin
    Growing<char *> pointers_;       // the same for a table, names first
    std::string rows_;
    DbMessage error_;
    bool has_columns_ = false, has_message_ = false, has_elapsed_ = false, damaged_ = false;
};
