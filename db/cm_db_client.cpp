// The command line of the database's own client.
#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <tamba/db.h>

#include <string>

namespace {

// A directory that is unknown must not reach a shell, which would take its question marks for a pattern.
bool read_directory(const char *name, GlobalValue *directory, TraceScope &scope)
{
    if (read_global(name, directory))
        return true;
    scope.note("directory %s is not known", name);
    return false;
}

std::string open_access_command(const std::string &sqlfile, TraceScope &scope)
{
    i_setenv_tamba("tb_db");
    GlobalValue programs;
    if (!read_directory("gv_ro_db", &programs, scope))
        return "";
    return programs.c_str() + ("oaisql -e -c " + sqlfile) + " 2>&1";
}

std::string sqlite_command(const std::string &sqlfile, TraceScope &scope)
{
    GlobalValue programs, data;
    if (!read_directory("gv_ro_db", &programs, scope) || !read_directory("gv_rw_db", &data, scope))
        return "";
    return programs.c_str() + std::string("sqlite3 -echo ") + data.c_str() + "tamba_db.sdb 2>&1 <" + sqlfile;
}

std::string command_of(std::string_view type, const std::string &sqlfile, TraceScope &scope)
{
    if (type == "sqlite")
        return sqlite_command(sqlfile, scope);
    if (type == "OpenAccess")
        return open_access_command(sqlfile, scope);
    // Also for postgres, which has its command all the same: logs are read that way.
    scope.note("ERROR: Not supported db_type '%s'", type.data());
    if (type != "postgres")
        return "";
    i_setenv_tamba("psql");
    return "psql -e -d tamba_db -f  " + sqlfile + " 2>&1";
}

} // namespace

int32_t iDB_CREATE_SQL_CMD(const char *sqlfile, char *cmd, TraceContext trace)
{
    sqlfile = text_or_empty(sqlfile);
    TraceScope scope(trace, kTraceMain, "+++ DB_CREATE_SQL_CMD %s", sqlfile);
    GlobalValue type;
    read_global("gv_db_type", &type);
    std::string command = command_of(type.view(), sqlfile, scope);
    if (command.size() >= TAMBA_SQL_CMD_SIZE) { // what a cut would leave of it could run another file
        scope.note("a command of %d characters is too long", static_cast<int>(command.size()));
        command.clear();
    }
    copy_text(cmd, TAMBA_SQL_CMD_SIZE, command);
    return scope.leave(1, "--- DB_CREATE_SQL_CMD returns Command=%s", command.c_str());
}
