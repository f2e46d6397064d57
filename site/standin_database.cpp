// damisql: the database's command-line client, on the site's own catalogue.  docs/database-client.md describes what
// it prints.
//
// Script: work/site/damisql.answer is printed instead of an answer; its first line "exit N" sets the exit code.
#include <site/standin.h>

#include <cstdio>
#include <cstdlib>
#include <sqlite3.h>

namespace {

void print_value(const char *value)
{
    if (!value) {
        std::puts("NULL");
        return;
    }
    const std::string text(value);
    std::string line = "=";
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n')
            line += "\\n";
        else if (text[i] == '\r')
            line += "\\r";
        else if (text[i] == '\\')
            line += "\\\\";
        else if (text.compare(i, 8, " Error: ") == 0)
            line += "\\s";
        else
            line += text[i];
    }
    std::puts(line.c_str());
}

int print_answer(sqlite3 *db, const char *sql)
{
    char **table = nullptr;
    int rows = 0, columns = 0;
    if (sqlite3_get_table(db, sql, &table, &rows, &columns, nullptr) != SQLITE_OK) {
        std::printf("damisql: Error: %s\n", sqlite3_errmsg(db));
        return 1;
    }
    const std::string text(sql);
    if (text.compare(0, 6, "select") == 0) {
        std::string names;
        for (int i = 0; i < columns; ++i)
            names += (i > 0 ? "|" : "") + std::string(table[i]);
        std::printf("Columns: %s\n", names.c_str());
        for (int i = columns; i < columns * (rows + 1); ++i)
            print_value(table[i]);
    } else {
        rows = sqlite3_changes(db);
    }
    sqlite3_free_table(table);
    std::printf("Rows %d\nMessage: ok\nElapsed time: 1 ms\n", rows);
    return 0;
}

int print_script(const std::string &text)
{
    int code = 0, used = 0;
    std::sscanf(text.c_str(), "exit %d%n", &code, &used);
    const size_t begin = used > 0 ? text.find('\n') + 1 : 0;
    std::fwrite(text.data() + begin, 1, text.size() - begin, stdout);
    return code;
}

} // namespace

int damisql(const Call &call)
{
    std::string scripted;
    if (read_script(call, "answer", &scripted))
        return print_script(scripted);
    sqlite3 *db = nullptr;
    const std::string file = global("gv_rw_db") + "tamba_db.sdb";
    int code = 1;
    if (sqlite3_open(file.c_str(), &db) == SQLITE_OK)
        code = print_answer(db, call.option("-q").c_str());
    else
        std::printf("damisql: Error: %s\n", sqlite3_errmsg(db));
    sqlite3_close(db);
    return code;
}
