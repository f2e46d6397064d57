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

void choose(benchmark::State &state, const std::string &catalogue)
{
    char directory[TAMBA_GLBV_SIZE];
    std::snprintf(directory, sizeof directory, "%s/", bench_site().path(catalogue).c_str());
    glbv("w", "gv_rw_db", directory);
    const TraceContext trace{};
    char drive[TAMBA_DRIVE_LIST_SIZE], media[TAMBA_LABEL_SIZE], msg[TAMBA_MEDIA_MSG_SIZE];
    for (auto _ : state) {
        std::strcpy(drive, "77");
        std::strcpy(media, "BENCH");
        if (i_CHECK_MEDIUM_FOR_BACKUP(drive, media, "job", msg, trace) != 1)
            state.SkipWithError(msg);
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
}
