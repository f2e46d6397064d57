// Waiting for a drive, and asking for its state, here and on its host.
#include "tests/backup/drive_site.h"

#include <platform/tape.h>
#include <process/semaphore_guard.h>

namespace {

class DriveOnline : public DriveSite {
protected:
    void SetUp() override
    {
        DriveSite::SetUp();
        now = 1000;
        on_pause = nullptr;
        pl_set_clock_hooks({[] {
                                return PlTime{now, 0};
                            },
                            [](uint32_t milliseconds) {
                                slept += milliseconds;
                                now += milliseconds / 1000;
                                if (milliseconds >= 5000 && on_pause)
                                    on_pause();
                            }});
    }
    void TearDown() override
    {
        pl_set_tape_hook(nullptr);
        DriveSite::TearDown();
    }
    int32_t wait(int32_t for_insert = 0)
    {
        slept = 0;
        return i_wait_until_drive_online(host.c_str(), "4", for_insert, "/dev/nst3", trace);
    }
    std::string last_exit() const
    {
        const std::string text = trace_text();
        const size_t at = text.rfind("--- ZDL WAIT_UNTIL_DRIVE_ONLINE");
        return at == text.npos ? "" : text.substr(at, text.find('\n', at) - at);
    }
    static inline int64_t now = 0;
    static inline void (*on_pause)() = nullptr;
};

TEST_F(DriveOnline, TheStatusOfTheDriveDecides)
{
    set_ini("Params", "gv_timeout_for_online", "11");
    insert(4, "DESK00001");
    EXPECT_EQ(wait(), 1);
    EXPECT_EQ(last_exit(), "--- ZDL WAIT_UNTIL_DRIVE_ONLINE  returns 1   msg of TAPE_STATUS_REMOTE online");
    insert(4, "");
    EXPECT_EQ(wait(), 0);
    EXPECT_EQ(slept, 0u) << "nobody is about to insert one";
    EXPECT_EQ(wait(1), 0);
    EXPECT_EQ(slept, 15000u) << "asked at 0, 5, 10 and 15 seconds";
    EXPECT_FALSE(holds(trace_text(), "TIMEOUT for waiting")) << "later passes belong to another module";
    EXPECT_EQ(last_exit(),
              "--- ZDL WAIT_UNTIL_DRIVE_ONLINE  returns 0   msg of TAPE_STATUS_REMOTE No tape in drive");
    on_pause = [] {
        write_text(script_path(Site{std::string(pl_getenv("DRIVE_SITE"))}, "tb_client", "answer"),
                   "STATUS=SUCCESS MSG=ready\n");
    };
    pl_setenv("DRIVE_SITE", site.root.c_str());
    EXPECT_EQ(wait(1), 1) << "the operator has inserted one";
    EXPECT_EQ(slept, 5000u);
    on_pause = nullptr;
    script("tb_client", "answer", "STATUS=ERROR MSG=\"No such device or address\"\n");
    EXPECT_EQ(wait(1), 0);
    EXPECT_EQ(slept, 0u);
    for (const char *said : {"garbage\n", "@exit 1\nSTATUS=SUCCESS MSG=online\n", "@die\n"}) {
        script("tb_client", "answer_tapestatus", said);
        EXPECT_EQ(wait(), 0) << said;
    }
}

TEST_F(DriveOnline, WithoutASettingTheWaitEndsAfterFiveMinutes)
{
    set_ini("Params", "gv_timeout_for_online", "soon");
    script("tb_client", "answer", "STATUS=ERROR MSG=not ready\n");
    EXPECT_EQ(wait(), 0);
    EXPECT_EQ(slept, 305000u);
}

TEST_F(DriveOnline, AShutdownOrAnInterruptEndsTheWait)
{
    insert(4, "");
    gcInterrupt = 'y';
    EXPECT_EQ(wait(1), 0);
    EXPECT_TRUE(holds(protocol(), "W002-BASICS") && holds(board(), "# W002-BASICS  Interrupted by user"));
    gcInterrupt = 'n';
    on_pause = [] { gcInterrupt = 'y'; };
    EXPECT_EQ(wait(1), 0);
    EXPECT_EQ(slept, 5000u);
    gcInterrupt = 'n';
    on_pause = nullptr;
    {
        SemaphoreGuard other("shutdown_4", "test", trace);
        insert(4, "DESK00001");
        EXPECT_EQ(wait(), 1) << "the drive belongs to a group: that counts";
    }
    SemaphoreGuard shutdown("shutdown_DESK", "test", trace);
    EXPECT_EQ(wait(), -1);
    EXPECT_EQ(gcInterrupt, 'y');
    EXPECT_TRUE(holds(board(), ":  4> ") &&
                holds(board(), "# I015-BREAK   Aborting all TAMBA activities on drive group DESK"));
    gcInterrupt = 'n';
    SemaphoreGuard alone("shutdown_14", "test", trace);
    EXPECT_EQ(i_wait_until_drive_online(host.c_str(), "14", 0, "/dev/nst0", trace), -1)
        << "a drive without a group is its own";
}

TEST_F(DriveOnline, ACatalogueThatCannotBeReadEndsTheWait)
{
    expect_complaints = true;
    insert(4, "DESK00001");
    sql("drop table drive_groups");
    EXPECT_EQ(wait(), 0) << "nobody knows whether its group is being shut down";
    EXPECT_TRUE(holds(last_exit(), "no such table: drive_groups"));
}

TEST_F(DriveOnline, TheDriverIsAskedHereAndTheClientProgramThere)
{
    char msg[TAMBA_DRIVE_MSG_SIZE];
    const auto local = [&](const char *device) {
        return std::to_string(i_TAPE_STATUS_LOCAL(device, msg, trace)) + " " + msg;
    };
    const auto remote = [&](const char *node, const char *device) {
        return std::to_string(i_TAPE_STATUS_REMOTE(node, device, msg, trace)) + " " + msg;
    };
    const std::string file = site.path("ini/tb.ini"), none = site.path("no/such");
    for (const char *device :
         {file.c_str(), none.c_str(), pl_null_device(), static_cast<const char *>(nullptr)})
        EXPECT_EQ(local(device), "0 No such device or address") << "a regular file is no drive";
    pl_set_tape_hook([](const char *device) {
        pl_fail_as(PL_ACCESS_DENIED);
        return device[0] == 'o' ? PlTape::online : device[0] == 'e' ? PlTape::no_tape : PlTape::failed;
    });
    EXPECT_EQ(local("o"), "1 online");
    EXPECT_EQ(local("e"), "0 No tape in drive");
    char reason[256];
    pl_fail_as(PL_ACCESS_DENIED);
    pl_error_text(pl_last_error().number, reason, sizeof reason);
    EXPECT_EQ(local("x"), std::string("0 ") + reason);

    insert(4, "DESK00001");
    EXPECT_EQ(remote(host.c_str(), "/dev/nst3"), "1 online");
    EXPECT_EQ(remote(host.c_str(), "/dev/nst9"), "0 No such device or address");
    EXPECT_EQ(remote("nowhere", "/dev/nst3"), "0 host nowhere not yet configured");
    EXPECT_EQ(remote(host.c_str(), "/dev/nst3 -x").substr(0, 23), "0 device \"/dev/nst3 -x\"");
    expect_no_work_files();
}

} // namespace
