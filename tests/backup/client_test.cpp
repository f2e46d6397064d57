#include "tests/backup/media_site.h"
#include "tests/support/child.h"

#include <platform/fault.h>
#include <platform/files.h>
#include <process/semaphore_guard.h>
#include <site/daemon.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

class Client : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        pl_setenv("PATH", (site.path("bin/tamba") + pl_path_list_separator() + pl_getenv("PATH")).c_str());
    }
    void use_daemon(uint16_t port) { set_ini("CTRLD_Server", "CTRLD_Port", std::to_string(port)); }
    std::string alive(const char *node)
    {
        char msg[TAMBA_CLIENT_MSG_SIZE];
        const int32_t result = alive_test_tbc(node, msg, trace);
        return std::to_string(result) + " " + msg;
    }
    void answer(const std::string &text) const { script("tbc", "answer", text); }
};

TEST_F(Client, IsAliveWhenItsAgentAnswers)
{
    ControlDaemon daemon;
    use_daemon(daemon.port());
    EXPECT_EQ(alive("localhost"), "1 VERSION: tbc 1.0.0 (simulated)");
    answer("hello\n");
    EXPECT_EQ(alive("localhost"), "1 Node reachable: no tbc version found");
    answer("exit 1\n10:00 tbc-3000: no licence\n");
    EXPECT_EQ(alive("localhost"), "0 Node reachable; got 10:00 tbc-3000: no licence");
    EXPECT_EQ(protocol().find("E020-HOSTS"), std::string::npos);
    answer("exit 1\nx\n");
    EXPECT_EQ(alive("localhost"), "0 E020-HOSTS   Computer localhost currently not reachable");
    EXPECT_EQ(alive("cellar").substr(0, 26), "1 VERSION: tbc for NetWare") << "some shells keep the quotes";
    EXPECT_NE(protocol().find("Computer localhost currently not reachable"), std::string::npos);
    for (const auto &entry : fs::directory_iterator(site.path("work")))
        EXPECT_EQ(entry.path().filename().string().find("alive_"), std::string::npos)
            << "captures are removed";
    fs::remove_all(site.path("work/sem/alive_localhost.sem"));
    fs::create_directory(site.path("work/sem/alive_localhost.sem"));
    const size_t reported = protocol().size();
    const std::string blocked = alive("localhost");
    EXPECT_EQ(blocked.substr(0, 45), "0 semaphore alive_localhost cannot be taken: ");
    EXPECT_GT(blocked.size(), 50u) << "and why";
    EXPECT_NE(protocol().find("Computer localhost currently not reachable", reported), std::string::npos);
}

TEST_F(Client, IsAskedByManyThreadsAtOnce)
{
    ControlDaemon daemon;
    use_daemon(daemon.port());
    std::vector<std::thread> threads;
    std::atomic<int> good = 0;
    for (int i = 0; i < 9; ++i)
        threads.emplace_back([&] { good += alive("localhost") == "1 VERSION: tbc 1.0.0 (simulated)"; });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(good, 9);
}

TEST_F(Client, IsAskedSevenTimesWhenItCannotBeReached)
{
    int asked = 0;
    const DaemonBehaviour silent = [&](const DaemonCall &) { ++asked; };
    ControlDaemon daemon(silent);
    use_daemon(daemon.port());
    EXPECT_EQ(alive("localhost"), "253 E020-HOSTS   Computer localhost currently not reachable");
    EXPECT_EQ(asked, 7);
    EXPECT_TRUE(holds(trace_text(), "WARNING: retry alive test (6/5)"));
    EXPECT_FALSE(holds(trace_text(), "CTRLC_LIB_CALL")) << "the remote command is not traced";
    const DaemonBehaviour once = [&](const DaemonCall &call) { ++asked < 9 ? void() : run_command(call); };
    ControlDaemon late(once);
    use_daemon(late.port());
    EXPECT_EQ(alive("localhost"), "1 VERSION: tbc 1.0.0 (simulated)") << "a later attempt counts";
}

TEST_F(Client, AShutdownIsSeenByItsSemaphore)
{
    char msg[TAMBA_CLIENT_MSG_SIZE] = "untouched";
    EXPECT_EQ(i_CHECK_SHUTDOWN_IN_PROGRESS("left", msg, trace), 0);
    EXPECT_STREQ(msg, "untouched");
    EXPECT_FALSE(fs::exists(site.path("work/sem/shutdown_left.sem"))) << "looking creates nothing";
    SemaphoreGuard shutdown("shutdown_left", "test", trace);
    EXPECT_EQ(i_CHECK_SHUTDOWN_IN_PROGRESS("left", msg, trace), 1);
    EXPECT_STREQ(msg, "I015-BREAK   Aborting all TAMBA activities on drive group left");
    EXPECT_EQ(i_CHECK_SHUTDOWN_IN_PROGRESS("right", msg, trace), 0);
}

TEST_F(Client, ResultFilesAreNamedAndRead)
{
    char file[TAMBA_RSH_PATH_SIZE], name[TAMBA_RSH_NAME_SIZE], status[TAMBA_RSH_WORD_SIZE],
        msg[TAMBA_RSH_WORD_SIZE];
    BUILD_RSHFILE(file, name, "base", 12);
    EXPECT_STREQ(name, "base_12");
    EXPECT_EQ(std::string(file), site.path("work/") + "rsh_base_12.tmp");
    // clang-format off
    const struct { const char *text, *status, *msg; int32_t result; } cases[] = {
        {"x\nSTATUS=SUCCESS y\r\nMSG=\"it is\"\r\nSTATUS=LATE\n", "SUCCESS", "\"it is\"", 1},
        {"MSG=m\nSTATUS=S\n", "No tag [STATUS=] found in %s", "m", 1}, {"STATUS=S", "S", "No tag [MSG=] found in %s", 1},
        {"", "No tag [STATUS=] found in %s", "No tag [MSG=] found in %s", 0},
        {nullptr, "No tag [STATUS=] found in %s", "Error opening input file %s .\n", 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        fs::remove(file);
        if (c.text)
            write_text(file, c.text);
        EXPECT_EQ(i_READ_RSHFILE(file, status, msg, trace), c.result);
        char expected[TAMBA_RSH_WORD_SIZE];
        std::snprintf(expected, sizeof expected, c.status, file);
        EXPECT_STREQ(status, expected);
        std::snprintf(expected, sizeof expected, c.msg, file);
        EXPECT_STREQ(msg, expected);
    }
    write_text(file, std::string(17 << 20, 'x') + "\nSTATUS=SUCCESS MSG=behind a long listing\n");
    EXPECT_EQ(i_READ_RSHFILE(file, status, msg, trace), 1);
    EXPECT_STREQ(msg, "behind a long listing");
    char none[] = "";
    glbv("d", "gv_rw_work", none);
    BUILD_RSHFILE(file, name, "b", -1);
    EXPECT_STREQ(file, "rsh_b_-1.tmp");
    EXPECT_STREQ(make_answ_file_name(file), "");
}

TEST_F(Client, ListingsLoseTheirControlCharacters)
{
    const std::string file = site.path("work/list"), text("a\tb\r\n\0\x1f\xe4\x7f", 9);
    const auto filtered = [&](const char *setting) {
        set_ini("Params", "lis_with_high_ascii", setting);
        std::ofstream(file, std::ios::binary) << std::string(8190, 'x') << text;
        EXPECT_EQ(ascii_filter(file.c_str(), '?', trace), 1);
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {}).substr(8190);
    };
    EXPECT_EQ(filtered("yes"), std::string("a b \n\0 \xe4\x7f", 9));
    EXPECT_EQ(filtered("no"), std::string("a b \n\0 ?\x7f", 9));
    // The file stays the one it is, and calls that meet in it do not disturb each other.
    const std::string link = site.path("work/link");
    fs::create_hard_link(file, link);
    std::ofstream(file, std::ios::binary) << std::string(large_size(1, 4) << 20, '\t');
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] { EXPECT_EQ(ascii_filter(link.c_str(), '?', TraceContext{}), 1); });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(file_text(file), std::string(large_size(1, 4) << 20, ' '));
    filtered("no");
    // Whatever fails, the listing is whole.
    int32_t failures = 0;
    for (int32_t call = 1; call <= 12; ++call) {
        Child failing("filter_with_fault", {file, std::to_string(call)});
        failures += failing.wait() != 0;
        EXPECT_EQ(fs::file_size(file), 8190 + text.size()) << call;
    }
    EXPECT_GT(failures, 2);
    Child child("filter_missing", {site.path("no/such")});
    EXPECT_EQ(child.wait(), 1) << "a file that cannot be opened ends the program";
    EXPECT_NE(child.output().find("STATUS=ERROR MSG="), std::string::npos);
}

TAMBA_CHILD(filter_with_fault)
{
    pl_fault_arm(std::atoi(arguments[1].c_str()), PL_DISK_FULL);
    return ascii_filter(arguments[0].c_str(), '?', TraceContext{}) == 1 ? 0 : 1;
}

TAMBA_CHILD(filter_missing)
{
    return ascii_filter(arguments[0].c_str(), '?', TraceContext{}) == 1 ? 0 : 5;
}

} // namespace
