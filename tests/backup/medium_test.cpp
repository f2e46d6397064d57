#include "tests/backup/media_site.h"
#include "tests/support/child.h"

#include <platform/clock.h>
#include <platform/files.h>

#include <fstream>

namespace {

using MediumChoice = MediaSite;

TEST_F(MediumChoice, ContinuesThePreparedMediumWrittenLast)
{
    const Answer answer = ask("3", "DAILY");
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(answer.drive, "3");
    EXPECT_EQ(answer.label, "DAILY00012");
    EXPECT_EQ(calls(site), Lines{});
    EXPECT_EQ(protocol(), "");
}

TEST_F(MediumChoice, ClosesAMediumInAnotherLoaderAndPreparesOneOfItsPool)
{
    const Answer answer = ask("3", "WEEKLY00004");
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(answer.label, "WEEKLY00005");
    EXPECT_EQ(value("select close_tape from media where label='WEEKLY00004'"), "y");
    EXPECT_EQ(calls(site), Lines{"tb_init -d 3 -m WEEKLY -L backup"});
    EXPECT_TRUE(holds(protocol(), "]: Starting tb_init -d 3 (WEEKLY)\n"));
}

TEST_F(MediumChoice, ReportsTheMediumThatCouldNotBeReplacedAndItsDrive)
{
    sql("update media set lader=2 where label='MONTHLY00007'");
    script("tb_init", "fail", "no tape");
    const Answer answer = ask("", "MONTHLY");
    EXPECT_EQ(answer.result, 0);
    EXPECT_EQ(answer.drive, "2") << "the drive of the medium that was found";
    EXPECT_EQ(answer.label, "MONTHLY") << "changed on success only";
    EXPECT_EQ(answer.msg, "E022-TBC_COM Medium MONTHLY00007 currently is not available.");
}

TEST_F(MediumChoice, PreparesANewMediumWhenNoneIsFound)
{
    sql("update media set eom_state='y'");
    // clang-format off
    const struct { const char *drive, *media_info, *command, *drive_after, *label; } cases[] = {
        {"3", "FRESH", "tb_init -d 3 -m FRESH -L backup", "3", "FRESH00001"},
        {"3", "", "tb_init -d 3 -m DAILY -L backup", "3", "DAILY00016"}, // default pool
        {"", "MONTHLY", "tb_init -d 1 -m MONTHLY -L backup", "1", "MONTHLY00008"}, // first of two drives
        {"3", "DAILY00011", "tb_init -d 3 -t DAILY00011 -L backup", "3", "DAILY00011"}, // the very label
    };
    // clang-format on
    for (const auto &c : cases) {
        const Answer answer = ask(c.drive, c.media_info);
        EXPECT_EQ(answer.result, 1) << c.command << ": " << answer.msg;
        EXPECT_EQ(calls(site).back(), c.command);
        EXPECT_EQ(answer.drive, c.drive_after);
        EXPECT_EQ(answer.label, c.label);
        sql("update media set eom_state='y'");
    }
    EXPECT_EQ(calls(site).size(), 4u);
}

TEST_F(MediumChoice, RefusesWithoutStartingAnything)
{
    sql("insert into defaults (key, value) values ('pool 14', null)");
    // clang-format off
    const struct { const char *drive, *media_info, *msg; } cases[] = {
        {"", "", "E004-TBC_COM Missing mandatory label, media pool or drive number"},
        {"14", "", "no default media-pool for drive 14 configured"},
        {"' or 1=1 --", "", "no default media-pool for drive ' or 1=1 -- configured"},
        {"", "VAULT", "Media initialisation failed"}, // its group has no drive
        {"3", "x' or '1'='1", "Media initialisation failed"}, {"3", "A;B", "Media initialisation failed"},
        {"3", "A\nB", "Media initialisation failed"},         {"3", "A B", "Media initialisation failed"},
        {"3", "%PATH%", "Media initialisation failed"},       {"-3", "DAILY", "Media initialisation failed"},
        {"3", "-m", "Media initialisation failed"},
        {"3|x", "DAILY", "Media initialisation failed"},
    };
    // clang-format on
    for (const auto &c : cases) {
        const Answer answer = ask(c.drive, c.media_info);
        EXPECT_EQ(answer.result, 0) << c.media_info;
        EXPECT_EQ(answer.msg, c.msg);
        EXPECT_EQ(answer.drive, c.drive);
        EXPECT_EQ(answer.label, c.media_info);
    }
    EXPECT_EQ(calls(site), Lines{});
    EXPECT_TRUE(holds(protocol(), "]: FIND_DRIVES_OF_POOL no drives for pool VAULT configured\n"));
}

TEST_F(MediumChoice, FailsWhenTbInitCannotBeRun)
{
    remove_program("tb_init");
    char stale[TAMBA_GLBV_SIZE] = "OLD00001", msg[TAMBA_MEDIA_MSG_SIZE];
    glbv("w", "gv_init_msg_3", stale);
    EXPECT_EQ(RESTART_INIT("3", "job", "FRESH", msg, trace), 0)
        << "the program's result counts, not an old label";
    EXPECT_EQ(std::string(msg).rfind("tb_init ended with exit code ", 0), 0u) << msg;
    EXPECT_EQ(RESTART_INIT("", "job", "FRESH00001", msg, trace), 0);
    EXPECT_STREQ(msg, "E005-TBC_COM FIND_DRIVES_OF_POOL no drives for pool FRESH configured");
    const std::string longer(TAMBA_LABEL_SIZE, 'L');
    EXPECT_EQ(RESTART_INIT("3", "job", longer.c_str(), msg, trace), 0);
    EXPECT_EQ(msg, "tb_init is not started with drive 3 and medium " + longer)
        << "cut it would be another pool";
    EXPECT_EQ(RESTART_INIT(std::string(TAMBA_DRIVE_SIZE, '1').c_str(), "job", "FRESH", msg, trace), 0);
}

TEST_F(MediumChoice, ALabelThatIsLongerThanAllIsNone)
{
    const std::string pool(60, 'P');
    sql("insert into media_pools (name, eol, drive_grp) values ('" + pool +
        "', 7, (select drive_grp from media_pools "
        "where name='FRESH'))");
    char msg[TAMBA_MEDIA_MSG_SIZE];
    EXPECT_EQ(RESTART_INIT("3", "job", pool.c_str(), msg, trace), 0) << "cut it would be another one";
    EXPECT_EQ(msg, pool + "00001");
}

TEST_F(MediumChoice, FailsWithTheReasonWhenTheDriveCannotBeLocked)
{
    break_semaphores();
    const Answer answer = ask("3", "FRESH");
    EXPECT_EQ(answer.result, 0);
    EXPECT_NE(answer.msg, "");
    EXPECT_NE(answer.msg, "Media initialisation failed");
    EXPECT_EQ(calls(site), Lines{});
}

// "7," is drive 7: that is how i_GET_DRIVES_OF_POOL names it.
TEST_F(MediumChoice, ACommaBehindADriveChangesNothing)
{
    const std::string closed_before = value("select count(*) from media where close_tape='y'");
    for (const char *drive : {"3,", "3", "3,,"}) {
        const Answer answer = ask(drive, "DAILY");
        EXPECT_EQ(answer.result, 1) << drive << ": " << answer.msg;
        EXPECT_EQ(answer.drive, "3");
        EXPECT_EQ(answer.label, "DAILY00012");
        char msg[TAMBA_MEDIA_MSG_SIZE], group[TAMBA_GROUP_SIZE], found[TAMBA_DRIVE_SIZE];
        EXPECT_EQ(CHECK_AVAILABILITY_OF_MEDIUM(drive, "DAILY00012", "DAILY", "job", msg, trace), 1) << msg;
        EXPECT_EQ(i_GET_DRIVE_GROUP("", drive, group, trace), 1);
        std::snprintf(found, sizeof found, "%s", drive);
        char info[TAMBA_LABEL_SIZE] = "DAILY";
        EXPECT_EQ(GET_PREPARED_MEDIA(found, info, 0, msg, trace), 1);
        EXPECT_STREQ(found, "3");
    }
    EXPECT_EQ(ask("3,", "").label, "DAILY00012") << "the default pool of drive 3";
    EXPECT_EQ(ask("1,2,", "MONTHLY").label, "MONTHLY00007");
    EXPECT_EQ(ask(",", "MONTHLY").label, "MONTHLY00007") << "no drive";
    EXPECT_EQ(calls(site), Lines{});
    EXPECT_EQ(value("select count(*) from media where close_tape='y'"), closed_before);
    EXPECT_FALSE(holds(trace_text(), "tbs_eom_3,"));
    char msg[TAMBA_MEDIA_MSG_SIZE];
    EXPECT_EQ(RESTART_INIT("3,", "job", "FRESH", msg, trace), 1);
    EXPECT_EQ(calls(site), Lines{"tb_init -d 3 -m FRESH -L backup"});
}

// The catalogue fails at each step of the road: the request ends with its text, nothing is closed or initialised.
TEST_F(MediumChoice, AnUnreadableCatalogueIsNoFinding)
{
    expect_complaints = true;
    const std::string file = site.path("db/tamba_db.sdb"), damaged(4096, 'x');
    const auto bytes = [&file] {
        std::string all;
        EXPECT_TRUE(pl_read_file(file.c_str(), &all, size_t{1} << 24));
        return all;
    };
    // The seam would write text with Windows' line ends.
    const auto put = [&file](const std::string &content) {
        EXPECT_TRUE(std::ofstream(file, std::ios::binary) << content);
    };
    const std::string whole = bytes();
    // clang-format off
    const struct { const char *change, *drive, *media_info, *msg; } cases[] = {
        {"alter table defaults rename to gone", "3", "", "no such table: defaults"},
        {"alter table media_pools rename to gone", "", "MONTHLY", "no such table: media_pools"},
        {"alter table media rename to gone", "3", "DAILY", "no such table: media"},
        {"alter table hw_drives rename column loader_num to gone", "3", "DAILY", "no such column: loader_num"},
        {"alter table media rename column lader to gone", "3", "DAILY", "no such column: lader"},
        {nullptr, "3", "", "file is not a database"}, {nullptr, "", "MONTHLY", "file is not a database"},
        {nullptr, "3", "DAILY00012", "file is not a database"},
    };
    // clang-format on
    for (const auto &c : cases) {
        const std::string &content = c.change ? whole : damaged;
        put(content);
        if (c.change)
            sql(c.change);
        const std::string before = bytes();
        const Answer answer = ask(c.drive, c.media_info);
        EXPECT_EQ(answer.result, 0) << c.msg;
        EXPECT_EQ(answer.msg, c.msg);
        EXPECT_EQ(answer.drive, c.drive);
        EXPECT_EQ(answer.label, c.media_info);
        EXPECT_EQ(calls(site), Lines{}) << c.msg;
        EXPECT_TRUE(bytes() == before) << c.msg;
    }
    char msg[TAMBA_MEDIA_MSG_SIZE], drives[TAMBA_DRIVE_LIST_SIZE];
    EXPECT_EQ(CHECK_AVAILABILITY_OF_MEDIUM("3", "DAILY00012", "DAILY", "job", msg, trace), 0);
    EXPECT_STREQ(msg, "file is not a database");
    EXPECT_EQ(i_GET_DRIVES_OF_POOL("DAILY", drives, trace), 0);
    EXPECT_EQ(protocol().find("FIND_DRIVES_OF_POOL"), std::string::npos) << "nobody knows that it has none";
    char drive[TAMBA_DRIVE_SIZE] = "3", media_info[TAMBA_LABEL_SIZE] = "DAILY";
    EXPECT_EQ(GET_PREPARED_MEDIA(drive, media_info, 0, msg, trace), 0);
    EXPECT_STREQ(msg, "file is not a database");
    EXPECT_TRUE(holds(protocol(), "]: GET_PREPARED_MEDIA with unexpected result: file is not a database."));
    put(whole);
    EXPECT_EQ(ask("3", "DAILY").label, "DAILY00012");
}

TEST_F(MediumChoice, ALockedCatalogueIsNoFinding)
{
    expect_complaints = true;
    {
        CatalogueLock lock(site);
        for (const char *media_info : {"DAILY", "DAILY00011", ""})
            EXPECT_EQ(ask("3", media_info).msg, "database is locked");
        EXPECT_EQ(ask("", "MONTHLY").msg, "database is locked");
    }
    EXPECT_EQ(calls(site), Lines{});
    EXPECT_EQ(ask("3", "DAILY").label, "DAILY00012");
}

TAMBA_CHILD(ask_for_fresh)
{
    const Answer answer = ask_for_medium("3", "FRESH", TraceContext{});
    return answer.result == 1 && answer.label == "FRESH00001" ? 0 : 1;
}

TEST_F(MediumChoice, HoldsTheDriveWhileTbInitRuns)
{
    script("tb_init", "gate", "closed");
    Child first("ask_for_fresh");
    const std::string arrived = script_path(site, "tb_init", "arrived");
    for (int i = 0; i < 3000 && !std::filesystem::exists(arrived); ++i)
        pl_sleep_ms(10);
    EXPECT_TRUE(is_locked("tbs_eom_3"));
    EXPECT_TRUE(is_locked("ctrl_init_3"));
    Child second("ask_for_fresh");
    std::filesystem::remove(arrived);
    EXPECT_EQ(first.wait(), 0) << first.errors();
    EXPECT_EQ(second.wait(), 0) << second.errors();
    EXPECT_EQ(calls(site).size(), 1u) << "the second finds what the first prepared";
    EXPECT_FALSE(is_locked("tbs_eom_3"));
    EXPECT_FALSE(is_locked("ctrl_init_3"));
}

} // namespace
