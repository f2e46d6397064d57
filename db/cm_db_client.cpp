// The command line of the database's own client.
#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <tamba/db.h>

namespace {

using Command = FixedText<TAMBA_SQL_CMD_SIZE>;

// A directory that is unknown must not reach a shell, which would take its question marks for a pattern.
bool read_directory(const char *name, GlobalValue *directory, TraceScope &scope)
{
    if (read_global(name, directory))
        return true;
    scope.note("directory %s is not known", name);
    return false;
}

void open_access_command(const char *sqlfile, Command *command, TraceScope &scope)
{
    i_setenv_tamba("tb_db");
    GlobalValue programs;
    if (read_directory("gv_ro_db", &programs, scope))
        command->format("%soaisql -e -c %s 2>&1", programs.c_str(), sqlfile);
}

void sqlite_command(const char *sqlfile, Command *command, TraceScope &scope)
{
    GlobalValue programs, data;
    if (!read_directory("gv_ro_db", &programs, scope) || !read_directory("gv_rw_db", &data, scope))
        return;
    command->format("%ssqlite3 -echo %stamba_db.sdb 2>&1 <%s", programs.c_str(), data.c_str(), sqlfile);
}

} // namespace

int32_t iDB_CREATE_SQL_CMD(const char *sqlfile, char *cmd, TraceContext trace)
{
    sqlfile = text_or_empty(sqlfile);
    TraceScope scope(trace, kTraceMain, "+++ DB_CREATE_SQL_CMD %s", sqlfile);
    Command command;
    GlobalValue type;
    read_global("gv_db_type", &type);
    if (type.view() == "sqlite") {
        sqlite_command(sqlfile, &command, scope);
    } else if (type.view() == "OpenAccess") {
        open_access_command(sqlfile, &command, scope);
    } else {
        if (type.view() == "postgres") {
            i_setenv_tamba("psql");
            command.format("psql -e -d tamba_db -f  %s 2>&1", sqlfile);
        }
        // Also for postgres, which has its command all the same: logs are read that way.
        scope.note("ERROR: Not supported db_type '%s'", type.c_str());
    }
    copy_text(cmd, TAMBA_SQL_CMD_SIZE, command.view());
    return scope.leave(1, "--- DB_CREATE_SQL_CMD returns Command=%s", command.c_str());
}
