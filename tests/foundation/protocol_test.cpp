// The protocol file, the day file and the event log.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <platform/fault.h>
#include <platform/process.h>
#include <platform/registry.h>

#include <cerrno>
#include <filesystem>

namespace {

// Formats of any form, also those the compiler would refuse.
int32_t (*const any_prot)(const char *, ...) = PROT;

class Protocol : public TestSite {
protected:
    static std::string pid()
    {
        char text[16];
        std::snprintf(text, sizeof text, "[%6u]: ", pl_process_id());
        return text;
    }
    // The protocol of one message without its times; what goes to standard error is kept.
    template <class... Arguments> std::string of(const std::string &format, Arguments... arguments)
    {
        write("prot.txt", "");
        Captured captured(stderr);
        any_prot(format.c_str(), arguments...);
        said = without_times(captured.text());
        return without_times(protocol());
    }
    std::string said; // on standard error
};

TEST_F(Protocol, EveryTextLineCarriesTimeTagAndProcess)
{
    const std::string head = "@ E003-BASICS " + pid();
    EXPECT_EQ(of("E003-BASICS  %s", "value"), head + "value\n");
    EXPECT_EQ(of("E003-BASICS  a\nb %s", "c\n\nd"),
              head + "a\n" + head + "b c\n" + head + "\n" + head + "d\n");
    EXPECT_EQ(of("E003-BASICS  a\n"), head + "a\n" + head + "\n");
    EXPECT_EQ(of("E018-DATABAS %s%%", "x"), "@ E018-DATABAS" + pid() + "x%\n");
    EXPECT_EQ(of("E003-BASICS  "), head + "\n");
    EXPECT_EQ(said, "");
}

TEST_F(Protocol, ShortAndTornTagsAreWarnedOfAndNeverTearTheArguments)
{
    // clang-format off
    const struct { std::string format, tag, text; } cases[] = {
        {"E003-BASICS ", "E003-BASICS ", ""}, {"", "", ""}, {"short", "short", ""},
        {"abc%", "abc%", ""}, // a conversion that never ends
        {"E003-BASIC%", "E003-BASIC%", ""}, {"E003-BASICS%", "E003-BASICS%", ""},
        {"E003-BASICS%s v%s", "E003-BASICS%", " v%s"}, // straddles the dropped character
        {"E003-BASIC%-9s %d", "E003-BASIC%-", "s %d"},
        {"E0%s-BASICS  t%s", "E0a-BASICS ", "tb"}, // whole within the tag: takes its argument
        {"E0%%-BASICS  t%s", "E0%-BASICS ", "ta"},
    };
    // clang-format on
    for (const auto &c : cases) {
        const std::string tag = c.format.substr(0, 12), length = std::to_string(c.format.size());
        const bool percent = tag.find('%') != std::string::npos;
        const std::string complaint =
            percent ? "nvalid usage of PROT: prefix with format argument '" + tag + "': >" + c.format + "<\n"
                    : ">" + c.format + "< (" + length + " < 13)\n";
        EXPECT_EQ(of(c.format, "a", "b"),
                  "@ W999-BASICS " + pid() +
                      (percent ? "I" : "Invalid usage of PROT: format tag is too short: ") + complaint +
                      "@ " + c.tag + pid() + c.text + "\n")
            << c.format;
        EXPECT_EQ(said,
                  "PROT: WARNING: " + (percent ? "i" : std::string("format tag is too short: ")) + complaint);
    }
}

TEST_F(Protocol, LongMessagesAreCutAndSaySo)
{
    const size_t head = 23 + 1 + 12 + pid().size();
    const auto shortened = [&](int size, size_t needed) {
        return "@ E999-BASICS " + pid() + "Error: The following output was shortened (" +
               std::to_string(size) + " <> " + std::to_string(needed) + ")\n";
    };
    const std::string start = "@ E003-BASICS " + pid();
    const auto x = [](size_t n) { return std::string(n, 'x'); };
    EXPECT_EQ(of("E003-BASICS  " + x(2559 - head)), start + x(2559 - head) + "\n");
    EXPECT_EQ(said, "");
    EXPECT_EQ(of("E003-BASICS  " + x(2560 - head)), shortened(2560, 2560) + start + x(2559 - head) + "\n");
    EXPECT_EQ(said, shortened(2560, 2560));
    // the cut falls into the conversion: it goes as a whole
    EXPECT_EQ(of("E003-BASICS  " + x(2559 - head - 3) + "%-5s", "a"),
              shortened(2560, 2560) + start + x(2559 - head - 3) + "\n");
    EXPECT_EQ(of("E003-BASICS  %s", x(5119 - head).c_str()), start + x(5119 - head) + "\n");
    EXPECT_EQ(of("E003-BASICS  %s", x(9000).c_str()),
              shortened(5120, head + 9000) + start + x(5119 - head) + "\n");
    EXPECT_EQ(said, shortened(5120, head + 9000));
    EXPECT_EQ(of("%003-BASICS  " + x(9000)).back(), '\n');
}

TEST_F(Protocol, AMessageThatCannotBeMadeIsItsFormat)
{
    EXPECT_EQ(of("E003-BASICS  a\nb %99999999999d %s", 7, "x"),
              "@ E003-BASICS " + pid() + "a\n@ E003-BASICS " + pid() + "b %99999999999d %s\n");
    EXPECT_EQ(said, "");
}

TEST_F(Protocol, WithoutAFileTheMessageIsLostAndOnlyTheMissingNameIsSaid)
{
    set_global("gv_prot", path("missing/prot.txt").c_str());
    EXPECT_EQ(of("short") + said, "");
    glbv("d", "gv_prot", nullptr);
    EXPECT_EQ(of("E003-BASICS  text"), "");
    EXPECT_EQ(said, "\nNo gv_prot defined! tb_start_all necessary!\n");
}

TEST_F(Protocol, DayFileLinesHaveFixedColumns)
{
    const char *const stamp = "2008-02-14 10:30:45";
    // clang-format off
    const struct { const char *start, *end, *times; } cases[] = {
        {stamp, "2008-02-14 23:59:59 Thu", "10:30-23:59"}, {"09:15", "7", "09:15-7"},
        {"123456", "12345678901", "-"},                    {"2008-02-14 1", nullptr, "1-"},
    };
    // clang-format on
    std::string expected;
    set_global("gv_dayfile", (path("") + "\\dayfile.txt").c_str());
    for (const auto &c : cases) {
        PROT_DAYFILE('B', "job", c.start, c.end, '+', 7, "text", "rest %s");
        expected += "B job                            " + std::string(c.times) +
                    " +  7 text                 rest %s\n";
    }
    const std::string name(40, 'n'), text(30, 't');
    PROT_DAYFILE('B', name.c_str(), stamp, stamp, '-', 1234, text.c_str(), nullptr);
    expected += "B " + name + " 10:30-10:30 - 1234 " + text + " \n";
    EXPECT_EQ(read("dayfile.txt"), expected);
    glbv("d", "gv_dayfile", nullptr);
    Captured output(stdout);
    PROT_DAYFILE('B', "job", stamp, stamp, '+', 7, "text", "rest");
    EXPECT_EQ(output.text(), "\nNo gv_dayfile defined! tb_start_all necessary!\n");
}

TEST_F(Protocol, AFullDiskRaisesTheAlarmAndStopsTheSystem)
{
    for (const char *program : {"tb_alarm", "tb_os_startup"})
        install_program(program);
    const std::string shutdown = "\n\nSHUTDOWN tamba2000 - problems with file system (";
    for (const int32_t number : {5, 0, -1, 100000, 23, 28, 36, EDEADLK}) {
        const bool emergency = number == 23 || number == 28 || number == 36 || number == EDEADLK;
        write("calls.txt", "");
        Captured errors(stderr);
        EXPECT_EQ(i_FILE_CLOSE(number), 0);
        const std::string text = errors.text();
        std::string calls = read("calls.txt");
        std::erase(calls, '"'); // of the arguments, as the command interpreter of Windows shows them
        const std::string reason = text.substr(19, text.find('\n', 1) - 19);
        EXPECT_EQ(text,
                  "\nFILE_CLOSE error: " + reason + "\n" + (emergency ? shutdown + reason + ") \n\n" : ""));
        EXPECT_EQ(calls, emergency ? "tb_alarm FILE_SYSTEM " + reason + "\ntb_os_startup STOP\n" : "")
            << number;
    }
    if (!std::filesystem::exists("/dev/full"))
        GTEST_SKIP() << "no device that is always full";
    write("calls.txt", "");
    set_global("gv_dayfile", "/dev/full");
    Captured errors(stderr);
    PROT_DAYFILE('B', "job", "", "", '+', 7, "text", "rest");
    EXPECT_TRUE(holds(errors.text(), "FILE_CLOSE error: No space left on device\n"));
    EXPECT_EQ(read("calls.txt"), "tb_alarm FILE_SYSTEM No space left on device\ntb_os_startup STOP\n");
}

TEST_F(Protocol, EventsAreRegisteredAndReported)
{
    Captured errors(stderr);
    const int32_t cases[][2] = {{0, 4}, {1, 2}, {2, 1}, {3, 1}, {4, 1}, {-1, 1}};
    std::string expected;
    for (const auto &[type, reported] : cases) {
        cm_syslog(type, 99, 7, "100%s");
        expected += "tamba type=" + std::to_string(reported) + " id=7 100%s\n";
    }
    cm_syslog(0, 0, 4294967295u, std::string(300, 'x').c_str());
    EXPECT_EQ(read("events.txt"), expected + "tamba type=4 id=4294967295 " + std::string(254, 'x') + "\n");
    EXPECT_EQ(errors.text(), "FATAL: unexpected state: 4\nFATAL: unexpected state: -1\n");
    constexpr char kSource[] = "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\tamba";
    char file[512];
    uint32_t types = 0;
    EXPECT_TRUE(pl_reg_read(kSource, "EventMessageFile", file, sizeof file));
    EXPECT_EQ(file, path("") + "tamba.dll");
    EXPECT_TRUE(pl_reg_read_number(kSource, "TypesSupported", &types));
    EXPECT_EQ(types, 7u);
}

TAMBA_CHILD(event_log_fails)
{
    pl_fault_arm(std::stoi(arguments[0]), PL_ACCESS_DENIED);
    cm_syslog(0, 0, 1, "first");
    const bool reached = pl_fault_calls() >= std::stoi(arguments[0]);
    pl_fault_arm(0, PL_OTHER);
    cm_syslog(7, 0, 2, "second");
    return reached ? 0 : 1;
}

TEST_F(Protocol, AnEventSourceThatCannotBeRegisteredEndsEventLoggingForTheProcess)
{
    const std::string off = "Unable to add log source to registry; no event logging.\n";
    int switched_off = 0;
    for (int call = 1;; ++call) {
        write("events.txt", "");
        Child child("event_log_fails", {std::to_string(call)});
        const int code = child.wait();
        ASSERT_TRUE(code == 0 || code == 1) << child.errors();
        const std::string events = read("events.txt"), second = "tamba type=1 id=2 second\n";
        if (child.errors() == off + "FATAL: unexpected state: 7\n") {
            EXPECT_EQ(events, "");
            ++switched_off;
        } else {
            EXPECT_EQ(child.errors(), "FATAL: unexpected state: 7\n");
            EXPECT_TRUE(events == second || events == "tamba type=4 id=1 first\n" + second) << call << events;
        }
        if (code == 1)
            break;
    }
    EXPECT_GE(switched_off, 2) << "each of the two registry values can fail";
}

} // namespace
