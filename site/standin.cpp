// One program under many names: stands in for the programs around the library on a simulated site.  What it
// does is decided by the name it was started under; each start is one line of work/site/calls.log.
#include <site/standin.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

std::string Call::option(const char *name) const
{
    for (size_t i = 0; i + 1 < arguments.size(); ++i)
        if (arguments[i] == name)
            return arguments[i + 1];
    return "";
}

std::string Call::argument(size_t index) const
{
    return index < arguments.size() ? arguments[index] : "";
}

std::string global(const char *name)
{
    char value[TAMBA_GLBV_SIZE] = "";
    return glbv("r", name, value);
}

void set_global(const std::string &name, const std::string &text)
{
    char value[TAMBA_GLBV_SIZE];
    std::snprintf(value, sizeof value, "%s", text.c_str());
    glbv("w", name.c_str(), value);
}

std::string script(const Call &call, const std::string &kind)
{
    return global("gv_rw_work") + "site/" + call.program + "." + kind;
}

bool read_script(const Call &call, const std::string &kind, std::string *text)
{
    std::ifstream file(script(call, kind), std::ios::binary);
    if (!file)
        return false;
    text->assign(std::istreambuf_iterator<char>(file), {});
    std::erase(*text, '\r'); // what is printed gets the platform's line ends
    return true;
}

bool must_fail(const Call &call, std::string *reason)
{
    if (!read_script(call, "fail", reason))
        return false;
    while (!reason->empty() && reason->back() == '\n')
        reason->pop_back();
    return true;
}

namespace {

// ---- scripts
// -----------------------------------------------------------------------------------------------------

void log_call(const Call &call)
{
    std::string line = call.program;
    for (const std::string &argument : call.arguments)
        line += argument.empty() || argument.find(' ') != std::string::npos ? " \"" + argument + "\""
                                                                            : " " + argument;
    line += "\n";
    if (FILE *file = std::fopen((global("gv_rw_work") + "site/calls.log").c_str(), "a")) {
        std::fwrite(line.data(), 1, line.size(), file); // one write, so that programs share the file by lines
        std::fclose(file);
    }
}

// The first program that comes to the gate waits in front of it, at most a minute.
void pass_gate(const Call &call)
{
    std::error_code error;
    const fs::path arrived = script(call, "arrived");
    fs::rename(script(call, "gate"), arrived, error);
    for (int i = 0; !error && i < 6000 && fs::exists(arrived); ++i)
        wait_msec(10);
}

// ---- catalogue
// ---------------------------------------------------------------------------------------------------

std::string in_quotes(const std::string &text)
{
    char value[512 + 3];
    std::snprintf(value, sizeof value, "%s", text.c_str());
    return "'" + std::string(db_string(value, 510)) + "'";
}

// First row of a query's column, "" without one.
std::string value_of(const Call &call, const std::string &sql, const char *column)
{
    char value[4096] = "";
    return iDB_SEL_GETVALUE(sql.c_str(), column, value, call.trace) == 1 ? value : "";
}

bool execute(const Call &call, const std::string &sql, std::string *message)
{
    char msg[TAMBA_DB_MSG_SIZE] = "";
    const bool done = iDB_ACCESS(sql.c_str(), msg, nullptr, call.trace) == 1;
    *message = msg;
    return done;
}

std::string end_of_life(const Call &call, const std::string &pool)
{
    const int days =
        std::atoi(value_of(call, "select eol from media_pools where name=" + in_quotes(pool), "eol").c_str());
    char stamp[TAMBA_TIME_SIZE];
    std::snprintf(stamp, sizeof stamp, "D %d", days < 1 ? 1 : days);
    return std::string(time_get(stamp)).substr(0, 19);
}

} // namespace

bool next_label(const Call &call, const std::string &pool, std::string *next, std::string *problem)
{
    std::string last;
    if (!execute(call, "select max(label) from media where pool=" + in_quotes(pool), &last)) {
        *problem = last;
        return false;
    }
    int32_t number = 0;
    char name[TAMBA_LABEL_SIZE] = "";
    i_SPLIT_LABEL(last.c_str(), name, &number);
    char label[TAMBA_LABEL_SIZE + 8];
    std::snprintf(label, sizeof label, "%s%05d", pool.c_str(), number + 1);
    *next = label;
    return true;
}

bool write_medium(const Call &call, const std::string &label, const std::string &pool,
                  const std::string &type, const std::string &drive, std::string *message)
{
    const std::string eol = in_quotes(end_of_life(call, pool)), quoted = in_quotes(label);
    const std::string loader = "(select loader_num from hw_drives where drive_num=" + in_quotes(drive) + ")";
    if (value_of(call, "select label from media where label=" + quoted, "label").empty())
        return execute(call,
                       "insert into media (label,pool,kasstyp,eol,drive_num,lader) values (" + quoted + "," +
                           in_quotes(pool) + "," + in_quotes(type) + "," + eol + "," + in_quotes(drive) +
                           "," + loader + ")",
                       message);
    return execute(
        call,
        "update media set close_tape=null,sichtag=null,folgekass=0,sperrkz='+',init_flag='n',eom_state='n'," +
            ("eol=" + eol) + ",drive_num=" + in_quotes(drive) + ",lader=" + loader + " where label=" + quoted,
        message);
}

namespace {

// ---- tb_init
// -----------------------------------------------------------------------------------------------------

int report_init(const std::string &drive, const std::string &reported, const std::string &board)
{
    info('M', std::atoi(drive.c_str()), board.c_str());
    set_global("gv_init_msg_" + drive, reported);
    return reported[0] == '?' ? 1 : 0;
}

int tb_init(const Call &call)
{
    const std::string drive = call.option("-d"), pool_wanted = call.option("-m");
    std::string label = call.option("-t"), problem;
    if (drive.empty() || label.empty() == pool_wanted.empty()) {
        trap_par_err("INIT", 0);
        return 1;
    }
    if (must_fail(call, &problem) || (label.empty() && !next_label(call, pool_wanted, &label, &problem)))
        return report_init(drive, "? " + problem, "tb_init: " + problem);
    char pool[TAMBA_LABEL_SIZE];
    i_SPLIT_LABEL(label.c_str(), pool, nullptr);
    if (!write_medium(call, label, pool, "LTO-TAPE", drive, &problem))
        return report_init(drive, "? " + problem, "tb_init: " + problem);
    label_medium(drive, label);
    return report_init(drive, label, "tb_init: " + label + " is prepared");
}

// ---- the names
// ---------------------------------------------------------------------------------------------------

int only_logged(const Call &)
{
    return 0;
}

struct Program {
    const char *name;
    int (*run)(const Call &call);
};
constexpr Program kPrograms[] = {
    {"tb_init", tb_init},
    {"tb_alarm", only_logged},
    {"tb_os_startup", only_logged},
    {"tb_notify", tb_notify},
    {"tb_arch", tb_arch},
    {"tb_qm", tb_qm},
    {"damisql", damisql},
    {"tbc", tbc},
    {"tb_client", tb_client},
    {"jrsh", remote_shell},
    {"rsh", remote_shell},
    {"tb_ctrlc", remote_shell},
    {"tb_tbs_interface", tb_tbs_interface},
    {"tb_ndmp_interface", tb_ndmp_interface},
    {"tb_loader", tb_loader},
};

} // namespace

int main(int argc, char **argv)
{
    Call call;
    call.program = fs::path(argc > 0 ? argv[0] : "").stem().string();
    call.arguments.assign(argv + (argc > 0 ? 1 : 0), argv + argc);
    for (const Program &program : kPrograms)
        if (call.program == program.name) {
            char module[32];
            std::snprintf(module, sizeof module, "%s", program.name);
            v_set_log_main((call.program + ".lgc").c_str(), uppercase(module), &call.trace);
            log_call(call);
            pass_gate(call);
            return program.run(call);
        }
    std::printf("STATUS=ERROR MSG=\"%s stands in for no program of this name\"\n", call.program.c_str());
    return 2;
}
