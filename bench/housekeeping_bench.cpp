#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The three files of a saveset.
std::string file_of(const char *folder, int saveset)
{
    const std::string number = std::to_string(saveset);
    const std::string job = "job" + number + "-20080207000000_001";
    const std::string name = folder == std::string("client") ? "tbc_bench" + number + ".not" : job + "_a.lis";
    return bench_site().path(folder + ("/" + name));
}

constexpr const char *kFolders[] = {"lis", "prepost", "client"};

bool fill_medium(int savesets)
{
    char client[TAMBA_GLBV_SIZE], db[TAMBA_GLBV_SIZE];
    std::snprintf(client, sizeof client, "%s", bench_site().path("client/").c_str());
    std::snprintf(db, sizeof db, "%s", bench_site().path("db/").c_str());
    glbv("w", "gv_rw_lgc", client);
    glbv("w", "gv_rw_db", db);
    for (int saveset = 1; saveset <= savesets; ++saveset)
        for (const char *folder : kFolders)
            close(open(file_of(folder, saveset).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
    return site_sql(
        bench_site(),
        "delete from results; delete from result_lbls;"
        "with recursive n(i) as (select 1 union all select i + 1 from n where i < " +
            std::to_string(savesets) +
            ") insert into results (saveset,task,datum,cnt,state) select 'SFbench' || i, 'job' || i, "
            "'2008-02-07 00:00:00', 1, '0' from n;"
            "insert into result_lbls (saveset,label) select saveset, 'BENCHLIS' from results");
}

void must_be_gone(benchmark::State &state, int savesets)
{
    for (const char *folder : kFolders)
        if (access(file_of(folder, savesets).c_str(), F_OK) == 0)
            state.SkipWithError("a file is left");
    if (!site_rows(bench_site(), "select saveset from results limit 1").empty())
        state.SkipWithError("a row is left");
}

void clean_up(benchmark::State &state, int savesets)
{
    for (auto _ : state) {
        state.PauseTiming();
        if (!fill_medium(savesets))
            state.SkipWithError("no medium");
        state.ResumeTiming();
        iDELETE_OLD_LIS("BENCHLIS", "INIT:", "3", 'n', TraceContext{});
        state.PauseTiming();
        must_be_gone(state, savesets);
        state.ResumeTiming();
    }
}

void bare_clean_up(benchmark::State &state, int savesets)
{
    const std::string file = bench_site().path("db/tamba_db.sdb"),
                      protocol = bench_site().path("log/tamba.prot");
    const std::string line =
        "2008-02-07 10:30:00 Thu I005-MEDIA  [  4711]: INIT: deleting obsolete data of job x.\n";
    for (auto _ : state) {
        state.PauseTiming();
        if (!fill_medium(savesets))
            state.SkipWithError("no medium");
        state.ResumeTiming();
        const std::string held = "saveset in (select saveset from result_lbls where label='BENCHLIS')";
        raw_query(file, ("select * from results where " + held).c_str());
        for (int saveset = 1; saveset <= savesets; ++saveset) {
            raw_append(protocol, line.data(), line.size());
            for (const char *folder : kFolders)
                unlink(file_of(folder, saveset).c_str());
        }
        for (const std::string &statement :
             {"update results set state='d' where " + held, "delete from restore_results where " + held,
              "delete from restore_tasks where " + held,
              std::string("delete from result_lbls where label='BENCHLIS'"),
              std::string("delete from results where state='d'")})
            raw_query(file, statement.c_str());
        state.PauseTiming();
        must_be_gone(state, savesets);
        state.ResumeTiming();
    }
}

} // namespace

void add_housekeeping_rows()
{
    if (mkdir(bench_site().path("client").c_str(), 0777) != 0)
        std::perror("client");
    for (const int savesets : {1'000, 10'000})
        add_pair(
            "cleanup of a medium, " + std::to_string(savesets) + " savesets", 3,
            [=](benchmark::State &state) { clean_up(state, savesets); },
            [=](benchmark::State &state) { bare_clean_up(state, savesets); },
            "its statements, lines and unlinks");
}
