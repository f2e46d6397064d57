// Which medium may take the place of the requested one.
#include "tests/backup/media_site.h"
#include "tests/support/child.h"

#include <cstring>

namespace {

GetVolumeStrategy request(const char *label, const char *drive = "4", const char *accept = "yyy")
{
    GetVolumeStrategy strategy{};
    strategy.mode = 'i';
    std::snprintf(strategy.requested_label, sizeof strategy.requested_label, "%s", label);
    std::snprintf(strategy.drive_num, sizeof strategy.drive_num, "%s", drive);
    strategy.accept_empty = accept[0];
    strategy.accept_spare = accept[1];
    strategy.accept_eol = accept[2];
    return strategy;
}

using Rule = int32_t (*)(GetVolumeStrategy *, char *, TraceContext);
const std::string kNoRow = "empty record-list, cannot get requested data";

class Acceptance : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        sql("insert into media (label, pool, kasstyp, eol) values ('SPARE00001', 'SPARE', 'LTO-TAPE', null),"
            "('SPARE00002', 'SPARE', 'LTO-TAPE', null), ('SPARE00003', 'SPARE', 'LTO-TAPE', null),"
            "('DESK00002', 'DESK', 'LTO-TAPE', datetime('now', 'localtime', '-1 day'))");
    }
    // Applies a rule, i_TRY_CHANGE_LABEL by default: the result, then what is left in the label buffer, which is watched
    // behind its end.
    std::string apply(GetVolumeStrategy strategy, const std::string &loaded, Rule rule = nullptr,
                      int32_t state = 1)
    {
        char label[TAMBA_VOLUME_MSG_SIZE + 8];
        std::memset(label, '#', sizeof label);
        std::snprintf(label, TAMBA_VOLUME_MSG_SIZE, "%s", loaded.c_str());
        const int32_t result =
            rule ? rule(&strategy, label, trace) : i_TRY_CHANGE_LABEL(&strategy, state, label, trace);
        EXPECT_EQ(std::string(label + TAMBA_VOLUME_MSG_SIZE, 8), "########");
        EXPECT_EQ(strategy.mode, result == 1 ? 'd' : 'i') << loaded;
        return std::to_string(result) + " " + label;
    }
};

TEST_F(Acceptance, SwitchesAreSetByExactlyOneRow)
{
    const auto switches = [&](const char *change) {
        sql(change);
        GetVolumeStrategy strategy = request("DESK00001", "4", "nnn");
        EXPECT_EQ(i_FILL_STRATEGY(&strategy, trace), 1);
        return std::string{strategy.accept_empty, strategy.accept_spare, strategy.accept_eol};
    };
    EXPECT_EQ(switches(""), "nnn");
    EXPECT_EQ(switches("insert into defaults values ('media_accept_spare','yes'),('media_accept_eol','Y')"),
              "nyY");
    EXPECT_EQ(switches("insert into defaults values ('media_accept_spare','y')"), "nnY")
        << "twice is nobody's decision";
    EXPECT_EQ(switches("alter table defaults rename to lost"), "nnn") << "what cannot be read allows nothing";
}

TEST_F(Acceptance, TheSwitchOfEachKindOfMediumDecides)
{
    // clang-format off
    const struct { int32_t state; const char *loaded, *accept, *answer; } cases[] = {
        {0, "No label on tape", "Nyy", "0 accepting of strange media not allowed"},
        {0, "SPARE00001", "ynn", "1 DESK00003"}, // an unreadable label is no spare's, whatever was read
        {1, "DESKSPARE1", "yny", "0 accepting of SPARE media not allowed"}, {1, "SPARE00001", "nyn", "1 DESK00004"},
        {1, "DESK00002", "yyn", "0 accepting of known media not allowed"},  {7, "DESK00002", "nny", "1 DESK00002"},
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(apply(request("DESK00009", "4", c.accept), c.loaded, nullptr, c.state), c.answer);
    }
}

TEST_F(Acceptance, AKnownMediumOfThePoolIsUsedWhenItIsFreeAndItsLifeIsOver)
{
    sql("insert into media_pools (name, eol) values ('POOL', 7)");
    const std::string pool = "0 media not from same pool", no = "0 don't accept POOL00012";
    const std::string yes = "1 POOL00012", no_row = "0 " + kNoRow;
    // clang-format off
    const struct { const char *requested, *loaded, *change; std::string text; } cases[] = {
        {"POOL00007", "POOL00012", "sperrkz='+'", yes},
        {"POOL00007", "POOLA0012", "sperrkz='+'", pool}, // same length and beginning, but no number
        {"POOL00007", "POOL000012", "sperrkz='+'", pool}, {"POOL00007", "LOOP00012", "sperrkz='+'", pool},
        {"00007", "00012", "sperrkz='+'", pool},          {"P", "P", "sperrkz='+'", pool},
        {"POOL0000A", "POOL0000B", "sperrkz='+'", no_row}, {"O'NEIL00001", "O'NEIL00002", "sperrkz='+'", no_row},
        {"POOL00007", "POOL00012", "sperrkz='-'", no},    {"POOL00007", "POOL00012", "sperrkz=''", no},
        {"POOL00007", "POOL00012", "init_flag='y'", no},  {"POOL00007", "POOL00012", "eom_state='y'", yes},
        {"POOL00007", "POOL00012", "eol=date('now','localtime')", no}, // ends today
        {"POOL00007", "POOL00012", "eol=null", no}, {"POOL00007", "POOL00012", "eol=''", no}, // no date protects
    };
    // clang-format on
    for (const auto &c : cases) {
        sql("delete from media where label='POOL00012'; insert into media (label, pool, kasstyp, eol) values "
            "('POOL00012', 'POOL', 'LTO-TAPE', datetime('now', 'localtime', '-1 day'))");
        sql(std::string("update media set ") + c.change + " where label='POOL00012'");
        const std::string before = dump_catalogue(site);
        EXPECT_EQ(apply(request(c.requested), c.loaded), c.text) << c.loaded << " " << c.change;
        EXPECT_TRUE(dump_catalogue(site) == before) << "accepting changes nothing";
    }
    // Media of a pool that is used in turn need not wait, but a lock holds there, too.
    sql("update media_pools set eol=-1 where name='POOL'; update media set eol='9999-12-31' where "
        "label='POOL00012'");
    EXPECT_EQ(apply(request("POOL00007"), "POOL00012"), yes);
    sql("update media set sperrkz='-' where label='POOL00012'");
    EXPECT_EQ(apply(request("POOL00007"), "POOL00012"), no);
    EXPECT_EQ(calls(site), Lines{}) << "nothing is started";
    EXPECT_TRUE(holds(protocol(), "]: Use media POOL00012 instead of requested label POOL00007 .\n"));
}

TEST_F(Acceptance, UnknownMediaAndSparesAreTakenIntoTheRequestedPool)
{
    const GetVolumeStrategy strategy = request("DESK00009");
    EXPECT_EQ(apply(strategy, "No label on tape", i_USE_UNKNOWN_MEDIA), "1 DESK00003");
    EXPECT_EQ(apply(strategy, "SPARE00001", i_CATCH_SPARE_MEDIA), "1 DESK00004");
    EXPECT_EQ(calls(site), Lines(2, "tb_arch intro -o nocheck -i over -d 4 -T LTO-TAPE -m DESK"));
    EXPECT_EQ(value("select count(*) from media where label='SPARE00001'"), "0");
    // A spare whose entry cannot be deleted is used all the same; one that keeps its label keeps its entry.
    sql("create trigger keep before delete on media begin select raise(abort, 'kept'); end");
    EXPECT_EQ(apply(strategy, "SPARE00002", i_CATCH_SPARE_MEDIA), "1 DESK00005");
    sql("drop trigger keep");
    write_text(script_path(site, "tb_arch", "answer"), "exit 0\nSPARE00003");
    EXPECT_EQ(apply(strategy, "SPARE00003", i_CATCH_SPARE_MEDIA), "1 SPARE00003");
    EXPECT_EQ(value("select count(*) from media where label='SPARE00003'"), "1");
    const std::string longer(31, 'X'), kept = longer + "SPARE"; // too long for a request, and kept
    sql("insert into media (label, pool, kasstyp) values ('" + kept + "', 'SPARE', 'LTO-TAPE')");
    write_text(script_path(site, "tb_arch", "answer"), "exit 0\n" + kept);
    EXPECT_EQ(apply(strategy, kept, i_CATCH_SPARE_MEDIA), "1 " + longer.substr(1));
    EXPECT_EQ(value("select count(*) from media where label='" + kept + "'"), "1");
    write_text(script_path(site, "tb_arch", "answer"), "exit 0\nSPARE00003");
    EXPECT_EQ(apply(strategy, "SPARE00003", i_CATCH_SPARE_MEDIA), "1 SPARE00003");

    const std::string told = protocol(), board = read_text(site.path("info/info.dat"));
    for (const char *message :
         {"]: Entered unknown media - will be inserted into archive (LTO-TAPE,DESK) and used immediately.\n",
          "]: Entered SPARE medium - will be inserted into archive (LTO-TAPE,DESK) and used immediately.\n",
          "]: SPARE media SPARE00001 was inserted into archive as label DESK00004 .\n"})
        EXPECT_TRUE(holds(told, message));
    EXPECT_FALSE(holds(told, "SPARE media SPARE00002") || holds(told, "SPARE media SPARE00003 was"));
    EXPECT_TRUE(holds(board, "I004-GETVOL  Use media SPARE00003 instead of requested label DESK00009 ."));
}

TEST_F(Acceptance, AFailingArchiveProgramChangesNothing)
{
    // clang-format off
    const char *const cases[][2] = { // what it does, what is left in the label buffer
        {"exit 1\n? no tape", "? no tape"}, {"exit 0\n? no tape", "? no tape"}, {"exit 1\nDESK00003", "SPARE00001"},
        {"exit 0", "???"}, // says nothing; a label that an earlier run left is not taken for its answer
        {"exit 0\n", "SPARE00001"}, {"killed", "???"}, {"not installed", "???"},
    };
    // clang-format on
    const std::string before = dump_catalogue(site);
    for (const auto &[answer, left] : cases)
        for (const Rule rule : {Rule{i_USE_UNKNOWN_MEDIA}, Rule{i_CATCH_SPARE_MEDIA}}) {
            write_text(script_path(site, "tb_arch", "answer"), answer);
            if (std::string_view(answer) == "not installed")
                for (const char *name : {"tb_arch", "tb_arch.exe"})
                    std::filesystem::remove(site.path("bin/tamba/") + name);
            char stale[TAMBA_GLBV_SIZE] = "DESK00008";
            glbv("w", "gv_arch_sts", stale);
            EXPECT_EQ(apply(request("DESK00009"), "SPARE00001", rule), std::string("0 ") + left) << answer;
            EXPECT_TRUE(dump_catalogue(site) == before) << answer;
        }
}

TEST_F(Acceptance, NothingIsOverwrittenWhileAnythingIsInDoubt)
{
    const std::string not_started = "tb_arch is not started with drive ";
    // clang-format off
    const struct { const char *change, *requested, *drive; Rule rule; std::string text; } cases[] = {
        {"", "DESK00009", "99", i_USE_UNKNOWN_MEDIA, kNoRow}, {"", "DESK00009", "4 x", i_USE_UNKNOWN_MEDIA, "4 x is no drive number"},
        {"", "00009", "4", i_USE_UNKNOWN_MEDIA, not_started + "4, media type LTO-TAPE and pool "},
        {"", "A;B00009", "4", i_CATCH_SPARE_MEDIA, not_started + "4, media type LTO-TAPE and pool A;B"},
        {"", "DESK00009", "4;x", i_CATCH_SPARE_MEDIA, not_started + "4;x, media type LTO-TAPE and pool DESK"},
        {"update media set kasstyp=''", "DESK00009", "4", i_CATCH_SPARE_MEDIA, not_started + "4, media type  and pool DESK"},
        {"delete from media", "DESK00009", "4", i_CATCH_SPARE_MEDIA, kNoRow},
        {"drop table media", "DESK00009", "4", i_CATCH_SPARE_MEDIA, "no such table: media"},
        {"", "DESK00009", "4", i_CHECK_POOL_AND_EOL, "no such table: media"},
        {"drop table capacities", "DESK00009", "4", i_USE_UNKNOWN_MEDIA, "no such table: capacities"},
    };
    // clang-format on
    for (const auto &c : cases) {
        sql(c.change);
        const char *const loaded = c.rule == i_CHECK_POOL_AND_EOL ? "DESK00002" : "SPARE00001";
        EXPECT_EQ(apply(request(c.requested, c.drive), loaded, c.rule), "0 " + c.text);
    }
    std::filesystem::remove_all(site.path("work/sem"));
    ASSERT_TRUE(write_text(site.path("work/sem"), "no directory"));
    sql("create table capacities (drive_typ, media_typ); insert into capacities values ('LTO', 'LTO-TAPE')");
    EXPECT_EQ(apply(request("DESK00009"), "No label on tape", i_USE_UNKNOWN_MEDIA)[0], '0')
        << "without the semaphore";
    EXPECT_EQ(calls(site), Lines{});
}

TAMBA_CHILD(introduce_media)
{
    const std::string pool = "POOL" + arguments[0];
    for (int i = 0; i < 3; ++i) {
        GetVolumeStrategy strategy = request((pool + "00001").c_str());
        char label[TAMBA_VOLUME_MSG_SIZE] = "No label on tape";
        if (i_USE_UNKNOWN_MEDIA(&strategy, label, TraceContext{}) != 1 || pool.compare(0, 5, label, 5) != 0)
            return 1;
    }
    return 0;
}

TEST_F(Acceptance, RequestsOfSeveralDrivesDoNotTakeEachOthersLabels)
{
    EXPECT_TRUE(run_children("introduce_media", 6));
}

} // namespace
