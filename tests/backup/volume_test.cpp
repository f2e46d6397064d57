// A volume request from its call to the medium in the drive: what lies there, the robot, the operator.
#include "tests/backup/volume_site.h"
#include "tests/support/child.h"

#include <process/semaphore_guard.h>

namespace {

using Volume = VolumeSite;

TEST_F(Volume, TheRequestedMediumIsUsedAsItLies)
{
    // clang-format off
    const struct { const char *mounted, *medium; char mode; size_t readings; const char *last; int32_t worm; } cases[] = {
        {"'DAILY00011'", "DAILY00011 WORM", 'b', 0, "", 0},
        {"null", "DAILY00011", 'b', 2, " -r E ", 0}, // "mount" reads where the tape stands, "mount_for_read" the header
        {"null", "DAILY00011 WORM", 'i', 2, " -r R ", 1}, {"'?'", "DAILY00011", 'r', 2, " -r R ", 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        sql(std::string("update hw_drives set label=") + c.mounted + " where drive_num=3");
        insert(3, c.medium);
        int32_t worm = -1;
        EXPECT_EQ(request_volume("DAILY00011", "3", c.mode, trace, &worm), "1 DAILY00011");
        EXPECT_EQ(worm, c.worm);
        const Lines made = new_calls();
        EXPECT_EQ(count_of(made, "getlabel"), c.readings) << c.mode << c.mounted;
        EXPECT_EQ(count_of({made.empty() ? "" : made.back()}, c.last), 1u);
        EXPECT_EQ(mounted(3), "DAILY00011");
    }
    EXPECT_EQ(called("tb_loader"), 0u);
    EXPECT_TRUE(holds(board(), "I002-GETVOL  Request successfully completed. DAILY00011"));
    EXPECT_TRUE(holds(protocol(), "]: Requesting media DAILY00011 for drive 3.\n"));
}

TEST_F(Volume, ARobotFetchesTheMediumOrTheRequestFails)
{
    // clang-format off
    const std::string not_there = "Media DAILY00011 currently NOT in magazine of loader 2 - please insert it and adjust the archive.";
    const std::string wrong = "The requested media DAILY00011 does not correspond with the current media in slot 1 loader 2 (";
    const struct { const char *lader, *ctrl, *slot, *loader, *call; std::string message; } cases[] = {
        {"2", "DIR", "DAILY00011", "", "tb_loader L -l 2 -d 3 -s 1", "DAILY00011"},
        {"2", "VIRT-DIR", "", "", "tb_loader L -l 2 -d 3 -s DAILY00011", "DAILY00011"}, // the label stands for the slot
        {"1", "DIR", "", "", "", not_there}, {"null", "DIR", "", "", "", not_there},
        {"2", "DIR", "DAILY00012", "", "tb_loader", wrong + "DAILY00012)."},
        {"2", "DIR", "", "-\nthe gripper is stuck", "tb_loader", "the gripper is stuck"},
        {"2", "DIR", "", "-", "tb_loader", "tb_loader gave no reason (loader 2, drive 3, slot 1)"},
        {"2", "", "", "", "", "Invalid loader control option"},
    };
    // clang-format on
    for (const auto &c : cases) {
        insert(3, "");
        sql(std::string("update hw_drives set label=null; update hw_loaders set ctrl='") + c.ctrl +
            "'; update media set lader=" + c.lader + " where label='DAILY00011'");
        write_text(site.path("work/site/slot_2_1"), c.slot);
        script("tb_loader", "answer", c.loader);
        const std::string before = dump_catalogue(site);
        const bool good = c.message == "DAILY00011";
        EXPECT_EQ(ask_volume("DAILY00011", "3"), (good ? "1 " : "0 ") + c.message);
        EXPECT_EQ(count_of(new_calls(), *c.call ? c.call : "tb_loader"), *c.call ? 1u : 0u) << c.message;
        EXPECT_EQ(dump_catalogue(site) == before, !good) << c.message;
        EXPECT_TRUE(
            holds(board(), good ? "completed. DAILY00011" : "GET_VOLUME: " + c.message.substr(0, 40)));
    }
    insert(3, "DAILY00012");
    EXPECT_EQ(ask_volume("DAILY00011", "3"), "1 DAILY00011") << "kept: the label check's state is the result";
    EXPECT_EQ(called("tb_notify"), 0u) << "no operator for a loader's drive";
    EXPECT_TRUE(holds(protocol(),
                      "]: Request media DAILY00011 for drive 3 will be accomplished with loader 2 (DIR).\n"));
}

TEST_F(Volume, IsRefusedForWhatTheCatalogueDoesNotAllow)
{
    expect_complaints = true;
    sql("insert into media (label, pool, kasstyp) values ('FILES00001', 'FILES', 'FILE'),"
        "('A123456789012345678901234567890', 'A', 'LTO-TAPE')");
    const std::string none = "Korveltamba's media archive does not contain the requested media ";
    // clang-format off
    const struct { const char *change, *label, *drive; std::string message; } cases[] = {
        {"", "DAILY00011", "3x", "The drive 3x is not configured"},
        {"", "DAILY00011", "00000003", "The drive 00000003 is not configured"}, // cut it would be another drive's number
        {"", "A123456789012345678901234567890", "3", none + "A123456789012345678901234567890"}, // and another label
        {"", "x' or '1'='1", "3", none + "x' or '1'='1"},
        {"", "FILES00001", "3", "Media FILES00001 has type FILE and therefore is incompatible to drive type LTO."},
        {"alter table hw_loaders rename to x", "DAILY00011", "3", "no such table: hw_loaders"},
        {"alter table capacities rename to y", "DAILY00011", "3",
         "Cannot find out now whether media DAILY00011 of type LTO-TAPE fits drive type LTO."},
        {"alter table media rename to z", "DAILY00011", "3", "no such table: media"},
        {"alter table hw_drives rename to d", "DAILY00011", "3", "no such table: hw_drives"},
    };
    // clang-format on
    for (const auto &c : cases) {
        sql(c.change);
        const std::string before = dump_catalogue(site);
        EXPECT_EQ(ask_volume(c.label, c.drive, 'i'), "0 " + c.message);
        EXPECT_TRUE(dump_catalogue(site) == before);
        EXPECT_TRUE(holds(protocol(), "completed with error: " + c.message + "\n"));
    }
    std::filesystem::remove_all(site.path("work/sem"));
    ASSERT_TRUE(write_text(site.path("work/sem"), "no directory"));
    EXPECT_FALSE(holds(request_volume("DAILY00011", "3", 'b', trace), "no such table"))
        << "looked without the semaphore";
    EXPECT_EQ(calls(site), Lines{});
}

TEST_F(Volume, ADiskDriveGetsItsControlFileRewritten)
{
    sql("insert into media (label, pool, kasstyp, drive_num) values ('FILES00001', 'FILES', 'FILE', 5);"
        "update capacities set kapaz_num=2048000 where drive_typ='DISK_CHNG';"
        "update hw_drives set label='FILES00001' where drive_num=5");
    script("tb_client", "answer", "STATUS=SUCCESS MSG=ok\n");
    EXPECT_EQ(ask_volume("FILES00001", "5"), "1 FILES00001");
    const Lines expected = {"tb_client -f usefile -m c -n gv_rw_ini:disk -s disk",
                            "tb_client -f usefile -m w -n gv_rw_ini:disk -s 2000"};
    EXPECT_EQ(new_calls(), expected);
}

class OperatorVolume : public VolumeSite {
protected:
    void SetUp() override
    {
        VolumeSite::SetUp();
        sql("insert into media (label, pool, kasstyp, eol) values ('DESK00002', 'DESK', 'LTO-TAPE', "
            "'2001-01-01'),"
            "('DESK00003', 'DESK', 'LTO-TAPE', '9999-12-31'), ('SPARE00001', 'SPARE', 'LTO-TAPE', null);"
            "insert into defaults (key, value) values ('media_accept_empty','y'), ('media_accept_spare','y'),"
            "('media_accept_eol','y')");
    }
    // Programs started in the background log themselves some time later.
    size_t operator_calls(const std::string &program) const
    {
        const std::string line =
            program + " GET_VOLUME \"Drive without robot - so please insert media DESK00001 manually.\"";
        until([&] { return called(line) > 0; });
        return called(line);
    }
};

TEST_F(OperatorVolume, AnInsertedMediumIsTakenByTheRulesOfTheRequestOrThrownOutOnce)
{
    // clang-format off
    const struct { char mode; const char *brought, *answer; size_t unloads, changed; } cases[] = {
        {'b', "DAILY00011", "1 DESK00001", 1, 0}, {'b', "SPARE00001", "1 DESK00001", 1, 0},
        {'b', "DESK00003", "1 DESK00003", 0, 0}, // any medium of the pool; the switches are for initialisations
        {'b', "-", "2 No label on tape", 0, 0},
        {'i', "DESK00002", "1 DESK00002", 0, 1}, {'i', "DESK00003", "1 DESK00001", 1, 0}, // the life is over, is not
        {'i', "-", "1 DESK00004", 0, 1},         {'i', "SPARE00001", "1 DESK00005", 0, 1},
        {'x', "DESK00002", "1 DESK00001", 1, 0}, {'i', "DESK00001", "1 DESK00001", 0, 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        sql("update hw_drives set label=null");
        insert(4, "");
        bring({c.brought, "DESK00001"});
        const size_t unloads = called("unload"),
                     changes = count_of(lines_of(trace_text()), "label was changed !!");
        EXPECT_EQ(ask_volume("DESK00001", "4", c.mode), c.answer) << c.mode << c.brought;
        EXPECT_EQ(called("unload") - unloads, c.unloads) << c.mode << c.brought;
        EXPECT_EQ(count_of(lines_of(trace_text()), "label was changed !!") - changes, c.changed);
        const std::string label = c.answer + 2;
        if (*c.answer == '1') {
            EXPECT_EQ(medium(4) + mounted(4), label + label);
            EXPECT_EQ(value("select drive_num from media where label='" + label + "'"), "4");
        }
    }
    EXPECT_EQ(called("tb_alarm"), 0u);
    EXPECT_TRUE(holds(protocol(),
                      "]: Request media DESK00001 for drive 4 will be accomplished without loader - manual"));
}

TEST_F(OperatorVolume, NoMediumIsOverwrittenBecauseItsLabelCouldNotBeRead)
{
    const Lines answers = {"STATUS=ERROR MSG=3019:\n", "garbage\n", "@die\n",
                           "STATUS=SUCCESS MSG=ANOTHER-SYSTEM 17\n"};
    Lines boards;
    for (const std::string &answer : answers) {
        script("tb_tbs_interface", "answer_getlabel", answer);
        insert(4, "DESK00001");
        operator_acts = [&] {
            boards.push_back(board());
            if (medium(4).empty()) { // thrown out: a readable one
                script("tb_tbs_interface", "answer_getlabel", "");
                insert(4, "DESK00001");
            }
        };
        EXPECT_EQ(ask_volume("DESK00001", "4", 'i'), "1 DESK00001") << answer;
        sql("update hw_drives set label=null");
    }
    EXPECT_EQ(called("tb_arch"), 0u);
    EXPECT_EQ(called("unload"), answers.size());
    EXPECT_GT(count_of(boards, "Drive without robot - so please insert media DESK00001 manually."), 0u);
}

TEST_F(OperatorVolume, WhatLiesInTheDriveAtFirstIsTheCallersBusiness)
{
    for (const char *language : {"en", "de", "de_BA", "fr"}) { // programs compare both texts
        set_ini("SETUP", "lang", language);
        insert(4, "-");
        EXPECT_EQ(ask_volume("DESK00001", "4", 'i'), "2 No label on tape");
        insert(4, "FOREIGN001");
        EXPECT_EQ(ask_volume("DESK00001", "4", 'i'), "3 Unkown tape");
    }
    EXPECT_EQ(medium(4), "FOREIGN001");
    EXPECT_EQ(called("tb_notify"), 0u);
    EXPECT_TRUE(holds(protocol(), "]: Anforderung erfolgreich bearbeitet\n"));
}

TEST_F(OperatorVolume, TheAlarmIsRaisedOnceAfterTheFourthPass)
{
    set_ini("Params", "gv_timeout_for_online", "10");
    int alarm_at = 0;
    operator_acts = [&] {
        if (alarm_at == 0 && holds(trace_text(), "call: tb_alarm"))
            alarm_at = pauses;
        if (pauses == 40)
            gcInterrupt = 'y';
    };
    EXPECT_EQ(ask_volume("DESK00001", "4"), "0 W002-BASICS  Interrupted by user");
    EXPECT_EQ(operator_calls("tb_alarm"), 1u) << "many more passes, one alarm";
    EXPECT_EQ(operator_calls("tb_notify"), 1u);
    // A pass waits for 10 seconds, five at a time, and once more where the test's clock runs ahead of the real one.
    EXPECT_GE(alarm_at, 4 * 3 + 1);
    EXPECT_LT(alarm_at, 5 * 4);

    script("tb_client", "answer_tapestatus", "STATUS=ERROR MSG=\"No such device or address\"\n");
    gcInterrupt = 'n';
    pauses = 34;
    EXPECT_EQ(ask_volume("DESK00001", "4"), "0 W002-BASICS  Interrupted by user");
    EXPECT_EQ(pauses, 40) << "a pause for each pass, where the wait does not wait";
}

TEST_F(OperatorVolume, EndsWhenItIsInterruptedOrADriveGroupShutsDown)
{
    const std::string before = dump_catalogue(site);
    gcInterrupt = 'y';
    EXPECT_EQ(ask_volume("DESK00001", "4"), "0 W002-BASICS  Interrupted by user");
    EXPECT_EQ(operator_calls("tb_notify"), 1u) << "called before the first look";
    gcInterrupt = 'n';
    insert(4, "DESK00003"); // a label was read: that is no success
    operator_acts = [] { gcInterrupt = 'y'; };
    EXPECT_EQ(ask_volume("DESK00001", "4", 'x'), "0 W002-BASICS  Interrupted by user");

    gcInterrupt = 'n';
    SemaphoreGuard shutdown("shutdown_DESK", "test", trace);
    EXPECT_EQ(ask_volume("DESK00001", "4"),
              "0 I015-BREAK   Aborting all TAMBA activities on drive group DESK");
    EXPECT_EQ(gcInterrupt, 'y');
    EXPECT_TRUE(dump_catalogue(site) == before);
}

TEST_F(Volume, AFailingProgramLeavesTheCatalogueAsItWas)
{
    expect_complaints = true; // of pipes
    for (const std::string program : {"tb_tbs_interface", "tb_loader"})
        for (const std::string answer : {"@exit 1\n", "?\n", "@die\n", "-\n? no\n", "not installed"}) {
            write_text(script_path(site, program, "answer"), answer);
            if (answer == "not installed")
                for (const char *ending : {"", ".exe"})
                    std::filesystem::remove(site.path("bin/tamba/" + program + ending));
            const std::string before = dump_catalogue(site);
            EXPECT_EQ(ask_volume("DAILY00011", "3")[0], '0') << program << answer;
            EXPECT_TRUE(dump_catalogue(site) == before) << program << answer;
            insert(3, "");
            std::filesystem::remove(script_path(site, program, "answer"));
            std::string problem;
            ASSERT_TRUE(install_programs(site, &problem)) << problem;
        }
    const size_t loads = called("tb_loader");
    script("tb_tbs_interface", "answer_getlabel", "STATUS=ERROR MSG=/dev/nst2: No such device\n");
    EXPECT_EQ(ask_volume("DAILY00011", "3"), "0 No such device");
    EXPECT_EQ(called("tb_loader"), loads) << "no robot tries to fill it";
}

TAMBA_CHILD(ask_for_volume)
{
    return request_volume(arguments[0], arguments[1], 'b', TraceContext{}) == "1 " + arguments[0] ? 0 : 1;
}

TEST_F(Volume, RequestsForOneDriveFollowEachOtherAndThoseForOthersDoNotWait)
{
    script("tb_loader", "gate", "closed");
    Child first("ask_for_volume", {"DAILY00011", "3"});
    const std::string arrived = script_path(site, "tb_loader", "arrived");
    ASSERT_TRUE(until([&] { return std::filesystem::exists(arrived); }));
    Child second("ask_for_volume", {"DAILY00011", "3"});
    ASSERT_TRUE(until([&] { return count_of(lines_of(protocol()), "Requesting media DAILY00011") == 2; }));
    Child other("ask_for_volume", {"MONTHLY00006", "1"});
    EXPECT_EQ(other.wait(), 0) << other.errors();
    EXPECT_TRUE(std::filesystem::exists(arrived)) << "the first is still at it";
    EXPECT_EQ(called("-d 3") + called("/dev/nst2"), 2u) << "the second has not even looked";
    std::filesystem::remove(arrived);
    EXPECT_EQ(first.wait(), 0) << first.errors();
    EXPECT_EQ(second.wait(), 0) << second.errors();
    EXPECT_EQ(called("tb_loader L -l 2"), 1u) << "the second finds it mounted";
}

} // namespace
