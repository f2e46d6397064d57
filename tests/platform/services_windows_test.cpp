// Services that only Windows has behind the seam: the machine's own registry, the event log, inheritance of handles.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <platform/clock.h>
#include <platform/event_log.h>
#include <platform/files.h>
#include <platform/lock_file.h>
#include <platform/process.h>
#include <platform/registry.h>

#include <ctime>
#include <io.h>
#include <windows.h>

namespace {

class WindowsServices : public TestSite {};

class MachineRegistry : public TestSite {
protected:
    void SetUp() override
    {
        TestSite::SetUp();
        unset("TAMBA_REGISTRY");
        char ini[256];
        if (pl_reg_read("Software\\Korvel\\tamba", "TB_INI", ini, sizeof ini))
            GTEST_SKIP() << "this machine has a site of its own";
    }
};

// A text of the machine's registry, as the system's own functions read it.
std::string machine_text(const std::string &key, const char *value)
{
    char text[256] = "";
    DWORD size = sizeof text;
    RegGetValueA(HKEY_LOCAL_MACHINE, key.c_str(), value, RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY, nullptr, text,
                 &size);
    return text;
}

} // namespace

TEST_F(MachineRegistry, WithoutATestKeyTheMachinesRegistryIsMeant)
{
    const std::string name = "gv_test_" + std::to_string(pl_process_id());
    const std::string key = "SOFTWARE\\Korvel\\tamba\\GLBV\\" + name;
    set_global(name.c_str(), "of this machine");
    EXPECT_EQ(machine_text(key, ""), "of this machine");
    EXPECT_EQ(global(name.c_str()), "of this machine");
    glbv("d", name.c_str(), nullptr);
    EXPECT_EQ(machine_text(key, ""), "");
    EXPECT_EQ(global(name.c_str()), "???");
}

TEST_F(MachineRegistry, ATextWithoutTerminatorAndOtherTypesAreReadSafely)
{
    const std::string key = "SOFTWARE\\Korvel\\tamba\\test" + std::to_string(pl_process_id());
    HKEY open = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY,
                              nullptr, &open, nullptr),
              ERROR_SUCCESS);
    const BYTE *const bytes = reinterpret_cast<const BYTE *>("abcdef");
    RegSetValueExA(open, "cut", 0, REG_SZ, bytes, 3);
    RegSetValueExA(open, "expand", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE *>("%PATH%"), 7);
    RegSetValueExA(open, "binary", 0, REG_BINARY, bytes, 3);
    RegCloseKey(open);
    char text[16];
    EXPECT_TRUE(pl_reg_read(key.c_str(), "cut", text, sizeof text));
    EXPECT_STREQ(text, "abc");
    EXPECT_TRUE(pl_reg_read(key.c_str(), "expand", text, sizeof text));
    EXPECT_STREQ(text, "%PATH%");
    EXPECT_FALSE(pl_reg_read(key.c_str(), "binary", text, sizeof text));
    EXPECT_TRUE(pl_reg_delete_key(key.c_str()));
}

TEST_F(MachineRegistry, EventsGoToTheSystemsLogUnderARegisteredSource)
{
    unset("TAMBA_EVENT_LOG");
    Captured errors(stderr);
    cm_syslog(2, 0, 7, "written by a test");
    EXPECT_EQ(errors.text(), "");
    const std::string source = "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\tamba";
    EXPECT_NE(machine_text(source, "EventMessageFile").find("tamba.dll"), std::string::npos);
    uint32_t types = 0;
    EXPECT_TRUE(pl_reg_read_number(source.c_str(), "TypesSupported", &types));
    EXPECT_EQ(types, 7u);
    EXPECT_TRUE(pl_event_report("tamba", PlEvent::information, 7, "100%s"));
    EXPECT_TRUE(pl_reg_delete_key(source.c_str()));
}

TAMBA_CHILD(stay_beside)
{
    wait_for_go();
    return 0;
}

// A child with one of our handles would keep a file open, or a semaphore locked, after we are done with it.
TEST_F(WindowsServices, ChildrenInheritNothingThatTheSeamHasOpened)
{
    FILE *const file = pl_fopen(path("file").c_str(), "w");
    TB_HANDLE lock = nullptr;
    ASSERT_TRUE(pl_lock_open(path("lock").c_str(), PlLockOpen::create, &lock));
    ASSERT_TRUE(pl_lock(lock, true));
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_TRUE(GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))), &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
    Child child("stay_beside");
    std::fclose(file);
    pl_close(lock);
    TB_HANDLE again = nullptr;
    ASSERT_TRUE(pl_lock_open(path("lock").c_str(), PlLockOpen::write, &again));
    EXPECT_TRUE(pl_lock(again, false));
    pl_close(again);
    // Nobody else has it open: a sole owner is possible.
    const HANDLE alone =
        CreateFileA(path("file").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(alone, INVALID_HANDLE_VALUE);
    CloseHandle(alone);
    child.go();
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(WindowsServices, LocalTimeIsTheSystemsWhateverTheVariableOfPortedShellsSays)
{
    pl_setenv("TZ", "Europe/Berlin"); // which the C library takes for the name of a zone with its own rules
    _tzset();
    for (int64_t seconds = 946684800; seconds < 1893456000; seconds += 1234567) { // 2000 to 2030
        const uint64_t steps = static_cast<uint64_t>(seconds) * 10'000'000 + 116'444'736'000'000'000;
        const FILETIME file_time = {static_cast<DWORD>(steps), static_cast<DWORD>(steps >> 32)};
        SYSTEMTIME utc, local;
        std::tm ours;
        ASSERT_TRUE(FileTimeToSystemTime(&file_time, &utc));
        TIME_ZONE_INFORMATION rules;
        ASSERT_TRUE(GetTimeZoneInformationForYear(utc.wYear, nullptr, &rules));
        ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(&rules, &utc, &local));
        ASSERT_TRUE(pl_local_time(seconds, &ours));
        ASSERT_TRUE(ours.tm_hour == local.wHour && ours.tm_min == local.wMinute && ours.tm_mday == local.wDay)
            << seconds << ": " << ours.tm_hour << " and not " << local.wHour;
    }
    unset("TZ");
}

TEST_F(WindowsServices, LinesEndAsWindowsWritesThem)
{
    ASSERT_EQ(pl_append(path("log").c_str(), "one\ntwo\n", 8, nullptr), PlAppend::done);
    std::string text;
    ASSERT_TRUE(pl_read_file(path("log").c_str(), &text, 100));
    EXPECT_EQ(text, "one\r\ntwo\r\n");
}

TEST_F(WindowsServices, NamesToBeSortedAreWordsOfACommandOrRefused)
{
    const std::string long_name(8200, 'x');
    const char *const cases[][3] = {{"in.txt", "C:\\out.txt", "sort /L C in.txt /O C:\\out.txt"},
                                    {"/R", "a b", "sort /L C \\R /O \"a b\""},
                                    {"a&b", "d d\\", "sort /L C \"a&b\" /O \"d d\\\\\""},
                                    {"50%", "", "sort /L C \"50%\" /O \"\""}};
    for (const auto &[input, output, command] : cases)
        EXPECT_EQ(pl_sort_command(input, output), command);
    for (const char *name : {"%PATH%", "o\"ut", "in\n", long_name.c_str()})
        EXPECT_EQ(pl_sort_command(name, "out") + pl_sort_command("in", name), "") << name;
    EXPECT_EQ(sort_file("in", "o\"ut"), -1);
}

TEST_F(WindowsServices, ExitCodesKeepTheir32Bits)
{
    int32_t code = 0;
    EXPECT_EQ(pl_shell("exit 259"), 259);
    EXPECT_EQ(pl_shell("exit -5"), -5);
    TB_HANDLE process = nullptr;
    uint32_t pid = 0;
    ASSERT_TRUE(pl_process_start("cmd.exe /c exit 259", &process, &pid));
    ASSERT_EQ(pl_wait(process, kPlForever), PlWait::ended);
    EXPECT_TRUE(pl_process_exit_code(process, &code));
    EXPECT_EQ(code, 259) << "the number that means \"still running\" is a code like any other in the end";
    pl_close(process);
}
