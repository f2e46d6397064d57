// The drive handler on a simulated site: labels, mounting, initialising, unloading, and programs that fail.
#include "tests/backup/drive_site.h"

namespace {

namespace fs = std::filesystem;

using DriveTest = DriveSite;

// ---- what the catalogue says ----------------------------------------------------------------------------------------

TEST_F(DriveTest, PropertiesComeFromTheCatalogueWithTheirDefaults)
{
    DriveProperties drive;
    ASSERT_EQ(i_GET_DRIVE_PROPERTIES(4, &drive, trace), 1);
    EXPECT_EQ(std::string(drive.drive_num) + drive.device + drive.name + drive.typ, "4/dev/nst3deskLTO");
    EXPECT_EQ(drive.host, host);
    EXPECT_EQ(std::string(drive.os) + drive.accessmode + drive.timeout + drive.block_size, "linuxC60");
    EXPECT_STREQ(drive.label, "?") << "NULL is nothing mounted";
    EXPECT_EQ(drive.shared, 1) << "seen from two hosts";
    sql("update hw_drives set name=null,timeout=7,label='X00001',loader_num=null,block_size=512 where "
        "drive_num=3");
    ASSERT_EQ(i_GET_DRIVE_PROPERTIES(3, &drive, trace), 1);
    EXPECT_STREQ(drive.name, "Drive-3");
    EXPECT_EQ(value("select name from hw_drives where drive_num=3"), "Drive-3") << "written back";
    EXPECT_EQ(drive.shared, 0);
    EXPECT_EQ(std::string(drive.timeout) + drive.label + drive.loader_num + drive.block_size,
              "7X00001NULL512");
    char server[TAMBA_HOST_SIZE];
    EXPECT_EQ(GET_TAPE_SERVER("3", server, trace), 1);
    EXPECT_EQ(server, host);
    EXPECT_EQ(GET_TAPE_SERVER("3 or 1=1", server, trace), 0);
    EXPECT_STREQ(server, "");

    LoaderProperties loader;
    ASSERT_EQ(i_GET_LOADER_PROPERTIES("2", &loader, trace), 1);
    EXPECT_EQ(std::string(loader.loader_num) + loader.ctrl + loader.typ + loader.device,
              "2DIRLIBRARY-8/dev/sg2");
    sql("update hw_loaders set client_id=77,ctrl='DIR VIRT' where loader_num=1");
    ASSERT_EQ(i_GET_LOADER_PROPERTIES("1", &loader, trace), 1);
    EXPECT_EQ(loader.host, host) << "no such client: this host";
    for (const char *none : {"9", "", "1,2"})
        EXPECT_EQ(i_GET_LOADER_PROPERTIES(none, &loader, trace), 0) << none;
    EXPECT_STREQ(loader.ctrl, "");
}

TEST_F(DriveTest, WhatTheCatalogueCannotSayIsNoProperty)
{
    expect_complaints = true;
    DriveProperties drive;
    EXPECT_EQ(i_GET_DRIVE_PROPERTIES(99, &drive, trace), 0);
    sql("update hw_drives set client_id=88 where drive_num=1; update hw_drives set client_id=null where "
        "drive_num=2; update hw_drives set device='" +
        std::string(256, 'd') + "' where drive_num=3");
    for (const int32_t number : {1, 2, 3})
        EXPECT_EQ(i_GET_DRIVE_PROPERTIES(number, &drive, trace), 0) << number;
    EXPECT_STREQ(drive.drive_num, "") << "half a record is none";
    for (const std::string text : {"abc", "1 or 1=1", "-1", "1", "99999999999"})
        EXPECT_EQ(handle("get", text.c_str()), "0 W001-DRIVES  Drive " + text + " not yet configured.");
    EXPECT_TRUE(holds(protocol(), "Drive 99999999999 not yet configured."));
    EXPECT_EQ(handle("get", "3").substr(0, 50), "0 the value of column device is longer than 255 ch");
    const std::string before = protocol();
    sql("drop table hw_drives");
    EXPECT_EQ(handle("mount", "4"), "0 no such table: hw_drives") << "that is not the same as not configured";
    EXPECT_FALSE(holds(protocol().substr(before.size()), "W001-DRIVES"));
    EXPECT_TRUE(new_calls().empty());
}

// ---- commands -------------------------------------------------------------------------------------------------------

TEST_F(DriveTest, TheFirstThreeLettersAreTheCommand)
{
    insert(4, "DESK00001");
    for (const char *command : {"Mount", "mou", "mount_for_read"}) {
        sql("update hw_drives set label=null");
        EXPECT_EQ(handle(command, "4"), "1 DESK00001 mounted 0 1") << command;
    }
    for (const char *command : {"", "di", "t i", "100%s%n"})
        EXPECT_EQ(handle(command, "none"), std::string("0 ?? Function ") + command + " is not allowed.");
    EXPECT_EQ(drive_handler(nullptr, nullptr, nullptr, nullptr, trace), 0);
    set_ini("SETUP", "lang", "de");
    TraceContext german{};
    v_set_log_main("x.lgc", "X", &german);
    EXPECT_EQ(handle("eject", "4"), "0 ?? Funktion eject ist nicht erlaubt.");
    EXPECT_EQ(handle("inf", "4"), "1 DESK00001 mounted 0 1")
        << "compared texts are the same in every language";
}

TEST_F(DriveTest, ALabelIsReadInTheFormThatTheCommandAsksFor)
{
    insert(4, "DESK00001 WORM");
    EXPECT_EQ(handle("get", "4"), "1 DESK00001 unmounted 0 1 WORM");
    insert(4, "DESK00001");
    EXPECT_EQ(handle("inf", "4", "Trailer"), "1 DESK00001 unmounted 0 1 ");
    EXPECT_EQ(handle("mount", "4", "DESK00001"), "1 DESK00001 mounted 0 1");
    EXPECT_EQ(mounted(4), "DESK00001");
    EXPECT_EQ(handle("get", "4"), "1 DESK00001 mounted 0 1");
    sql("update hw_drives set label='?' where drive_num=4; update hw_drives set timeout=90");
    EXPECT_EQ(handle("MOUNT_for_read", "4"), "1 DESK00001 mounted 0 1");
    EXPECT_EQ(new_calls(), (Lines{"tb_tbs_interface getlabel -d /dev/nst3 -r R -T 60 -L INQUIRE",
                                  "tb_tbs_interface getlabel -d /dev/nst3 -T 60 -r E -L INQUIRE",
                                  "tb_tbs_interface getlabel -d /dev/nst3 -T 60 -r E -L INQUIRE",
                                  "tb_tbs_interface getlabel -d /dev/nst3 -r R -T 90 -L INQUIRE"}));
    EXPECT_TRUE(holds(board(), ":  4> ") &&
                holds(board(), "# I001-DRIVES  Media DESK00001 is mounted in drive 4."));
}

TEST_F(DriveTest, WhatTheProgramSaysDecides)
{
    // clang-format off
    const struct { const char *said, *answer, *message; } cases[] = {
        {"STATUS=SUCCESS MSG=Tapelabel: DAILY:12\n", "1 DAILY00012 unmounted 0 1 ", "Recognised label DAILY00012"},
        {"log\nSTATUS=SUCCESS\r\nMSG=\"Tapelabel DAILY00012 x WORM\"\n", "1 DAILY00012 unmounted 0 1 WORM", ""},
        {"@bytes\nSTATUS=SUCCESS MSG=Tapelabel: A\nSTATUS=SUCCESS MSG=Tapelabel: B\n", "1 A unmounted 0 1 ", ""},
        {"at 1011: first try\nSTATUS=SUCCESS MSG=Tapelabel: A", "1 A unmounted 0 1 ", ""},
        {"STATUS=SUCCESS MSG=Tapelabel: \n", "0 Tapelabel: ", "E002-DRIVES"},
        {"STATUS=SUCCESS MSG=Foreign: A\n", "0 Foreign: A", "message: Foreign: A"},
        {"STATUS=ERROR MSG=1011: Tapemark detected\n", "0 No label on tape", "E005-DRIVES"},
        {"(1014: blank)\nSTATUS=ERROR MSG=x\n", "0 No label on tape", "TBS could not find label on media."},
        {"STATUS=ERROR MSG=31011: y /dev/t1013: z\n", "0 31011: y /dev/t1013: z", "E002-DRIVES"},
        {"STATUS=ERROR MSG=\"/dev/nst3: No such device or address\"\n", "0 No such device", "E002-START"},
        {"1011: x\nSTATUS=ERROR MSG=Drive is OFFLINE\n", "0 Drive is OFFLINE", "Drive 4 is offline ( Drive is OFFLINE )"},
        {"1013: x\nSTATUS=ERROR MSG=No tape in drive\n", "0 No tape in drive", "E003-DRIVES"},
        {"STATUS=ERROR MSG=3003: p\n", "0 The pipes of TBS aren't running - please restart TBS.", "E007-DRIVES"},
        {"STATUS=ERROR MSG=3019: p\n", "0 Error from login to TBS", "E008-DRIVES"},
        {"@exit 3\nSTATUS=SUCCESS MSG=Tapelabel: A\n", "0 tb_tbs_interface ended with exit code 3", "E009-DRIVES"},
        {"STATUS=SUCCESS\n", "0 No tag [MSG=] found in tb_tbs_interface", "E009-DRIVES"},
        {"MSG=Tapelabel: A\n", "0 Tapelabel: A", "E002-DRIVES"},
        {"\x01%s%n\xff garbage", "0 No tag [MSG=] found in tb_tbs_interface", "E009-DRIVES"},
        {"@exit 1\nSTATUS=ERROR MSG=", "0 tb_tbs_interface ended with exit code 1", "E009-DRIVES"},
    };
    // clang-format on
    for (const auto &c : cases) {
        const size_t before = protocol().size();
        script("tb_tbs_interface", "answer", c.said);
        EXPECT_EQ(handle("get", "4"), c.answer) << c.said;
        EXPECT_TRUE(holds(protocol().substr(before), c.message)) << c.said;
        EXPECT_EQ(mounted(4), "NULL");
    }
    script("tb_tbs_interface", "answer", "STATUS=SUCCESS MSG=Tapelabel: " + std::string(64, 'L') + "\n");
    EXPECT_EQ(handle("get", "4").substr(0, 12), "0 Tapelabel:")
        << "the label's end is missing: another label";
    set_variable("gv_ro_tbs", "");
    new_calls();
    EXPECT_EQ(handle("get", "4"), "0 gv_ro_tbs not yetr defined ( please check INI and restart )");
    sql("update hw_drives set device='/dev/nst3;rm' where drive_num=4");
    set_variable("gv_ro_tbs", "x");
    EXPECT_EQ(handle("get", "4"), "0 drive 4: device \"/dev/nst3;rm\" cannot stand in a command");
    EXPECT_TRUE(new_calls().empty());
}

TEST_F(DriveTest, OnlyInfReadsAgainAndOnlyWhatCanPass)
{
    // clang-format off
    const struct { const char *command, *said; size_t readings; } cases[] = {
        {"inf", "STATUS=ERROR MSG=1024: busy\n", 3}, {"inf", "garbage\n", 3}, {"get", "STATUS=ERROR MSG=1024: busy\n", 1},
        {"mou", "STATUS=ERROR MSG=1024: busy\n", 1}, {"inf", "STATUS=ERROR MSG=1011: x\n", 1},
        {"inf", "STATUS=ERROR MSG=3003: x\n", 1},    {"inf", "STATUS=SUCCESS MSG=x\n", 1}, {"inf", "STATUS=ERROR MSG=offline\n", 1},
    };
    // clang-format on
    for (const auto &c : cases) {
        script("tb_tbs_interface", "answer", c.said);
        slept = 0;
        new_calls();
        EXPECT_EQ(handle(c.command, "4")[0], '0');
        EXPECT_EQ(new_calls().size(), c.readings) << c.command << c.said;
        EXPECT_GE(slept, (c.readings - 1) * 5000) << c.said;
    }
    gcInterrupt = 'y';
    script("tb_tbs_interface", "answer", "garbage\n");
    handle("inf", "4");
    EXPECT_EQ(new_calls().size(), 1u);
}

// ---- mount, ini -----------------------------------------------------------------------------------------------------

TEST_F(DriveTest, OnlyTheExpectedLabelIsMounted)
{
    insert(4, "DESK00002");
    EXPECT_EQ(handle("mount", "4", "DESK00001"), "0 Wrong label DESK00002");
    EXPECT_TRUE(holds(protocol(), "Wrong media DESK00002 during attempt to mount on drive 4"));
    EXPECT_EQ(mounted(4), "NULL");
    EXPECT_EQ(handle("mount", "4", "DESK00002"), "1 DESK00002 mounted 0 1");
    new_calls();
    EXPECT_EQ(handle("mount", "4", "DESK00002"), "1 already mounted");
    EXPECT_EQ(handle("mount", "4"), "1 already mounted");
    const std::string state = "currently not allowed, bcs. of state MOUNT on drive 4 < DESK00002.";
    EXPECT_EQ(handle("mount", "4", "DESK00001"), "0 W002-DRIVES  Action MOUNT  " + state);
    EXPECT_EQ(handle("init", "4", "DESK00001"), "0 W002-DRIVES  Action INIT " + state);
    EXPECT_TRUE(new_calls().empty());
    EXPECT_EQ(mounted(4), "DESK00002");
}

TEST_F(DriveTest, AMountThatFailsLooksIntoTheHeaderOnce)
{
    script("tb_tbs_interface", "answer", "STATUS=ERROR MSG=1011: x\n");
    EXPECT_EQ(handle("mount", "4", "DESK00001"), "0 No label on tape");
    EXPECT_EQ(new_calls(), (Lines{"tb_tbs_interface getlabel -d /dev/nst3 -T 60 -r E -L INQUIRE",
                                  "tb_tbs_interface getlabel -d /dev/nst3 -r R -T 60 -L INQUIRE"}));
    EXPECT_EQ(handle("MOUNT", "4"), "0 No label on tape");
    EXPECT_EQ(handle("mount_for_read", "4"), "0 No label on tape");
    EXPECT_EQ(new_calls().size(), 2u);
}

TEST_F(DriveTest, ANewLabelIsWrittenAndOnlyThenStandsInTheCatalogue)
{
    insert(4, "-");
    EXPECT_EQ(handle("init", "4", "DESK00012"), "1 I005-DRIVES  Initialising the media in drive 4 with label "
                                                "DESK00012 completed successfully.");
    EXPECT_EQ(mounted(4), "DESK00012");
    EXPECT_EQ(medium(4), "DESK00012");
    sql("update hw_drives set label=null,block_size=65536,timeout=9 where drive_num=4");
    set_variable("gv_clone_DESK", "y");
    EXPECT_EQ(handle("ini", "4", "DESK00001")[0], '1');
    sql("update hw_drives set label=null,block_size=0,typ='NDMP' where drive_num=4");
    EXPECT_EQ(handle("ini", "4", "A")[0], '1') << "no full label is a pool with number 0";
    EXPECT_EQ(
        new_calls(),
        (Lines{"tb_tbs_interface init -d /dev/nst3 -t DESK:12 -i TAMBA-volume -r R -T 60 -L INQUIRE",
               "tb_tbs_interface init -d /dev/nst3 -B 65536 -t DESK:1 -i TAMBA-volume -r R -T 9 -L INQUIRE",
               "tb_tbs_interface backup_file -d /dev/nst3 -B 65536 -t DESK:1 -f " + site.path("ini/tb.ini") +
                   " -s dummy -i SPARE-FOR-CLONE -T 9 -I cpio -L SHARE",
               "tb_ndmp_interface init -d /dev/nst3 -t A:0 -i TAMBA-volume -r R -T 9 -S " + host +
                   " -L INQUIRE"}));
    EXPECT_TRUE(holds(trace_text(), "Cmd: tb_tbs_interface init -d /dev/nst3  -t DESK:12 -i"))
        << "two blanks stay";
    expect_no_work_files();
    sql("update hw_drives set label=null,typ='LTO' where drive_num=4");
    set_variable("gv_clone_DESK", "");
    for (const std::string label : {"", "A B", "A;rm", "-x", "A:1"})
        EXPECT_TRUE(holds(handle("init", "4", label.c_str()), "label \"" + label + "\" cannot be written"));
    EXPECT_TRUE(new_calls().empty());
    EXPECT_EQ(mounted(4), "NULL");
}

// ---- programs that fail ---------------------------------------------------------------------------------------------

struct Failure {
    const char *name, *said; // null: the program is not there
};
constexpr Failure kFailures[] = {
    {"cannot start", nullptr},
    {"exit code", "@exit 3\nSTATUS=SUCCESS MSG=Tapelabel: DESK00001\n"},
    {"question", "STATUS=? MSG=? what\n"},
    {"garbage", "\x02\xf0(%s%n\n\n"},
    {"nothing", "@exit 0\n"},
    {"killed", "@bytes\nSTATUS=SUCCESS\n@die\nMSG=Tapelabel: DESK00001\n"},
    {"killed behind its answer", "STATUS=SUCCESS MSG=Tapelabel: DESK00001\n@die\n"},
    {"dies inside a line", "STATUS=SUCCESS MSG=Tapelabel: DESK0\n@exit 1\n"},
    {"says error", "STATUS=ERROR MSG=no\n"},
};

TEST_F(DriveTest, AProgramThatFailsChangesNothingInTheCatalogue)
{
    expect_complaints = true; // a pipe that cannot be opened
    insert(4, "DESK00001");
    for (const char *way : {"own host", "NDMP", "daemon"}) {
        ControlDaemon daemon;
        sql(std::string("update hw_drives set typ='") + (way[0] == 'N' ? "NDMP" : "LTO") + "'");
        if (way[0] == 'd')
            use_daemon(daemon);
        const std::string before = dump_catalogue(site);
        const std::string program = way[0] == 'N' ? "tb_ndmp_interface" : "tb_tbs_interface";
        for (const Failure &failure : kFailures) {
            script(program, "answer", failure.said ? failure.said : "");
            if (!failure.said)
                remove_program(program);
            for (const char *command : {"get", "inf", "mount", "mount_for_read", "init"}) {
                const size_t written = protocol().size();
                const std::string answer = handle(command, "4", "DESK00001");
                EXPECT_EQ(answer[0], '0') << way << ", " << failure.name << ", " << command;
                EXPECT_GT(answer.size(), 3u) << "the reason";
                EXPECT_TRUE(holds(protocol().substr(written) + answer, "drive 4") || way[0] == 'N')
                    << failure.name;
                EXPECT_EQ(dump_catalogue(site), before) << way << ", " << failure.name << ", " << command;
            }
            std::string problem;
            ASSERT_TRUE(failure.said || install_programs(site, &problem)) << problem;
        }
        script(program, "answer", "");
    }
}

TEST_F(DriveTest, ACatalogueThatFailsOnTheWayIsReportedAndUndoesNothing)
{
    expect_complaints = true;
    insert(4, "-");
    sql("create trigger no_label before update of label on hw_drives begin select raise(abort, 'read only'); "
        "end");
    EXPECT_EQ(handle("init", "4", "DESK00012").substr(0, 13), "1 I005-DRIVES") << "the medium has its label";
    EXPECT_TRUE(holds(protocol(), "drive_handler: update hw_drives with unexpected result: read only"));
}

// ---- dismount, dir --------------------------------------------------------------------------------------------------

TEST_F(DriveTest, DismountFreesTheDriveAndUnloadEjects)
{
    insert(4, "DESK00001");
    handle("mount", "4");
    new_calls();
    EXPECT_EQ(handle("dismount", "4", "anything"), "1 dismounted DESK00001");
    EXPECT_EQ(mounted(4), "NULL");
    EXPECT_EQ(medium(4), "DESK00001");
    EXPECT_TRUE(new_calls().empty());
    EXPECT_EQ(handle("dismount", "4", "unload"), "1 dismounted ? (unload)");
    EXPECT_EQ(medium(4), "");
    EXPECT_TRUE(holds(trace_text(), "No specific DISK CHANGE command found"));
    sql("update hw_drives set label='DESK00001' where drive_num=4");
    EXPECT_EQ(handle("dis", "4", "UNLOAD"), "0 dismounted DESK00001 (unload)") << "there is nothing to eject";
    EXPECT_EQ(mounted(4), "NULL");
    EXPECT_TRUE(holds(protocol(), "message: No tape in drive"));
    insert(4, "DESK00001");
    sql("update hw_drives set typ='NDMP' where drive_num=4");
    EXPECT_EQ(handle("dis", "4", "Unload")[0], '1');
    const std::string ask = "tb_client -r -f usefile -m e -n gv_ro_bin:tb_os_diskchange.cmd";
    EXPECT_EQ(new_calls(), (Lines{"tb_tbs_interface unload -d /dev/nst3 -L INQUIRE", ask,
                                  "tb_tbs_interface unload -d /dev/nst3 -L INQUIRE", ask,
                                  "tb_ndmp_interface unload -S " + host + " -d /dev/nst3"}));
    insert(4, "DESK00001");
    sql("update hw_drives set typ='LTO' where drive_num=4");
    script("tb_client", "answer", "STATUS=SUCCESS MSG=there\n");
    handle("dis", "4", "unload");
    EXPECT_TRUE(holds(trace_text(), "tb_os_diskchange.cmd /dev/nst3 unload"));
}

TEST_F(DriveTest, TheListingGoesIntoAWorkFile)
{
    insert(4, "DESK00001");
    EXPECT_EQ(handle("dir", "4"), "1 data in file gv_rw_work:rsh_dir_4.tmp");
    EXPECT_EQ(handle("dir", "4", "mine"), "1 data in file gv_rw_work:rsh_mine.tmp");
    EXPECT_TRUE(holds(read_text(site.path("work/rsh_mine.tmp")), "DESK00001 saveset 1 /home\n"));
    EXPECT_TRUE(holds(read_text(site.path("work/rsh_dir_4.tmp")), "STATUS=SUCCESS"));
    insert(4, "");
    EXPECT_EQ(handle("dir", "4"), "0 the command ended with exit code 1");
    new_calls();
    for (const std::string name : {"../x", "a b", "c:x", "a;b"})
        EXPECT_EQ(handle("dir", "4", name.c_str()),
                  "0 drive 4: \"" + name + "\" cannot be a part of a file's name");
    EXPECT_TRUE(new_calls().empty());
    EXPECT_TRUE(holds(protocol(), "Analyzing media in drive ...") &&
                holds(protocol(), "Analyzing completed"));
}

// ---- end of media ---------------------------------------------------------------------------------------------------

TEST_F(DriveTest, AServerAtTheEndOfAMediumIsLoggedInToInAnotherWay)
{
    set_variable("gv_tbs_without_eom_login", "");
    write_text(site.path("work/site/tbs_state"), "CHANGING_MEDIA");
    sql("update hw_drives set tbs_nr=2 where drive_num=4");
    insert(4, "DESK00001");
    handle("mount", "4");
    handle("dismount", "4", "unload");
    insert(4, "-");
    handle("init", "4", "DESK00012");
    const Lines made = new_calls();
    EXPECT_EQ(count_of(made, "tb_client -i 4_"), 3u) << "asked once for each operation";
    for (const char *call : {"getlabel -d /dev/nst3 -r R -T 60 -L EOM", "unload -d /dev/nst3 -L EOM",
                             "init -d /dev/nst3 -t DESK:12 -i TAMBA-volume -r R -T 60 -L EOM"})
        EXPECT_EQ(count_of(made, call), 1u) << call;
    EXPECT_TRUE(holds(trace_text(), "-c " + host + " -f perform -d /dev/nst3 -s 2"));
    for (const auto &entry : fs::recursive_directory_iterator(site.path("registry")))
        EXPECT_EQ(entry.path().filename().string().find("gv_client_"), std::string::npos) << entry.path();

    sql("update hw_drives set label=null");
    for (const char *state : {"?", "?", "WRITING", "WRITING"}) {
        write_text(site.path("work/site/tbs_state"), state);
        EXPECT_EQ(handle("get", "4")[0], '1') << "a server that does not answer is at no end";
    }
    EXPECT_EQ(count_of(lines_of(protocol()), "Connect to tape server failed: "), 2u);
    EXPECT_EQ(count_of(lines_of(protocol()), "Connect to tape server is valid again: "), 1u);
}

// ---- loader ---------------------------------------------------------------------------------------------------------

TEST_F(DriveTest, TheLoaderIsJudgedByItsStatusText)
{
    EXPECT_EQ(load("L", "2", "3", "1"), "1 slot 1 loaded into drive 3");
    EXPECT_EQ(medium(3), "DAILY00011");
    EXPECT_EQ(load("L", "2", "3", "2", site.path("lgc/x.lgc")), "0 drive 3 is occupied by DAILY00011");
    EXPECT_EQ(load("U", "2", "3", ""), "1 drive 3 is empty");
    EXPECT_EQ(load("U", "2", "3", "", "C:\\a b\\x.lgc"), "1 drive 3 is empty") << "without the log";
    script("tb_loader", "answer", "+ yes\nwell");
    EXPECT_EQ(load("L", "2", "3", "1", "an old message"), "1 well");
    EXPECT_EQ(new_calls(),
              (Lines{"tb_loader L -l 2 -d 3 -s 1", "tb_loader L -l 2 -d 3 -s 2 -L " + site.path("lgc/x.lgc"),
                     "tb_loader U -l 2 -d 3", "tb_loader U -l 2 -d 3", "tb_loader L -l 2 -d 3 -s 1"}));
    for (const char *bad : {"", "1 2", "1;rm", "-x"})
        EXPECT_EQ(load("L", bad, "3", "1")[0], '0');
    EXPECT_EQ(load("L", "2", "", "1")[0], '0');
    for (const char *end : {"@exit 0\n", "@exit 7\n", "@die\n"}) { // it is killed, or says nothing
        script("tb_loader", "answer", end);
        EXPECT_TRUE(holds(load("L", "2", "3", "1"), "0 tb_loader left no status for loader 2 (exit code "))
            << end;
    }
    new_calls();
    remove_program("tb_loader");
    EXPECT_EQ(load("L", "2", "3", "1"), "0 tb_loader could not be started (-3)")
        << "an older run's + does not count";
    EXPECT_TRUE(new_calls().empty());
    EXPECT_EQ(i_CHECK_TBS(3, trace), 1);
}

// ---- other hosts ----------------------------------------------------------------------------------------------------

TEST_F(DriveTest, ADriveOfAnotherHostIsServedThere)
{
    ControlDaemon daemon;
    use_daemon(daemon);
    insert(4, "DESK00001");
    EXPECT_EQ(handle("inf", "4"), "1 DESK00001 unmounted 0 1 ");
    EXPECT_EQ(handle("mount", "4", "DESK00001"), "1 DESK00001 mounted 0 1");
    EXPECT_EQ(handle("dir", "4"), "1 data in file gv_rw_work:rsh_dir_4.tmp");
    EXPECT_EQ(handle("dismount", "4", "unload"), "1 dismounted DESK00001 (unload)");
    EXPECT_EQ(handle("get", "4"), "0 No tape in drive");
    EXPECT_TRUE(holds(protocol(), "Drive 4 is offline ( No tape in drive )"));
}

} // namespace
