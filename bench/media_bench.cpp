#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

namespace {

// A pool with its own drive and one prepared medium among count media.
bool fill_pool(int count)
{
    return site_sql(
        bench_site(),
        "delete from media where pool='BENCH'; delete from media_pools where name='BENCH';"
        "delete from hw_drives where drive_num=77;"
        "insert into hw_drives (drive_num, name, typ, grp_id, client_id) values (77, 'bench', 'LTO', 77, 1);"
        "insert into media_pools (name, eol, drive_grp) values ('BENCH', 30, 77);"
        "with recursive n(i) as (select 1 union all select i + 1 from n where i < " +
            std::to_string(count) +
            ") insert into media (label, pool, kasstyp, eol, sperrkz, drive_num, sichtag) "
            "select printf('BENCH%05d', i - 1), 'BENCH', 'LTO', case when i % 1000 = 0 then '2099-01-01 "
            "00:00:00' "
            "else '2001-01-01 00:00:00' end, '+', case when i = 1000 then 77 else 78 end, '2008-01-01 "
            "00:00:00' "
            "from n;");
}

// A catalogue of its own for each size, in a directory of its own.
bool make_catalogue(const std::string &name, int count)
{
    const std::filesystem::path folder = bench_site().path(name);
    std::filesystem::create_directories(folder);
    return fill_pool(count) &&
           std::filesystem::copy_file(bench_site().path("db/tamba_db.sdb"), folder / "tamba_db.sdb");
}

void use_catalogue(const std::string &name)
{
    char directory[TAMBA_GLBV_SIZE];
    std::snprintf(directory, sizeof directory, "%s/", bench_site().path(name).c_str());
    glbv("w", "gv_rw_db", directory);
}

void choose(benchmark::State &state, const std::string &catalogue)
{
    use_catalogue(catalogue);
    const TraceContext trace{};
    char drive[TAMBA_DRIVE_LIST_SIZE], media[TAMBA_LABEL_SIZE], msg[TAMBA_MEDIA_MSG_SIZE];
    for (auto _ : state) {
        std::strcpy(drive, "77");
        std::strcpy(media, "BENCH");
        if (i_CHECK_MEDIUM_FOR_BACKUP(drive, media, "job", msg, trace) != 1)
            state.SkipWithError(msg);
    }
}

// ---- the oldest medium -------------------------------------------------------------------------------------------

constexpr char kCandidates[] =
    "select label, eol, drive_num from media where pool='BENCH' and ( sperrkz='+' and "
    "init_flag<>'y' ) order by eol,id";

// The catalogue of 100,000 media, the first of which are loaded in other drives.
bool load_elsewhere(const std::string &name, int count)
{
    return site_sql(
               bench_site(),
               "update hw_drives set loader_drive=1 where drive_num=77; delete from loader_contents where "
               "number=78; insert into loader_contents (object, number, lbl) select 'drive', 78, label from "
               "( "
               "select label from media where pool='BENCH' and eol<'2099' and drive_num=78 order by eol,id "
               "limit " +
                   std::to_string(count) + ")") &&
           std::filesystem::create_directories(bench_site().path(name)) &&
           std::filesystem::copy_file(bench_site().path("db/tamba_db.sdb"),
                                      bench_site().path(name + "/tamba_db.sdb"));
}

void oldest(benchmark::State &state, const std::string &catalogue)
{
    use_catalogue(catalogue);
    char text[TAMBA_MEDIA_MSG_SIZE];
    for (auto _ : state)
        if (ARCH_GET_OLDEST("77", "BENCH", text, TraceContext{}) != 1)
            state.SkipWithError(text);
}

// All candidates, and a look for each of the first.
void bare_oldest(benchmark::State &state, const std::string &catalogue, int looks)
{
    const std::string file = bench_site().path(catalogue + "/tamba_db.sdb");
    for (auto _ : state) {
        if (raw_query(file, kCandidates) != 100'000)
            state.SkipWithError("candidates missing");
        for (int i = 0; i < looks; ++i)
            raw_query(file,
                      "select number from loader_contents where object='drive' and lbl='BENCH00007' and "
                      "number!=( select loader_drive from hw_drives where drive_num='77' )");
    }
}

void add_oldest_rows()
{
    if (!load_elsewhere("db-loaded-1000", 1'000) || !load_elsewhere("db-loaded-4000", 4'000))
        std::fprintf(stderr, "cannot make the catalogues for the oldest medium\n");
    add_pair(
        "oldest of 100,000 media", 0.1, [](benchmark::State &state) { oldest(state, "db-100000"); },
        [](benchmark::State &state) { bare_oldest(state, "db-100000", 0); }, "the query of all candidates");
    // Four times the media to pass over beside four times the raw work: what grew faster would show.
    for (const int count : {1'000, 4'000}) {
        const std::string catalogue = "db-loaded-" + std::to_string(count);
        add_pair(
            "oldest of 100,000, " + std::to_string(count) + " loaded elsewhere", 1.6,
            [=](benchmark::State &state) { oldest(state, catalogue); },
            [=](benchmark::State &state) { bare_oldest(state, catalogue, count + 1); },
            "that query, a query for each");
    }
}

// ---- end of life of a chain --------------------------------------------------------------------------------------

// One full backup and incrementals behind it, three media each.
bool make_chain(int savesets)
{
    const std::string n = std::to_string(savesets);
    return site_sql(
        bench_site(),
        "create temp table n as with recursive n(i) as (select 1 union all select i + 1 from n where i < " +
            n + ") select i from n; insert into results (saveset, task, fdi_typ, state, stop_tim) select '" +
            n + "-' || i, 'chain" + n +
            "', case i when 1 then 'F' else 'I' end, '0', printf('2026-%06d', i) from n;"
            "insert into result_lbls select '" +
            n + "-' || i, '" + n +
            "-' || i || '-' || k from n, (select 1 as k "
            "union select 2 union select 3); insert into media (label, pool, eol) select label, 'CHAIN', "
            "'2099-01-01 "
            "00:00:00' from result_lbls where saveset like '" +
            n + "-%'");
}

void adjust(benchmark::State &state, int savesets)
{
    use_catalogue("db");
    const std::string task = "chain" + std::to_string(savesets);
    for (auto _ : state)
        if (i_ADJUST_FDI_MEDIA_EOLS(task.c_str(), "BENCH", "new", 'I', TraceContext{}) != 1)
            state.SkipWithError("not adjusted");
}

void bare_adjust(benchmark::State &state, int savesets)
{
    const std::string file = bench_site().path("db/tamba_db.sdb"), n = std::to_string(savesets);
    for (auto _ : state) {
        if (raw_query(file, ("select saveset,fdi_typ from results where task='chain" + n + "'").c_str()) !=
            savesets)
            state.SkipWithError("savesets missing");
        for (int i = 1; i <= savesets; ++i) {
            const std::string saveset = n + "-" + std::to_string(i);
            raw_query(file, ("select label from result_lbls where saveset='" + saveset + "'").c_str());
            for (const char *medium : {"-1", "-2", "-3"})
                raw_query(file, ("select eol from media where label='" + saveset + medium + "'").c_str());
        }
    }
}

void add_chain_rows()
{
    for (const int savesets : {100, 1'000}) {
        if (!make_chain(savesets))
            std::fprintf(stderr, "cannot make the chains of savesets\n");
        add_pair(
            "end of life, chain of " + std::to_string(savesets) + " x 3 media", 1.6,
            [=](benchmark::State &state) { adjust(state, savesets); },
            [=](benchmark::State &state) { bare_adjust(state, savesets); },
            "a query for each saveset and medium");
    }
}

} // namespace

void add_media_rows()
{
    if (!make_catalogue("db-1000", 1'000) || !make_catalogue("db-100000", 100'000))
        std::fprintf(stderr, "cannot make the catalogues for the choice of a medium\n");
    add_pair(
        "choice of a medium, 100,000 in the pool", 1.5,
        [](benchmark::State &state) { choose(state, "db-100000"); },
        [](benchmark::State &state) { choose(state, "db-1000"); }, "the same with 1,000 media");
    add_oldest_rows();
    add_chain_rows();
}
