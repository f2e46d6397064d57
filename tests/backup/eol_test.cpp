#include "tests/backup/media_site.h"
#include "tests/support/standing_clock.h"

#include <foundation/text.h>

#include <cstring>
#include <limits>

namespace {

class EndOfLife : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        clock.set("2026-06-15 12:34:56");
        sql("delete from media");
    }
    std::string eol(const char *pool) const
    {
        char text[TAMBA_EOL_SIZE] = "old";
        EXPECT_EQ(cp_COMPUTE_EOL("id", text, pool, trace), text);
        return text;
    }
    int32_t adjust(char fdi_type) const
    {
        return i_ADJUST_FDI_MEDIA_EOLS("task", "DAILY", "NEW", fdi_type, trace);
    }
    // One saveset on one medium, S0 on L0 and so on, for each letter, oldest first; their media end on 2026-06-20.
    void arrange_chain(const std::string &types) const
    {
        std::string all = "delete from media; delete from results; delete from result_lbls;";
        for (size_t i = 0; i < types.size(); ++i) {
            const std::string n = std::to_string(i);
            all += "insert into results (saveset,task,fdi_typ,state,stop_tim) values ('S" + n + "','task','" +
                   types[i] + "','" + std::to_string(i % 3) + "','2026-06-0" + n + "');" +
                   "insert into result_lbls values ('S" + n + "','L" + n + "');" +
                   "insert into media (label,pool,eol) values ('L" + n + "','DAILY','2026-06-20 00:00:00');";
        }
        sql(all + "insert into result_lbls values ('NEW','LNEW');"
                  "insert into media (label,pool,eol) values ('LNEW','DAILY','2030-01-01 00:00:00');");
    }
    std::string eol_of(const std::string &label) const
    {
        return value("select eol from media where label='" + label + "'");
    }
    // "+" for each medium of the chain that was moved on, "-" for the others.
    std::string moved(size_t count) const
    {
        std::string all;
        for (size_t i = 0; i < count; ++i)
            all += eol_of("L" + std::to_string(i)) == kNewEol ? '+' : '-';
        return all;
    }
    StandingClock clock;
    static constexpr char kNewEol[] = "2026-06-29 12:34:56"; // of DAILY, 14 days
};

TEST_F(EndOfLife, IsThePoolsRetentionAfterNow)
{
    // clang-format off
    const char *const cases[][2] = {
        {"-1", "2026-06-16 12:34:56"}, {"0", "2026-06-15 12:34:56"}, {"14", kNewEol}, {"2912276", "9999-12-30 12:34:56"},
        {"2912277", "9999-12-31 23:59:59"}, {"99999999999", "9999-12-31 23:59:59"}, {"14 days", "2026-06-22 12:34:56"},
        {"", "2026-06-22 12:34:56"}, {"-2", "2026-06-22 12:34:56"},
    };
    // clang-format on
    for (const auto &[retention, end] : cases) {
        sql(std::string("delete from media_pools; insert into media_pools (name, eol) values ('O''Neil', '") +
            retention + "')");
        EXPECT_EQ(eol("O'Neil"), end) << retention;
    }
    sql("update media_pools set eol=null");
    EXPECT_EQ(eol("O'Neil"), "2026-06-22 12:34:56");
    EXPECT_EQ(eol("NOWHERE"), "2026-06-22 12:34:56");
    EXPECT_TRUE(holds(trace_text(), "ERROR: couldn't get eol for pool NOWHERE\n"));
    EXPECT_TRUE(holds(trace_text(), "Set eol to default value: 7\n"));
}

TEST_F(EndOfLife, KeepsTheTimeOfDayOverAChangeOfClocks)
{
    clock.set_zone(kBerlin);
    clock.set("2026-10-20 23:30:00");
    EXPECT_EQ(eol("DAILY"), "2026-11-03 23:30:00");
    clock.set("2026-03-20 00:30:00");
    EXPECT_EQ(eol("DAILY"), "2026-04-03 00:30:00");
}

TEST_F(EndOfLife, IsNeverADateWhenTheCatalogueCannotBeRead)
{
    expect_complaints = true;
    CatalogueLock lock(site);
    EXPECT_EQ(eol("DAILY"), "NULL");
    EXPECT_TRUE(
        holds(protocol(), "]: INIT select eol from media_pools with unexpected result: database is locked."));
}

TEST_F(EndOfLife, MovesOnForWhatTheNewBackupDependsOn)
{
    // clang-format off
    const struct { const char *chain; char type; const char *moved; } cases[] = {
        {"FIDFDII", 'I', "---++++"}, {"FDIDI", 'I', "+--++"}, {"DII", 'I', "+++"}, {"FCXI", 'I', "++++"},
        {"FCDI", 'I', "+-++"}, {"FFDD", 'D', "-+--"}, {"DD", 'D', "--"}, {"fI", 'I', "++"}, {"FI", 'F', "--"},
        {"F", 'd', "-"}, {"F", 'i', "-"}, {"", 'I', ""},
    };
    // clang-format on
    for (const auto &c : cases) {
        arrange_chain(c.chain);
        EXPECT_EQ(adjust(c.type), 1);
        EXPECT_EQ(moved(std::strlen(c.chain)), c.moved) << c.chain << " and " << c.type;
        EXPECT_EQ(eol_of("LNEW"), kNewEol) << "set in any case, also back";
    }
    EXPECT_TRUE(holds(protocol(), "I004-BACKUP "));
    EXPECT_TRUE(holds(protocol(),
                      "]: EOL-adjusting: bcs. of I-backup task the EOL of media L3 was shifted from "
                      "2026-06-20 00:00:00 to 2026-06-29 12:34:56.\n"));
}

TEST_F(EndOfLife, CountsUsableResultsOfTheTaskByTheFirstLetterOfTheirType)
{
    arrange_chain("FFDI");
    sql("update results set state='3' where saveset='S3'; update results set task='other' where saveset='S2';"
        "update results set fdi_typ='FC' where saveset='S1'; insert into results (saveset,task,fdi_typ,state,"
        "stop_tim) values ('NEW','task','I','0','2026-06-15')");
    EXPECT_EQ(adjust('I'), 1);
    EXPECT_EQ(moved(4), "-+--");
}

TEST_F(EndOfLife, IsNeverMovedBackBecauseOfADependency)
{
    // clang-format off
    const struct { const char *before, *after; size_t reports; } cases[] = {
        {"'9999-12-31 00:00:00'", "9999-12-31 00:00:00", 0}, {"'2026-06-29 12:34:00'", "2026-06-29 12:34:00", 0},
        {"'2026-06-29 12:33:59'", kNewEol, 1}, {"null", kNewEol, 1}, {"'29.06.2026 12:34'", "29.06.2026 12:34", 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        arrange_chain("FI");
        sql(std::string("update media set eol=") + c.before +
            " where label='L0'; delete from media where label='L1'");
        write_text(site.path("log/tamba.prot"), "");
        EXPECT_EQ(adjust('I'), 1) << "L1 is no medium any more";
        EXPECT_EQ(eol_of("L0"), c.after) << c.before;
        EXPECT_EQ(lines_of(protocol()).size(), c.reports) << protocol();
    }
}

// Each failure leaves what was done before, and changes nothing behind it.
TEST_F(EndOfLife, StopsWhereTheCatalogueFails)
{
    expect_complaints = true;
    const auto hidden = [&](const char *table, const char *moved_before, const char *own) {
        arrange_chain("FDI");
        sql(std::string("alter table ") + table + " rename to hidden");
        EXPECT_EQ(adjust('I'), 0) << table;
        sql(std::string("alter table hidden rename to ") + table);
        EXPECT_EQ(moved(3), moved_before) << table;
        EXPECT_EQ(eol_of("LNEW"), own) << table;
    };
    hidden("media_pools", "---", "2030-01-01 00:00:00");
    hidden("results", "---", kNewEol);
    hidden("result_lbls", "---", "2030-01-01 00:00:00");
    hidden("media", "---", "2030-01-01 00:00:00");

    sql("create trigger worn before update of eol on media when old.label='L1' begin select raise(abort, "
        "'disk is worn'); end");
    arrange_chain("FDI");
    EXPECT_EQ(adjust('I'), 0);
    EXPECT_EQ(moved(3), "--+");
    EXPECT_TRUE(holds(protocol(), "unexpected result: disk is worn."));
    EXPECT_EQ(protocol().find("media L1 was shifted"), std::string::npos);

    sql("create trigger worn_own before update of eol on media when old.label='LNEW' begin select "
        "raise(abort, 'disk is full'); end");
    EXPECT_EQ(adjust('F'), 1) << "the first write only reports";
    EXPECT_TRUE(holds(protocol(), "unexpected result: disk is full."));

    const std::string before = dump_catalogue(site);
    {
        CatalogueLock lock(site);
        EXPECT_EQ(adjust('I'), 0);
    }
    break_semaphores();
    EXPECT_EQ(adjust('I'), 0);
    EXPECT_EQ(dump_catalogue(site), before);
}

TEST_F(EndOfLife, IsMovedOnThroughIndexes)
{
    arrange_chain("FDI");
    EXPECT_EQ(adjust('I'), 1);
    EXPECT_EQ(plans().size(), 12u) << "retention, own media, results; labels, date and its change of three";
}

// Sixty nights with a full backup each fourth week, a differential each week and an incremental each night, over a
// change of clocks, on media that are used again as soon as they are offered.
TEST_F(EndOfLife, OfAChainNeverLetsItsBaseBeOverwritten)
{
    clock.set_zone(kBerlin);
    clock.set("2026-10-05 23:00:00");
    sql("update media_pools set eol=5 where name='DESK'");
    std::vector<std::pair<std::string, char>> backups; // label and type, oldest first
    int media = 0, used_again = 0;
    for (int night = 0; night < 60; ++night, clock.next_day()) {
        const char type = night % 28 == 0 ? 'F' : night % 7 == 0 ? 'D' : 'I';
        char label[TAMBA_MEDIA_MSG_SIZE];
        if (ARCH_GET_OLDEST("4", "DESK", label, TraceContext{}) == 1) {
            ++used_again;
            // What the newest backup needs: back to the newest differential or full, and the full behind it.
            bool needed = true, full_only = false;
            for (auto backup = backups.rbegin(); backup != backups.rend() && needed; ++backup) {
                if (!full_only || backup->second == 'F') {
                    ASSERT_NE(backup->first, label) << "night " << night << ", backup " << backup->second;
                }
                full_only |= backup->second == 'D';
                needed = backup->second != 'F';
            }
            sql(std::string(
                    "delete from results where saveset in (select saveset from result_lbls where label='") +
                label + "'); delete from result_lbls where label='" + label + "'");
        } else {
            std::snprintf(label, sizeof label, "DESK%05d", ++media);
            sql(std::string("insert into media (label,pool,eol,drive_num) values ('") + label +
                "','DESK','2000-01-01 00:00:00',4)");
        }
        const std::string saveset = "S" + std::to_string(1000 + night);
        sql("insert into results (saveset,task,fdi_typ,state,stop_tim) values ('" + saveset + "','chain','" +
            type + "','0','" + saveset + "'); insert into result_lbls values ('" + saveset + "','" + label +
            "')");
        ASSERT_EQ(i_ADJUST_FDI_MEDIA_EOLS("chain", "DESK", saveset.c_str(), type, TraceContext{}), 1);
        std::erase_if(backups, [&](const auto &backup) { return backup.first == label; });
        backups.emplace_back(label, type);
    }
    EXPECT_GT(used_again, 20);
}

TEST_F(EndOfLife, DecidesByCapacityWhetherTypesFit)
{
    expect_complaints = true;
    sql("insert into capacities values ('LTO','x''y',7), ('LTO','EMPTY',0)");
    EXPECT_EQ(i_CHECK_CAPACITIES("LTO", "LTO-TAPE", trace), 800000);
    EXPECT_EQ(i_CHECK_CAPACITIES("LTO", "x'y", trace), 7);
    EXPECT_EQ(i_CHECK_CAPACITIES("LTO", "FILE", trace), 0);
    EXPECT_EQ(i_CHECK_CAPACITIES("' or '1'='1", nullptr, trace), 0);
    CatalogueLock lock(site);
    EXPECT_EQ(i_CHECK_CAPACITIES("LTO", "LTO-TAPE", trace), -1);
    EXPECT_TRUE(holds(trace_text(), "   drivetyp:LTO  mediatyp:LTO-TAPE\n"));
    EXPECT_TRUE(holds(trace_text(), "--- ZDL CHECK_CAPACITIES returns 800000\n"));
}

TEST_F(EndOfLife, BackupTypesAreFoundByTheirNames)
{
    for (int32_t type = 0; type < TAMBA_BACKUP_TYPE_UNKNOWN; ++type) {
        std::string name = szBACKUP_TYPE(type);
        EXPECT_NE(name, "unknown");
        for (char &c : name)
            c = type % 2 ? ascii_upper(c) : ascii_lower(c);
        EXPECT_EQ(e_GET_BACKUP_TYPE(name.c_str(), trace), type) << name;
    }
    EXPECT_EQ(e_GET_BACKUP_TYPE("oracle", trace), 16);
    EXPECT_EQ(trace_text(), "") << "level 2 and above only";
    trace.level = 2;
    for (const char *name : {"unknown", "", "Pathological", "OpenLDA"})
        EXPECT_EQ(e_GET_BACKUP_TYPE(name, trace), 24) << name;
    EXPECT_TRUE(holds(trace_text(), "WARNING: unknown backup type >Pathological<\n"));
    for (const int32_t type : {-1, 24, 99, std::numeric_limits<int32_t>::min()})
        EXPECT_STREQ(szBACKUP_TYPE(type), "unknown");
}

} // namespace
