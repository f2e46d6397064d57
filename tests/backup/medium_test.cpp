#include "tests/backup/media_site.h"
#include "tests/support/child.h"

#include <platform/clock.h>

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
    write_text(script_path(site, "tb_init", "fail"), "no tape");
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
        {"4", "", "no default media-pool for drive 4 configured"},
        {"14", "", "no default media-pool for drive 14 configured"},
        {"' or 1=1 --", "", "no default media-pool for drive ' or 1=1 -- configured"},
        {"", "VAULT", "Media initialisation failed"}, // its group has no drive
        {"3", "x' or '1'='1", "Media initialisation failed"}, {"3", "A;B", "Media initialisation failed"},
        {"3", "A\nB", "Media initialisation failed"},         {"3", "A B", "Media initialisation failed"},
        {"3", "%PATH%", "Media initialisation failed"},       {"3", "#A", "Media initialisation failed"},
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
    std::filesystem::remove(site.path("bin/tamba/tb_init"));
    std::filesystem::remove(site.path("bin/tamba/tb_init.exe"));
    char stale[TAMBA_GLBV_SIZE] = "OLD00001", msg[TAMBA_MEDIA_MSG_SIZE];
    glbv("w", "gv_init_msg_3", stale);
    EXPECT_EQ(RESTART_INIT("3", "job", "FRESH", msg, trace), 0)
        << "the program's result counts, not an old label";
    EXPECT_EQ(RESTART_INIT("", "job", "FRESH00001", msg, trace), 0);
    EXPECT_STREQ(msg, "E005-TBC_COM FIND_DRIVES_OF_POOL no drives for pool FRESH configured");
}

TEST_F(MediumChoice, FailsWithTheReasonWhenTheDriveCannotBeLocked)
{
    std::filesystem::remove_all(site.path("work/sem"));
    ASSERT_TRUE(write_text(site.path("work/sem"), "no directory"));
    const Answer answer = ask("3", "FRESH");
    EXPECT_EQ(answer.result, 0);
    EXPECT_NE(answer.msg, "");
    EXPECT_NE(answer.msg, "Media initialisation failed");
    EXPECT_EQ(calls(site), Lines{});
}

TEST_F(MediumChoice, FailsWithoutACatalogue)
{
    expect_complaints = true;
    ASSERT_TRUE(write_text(site.path("db/tamba_db.sdb"), std::string(4096, 'x')));
    EXPECT_EQ(ask("3", "").msg, "no default media-pool for drive 3 configured");
    EXPECT_EQ(ask("3", "DAILY").msg, "Media initialisation failed");
    EXPECT_EQ(calls(site).size(), 1u) << "no medium found, so tb_init had its try";
    char msg[TAMBA_MEDIA_MSG_SIZE];
    EXPECT_EQ(CHECK_AVAILABILITY_OF_MEDIUM("3", "DAILY00012", "DAILY", "job", msg, trace), 0);
    char drives[TAMBA_DRIVE_LIST_SIZE];
    EXPECT_EQ(i_GET_DRIVES_OF_POOL("DAILY", drives, trace), 0);
    EXPECT_EQ(protocol().find("FIND_DRIVES_OF_POOL"), std::string::npos) << "nobody knows that it has none";
    char drive[TAMBA_DRIVE_SIZE] = "3", media_info[TAMBA_LABEL_SIZE] = "DAILY";
    EXPECT_EQ(GET_PREPARED_MEDIA(drive, media_info, 0, msg, trace), 0);
    EXPECT_STREQ(msg, "file is not a database");
    EXPECT_TRUE(holds(protocol(), "]: GET_PREPARED_MEDIA with unexpected result: file is not a database."));
}

TAMBA_CHILD(ask_for_fresh)
{
    const Answer answer = ask_for_medium("3", "FRESH", TraceContext{});
    return answer.result == 1 && answer.label == "FRESH00001" ? 0 : 1;
}

bool is_locked(const char *name)
{
    SemaRecord record{};
    std::snprintf(record.name, sizeof record.name, "%s", name);
    return i_SEMA('?', &record, TraceContext{}) == 1;
}

TEST_F(MediumChoice, HoldsTheDriveWhileTbInitRuns)
{
    write_text(script_path(site, "tb_init", "gate"), "closed");
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
