// Services that run a program: beside the bare start of the same program.
#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

// Runs a command as a shell script would and reads what it prints.
void bare_run(benchmark::State &state, const std::string &command)
{
    for (auto _ : state) {
        FILE *const pipe = popen(command.c_str(), "r");
        char line[512];
        while (pipe && std::fgets(line, sizeof line, pipe))
            benchmark::DoNotOptimize(line);
        if (!pipe || pclose(pipe) != 0)
            state.SkipWithError("the bare command failed");
    }
}

std::string program(const std::string &name)
{
    return bench_site().path("bin/tamba/" + name + ".exe");
}

void ask_queue(benchmark::State &state)
{
    for (auto _ : state)
        if (que_start("bench", bench_context(0)) != 1)
            state.SkipWithError("tb_qm did not start the queue");
}

void ask_client(benchmark::State &state)
{
    char type[TAMBA_GLBV_SIZE] = "postgres", directory[TAMBA_GLBV_SIZE], msg[TAMBA_DB_MSG_SIZE];
    std::snprintf(directory, sizeof directory, "%s", bench_site().path("bin/tamba/").c_str());
    glbv("w", "gv_db_type", type);
    glbv("w", "gv_ro_db", directory);
    for (auto _ : state) {
        DB_REC_LIST list = {"bench", 0, 0, nullptr, nullptr};
        if (iDB_ACCESS("select name from clients", msg, &list, bench_context(0)) != 1)
            state.SkipWithError(msg);
        DB_SEL_LOOP_RECORDS(&list, 'd');
    }
    char back[TAMBA_GLBV_SIZE] = "sqlite";
    glbv("w", "gv_db_type", back);
}

void run_here(benchmark::State &state)
{
    char host[256] = "", cmd[TB_REMOTE_CMD_SIZE];
    gethostname(host, sizeof host - 1);
    const std::string node = std::string(host) + "|" + bench_site().path("work/here.out");
    for (auto _ : state) {
        std::snprintf(cmd, sizeof cmd, "/bin/true");
        if (REMOTE_CMD(node.c_str(), cmd, 1, bench_context(0)) != 1)
            state.SkipWithError(cmd);
    }
}

void bare_system(benchmark::State &state)
{
    const std::string command = "/bin/true 1>>" + bench_site().path("work/here.out") + " 2>&1";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("/bin/true failed");
}

} // namespace

void add_service_rows()
{
    std::string problem;
    if (!install_programs(bench_site(), &problem) || que_init("bench", "serial", bench_context(0)) != 1)
        std::fprintf(stderr, "cannot install the programs of the site: %s\n", problem.c_str());
    add_pair(
        "que_start, a run of tb_qm", 1.2, ask_queue,
        [](benchmark::State &state) { bare_run(state, program("tb_qm") + " start bench"); },
        "popen of the same program");
    add_pair(
        "iDB_ACCESS, a run of damisql", 1.5, ask_client,
        [](benchmark::State &state) {
            bare_run(state, program("damisql") + " -d tamba_db -q 'select name from clients'");
        },
        "popen of the same program");
    add_pair("REMOTE_CMD on its own host", 1.2, run_here, bare_system, "system with the same redirection");
}
