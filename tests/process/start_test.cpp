#include "tests/support/child.h"
#include "tests/support/system.h"
#include "tests/support/test_site.h"

#include <foundation/trace_scope.h>
#include <platform/clock.h>
#include <platform/event.h>
#include <platform/files.h>
#include <platform/mutex.h>
#include <platform/process.h>
#include <platform/thread.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <thread>

namespace fs = std::filesystem;

namespace {

class Start : public TestSite {
protected:
    // The test program under another name: "<name> --child <function> <folder> ..." runs that function.
    void install_program(const std::string &below) const
    {
        char program[1024];
        ASSERT_TRUE(pl_program_path(program, sizeof program));
        std::error_code no_links;
        fs::create_symlink(program, path(below), no_links);
        if (no_links)
            fs::copy_file(program, path(below));
    }

    // A text that both command interpreters run.
    void install_script(const std::string &below, const std::string &text) const
    {
        write(below, text);
        fs::permissions(path(below), fs::perms::owner_all);
    }

    std::string exit_with(int code, const std::string &more = "") const
    {
        return " --child exit_with \"" + path("") + "\" " + std::to_string(code) + more;
    }

    std::string lock_name() const { return "tamba_test/" + std::to_string(pl_process_id()); }
};

std::atomic<bool> g_go{false};

uint32_t until_told(void *, TB_HANDLE)
{
    while (!g_go)
        std::this_thread::yield();
    return 42;
}

std::atomic<int> g_beats{0};

uint32_t deaf(void *, TB_HANDLE)
{
    for (;; ++g_beats)
        pl_sleep_ms(1);
}

uint32_t tracing(void *, TB_HANDLE stop)
{
    for (; !pl_event_wait(stop, 0); ++g_beats)
        own_trace("a line of the thread");
    return 42;
}

int32_t reference_of(TB_HANDLE thread)
{
    return -static_cast<int32_t>(reinterpret_cast<intptr_t>(thread));
}

} // namespace

// Exit code and, behind it, words of which all must have arrived whole.
TAMBA_CHILD(exit_with)
{
    for (size_t i = 1; i + 1 < arguments.size(); i += 2)
        if (arguments[i] != arguments[i + 1])
            return 200;
    return std::atoi(arguments[0].c_str());
}

TAMBA_CHILD(avoid_multi_process)
{
    AVOID_MULTI_PROCESS(arguments[0].c_str());
    tell("won");
    wait_for_go();
    return 0;
}

TAMBA_CHILD(stay)
{
    wait_for_go();
    return 0;
}

TEST_F(Start, ProcFindsProgramsAndScriptsAndNamesEveryFailure)
{
    install_program("bin/tamba/tb_qm.exe");
    install_script("bin/tamba/tb_qm.cmd", "exit 6\n");
    install_script("bin/tamba/tb_only.cmd", "exit 5\n");
    install_script("bin/tamba/broken.exe", "");
    // clang-format off
    const struct { std::string command; int32_t result; } cases[] = {
        {"tb_qm" + exit_with(7), 7}, {"   tb_qm" + exit_with(0), 0},
        {"tb_qm" + exit_with(8, " \"a b\" \"a b\" q\\\"q \"q\\\"q\" c:\\x \"c:\\x\""), 8}, {"tb_only -l", 5},
        {"tb_only", 5}, {"tb_none -l", -3}, {"", -3}, {"   ", -3}, {"%s%n", -3},
        {path("bin/tamba/tb_qm.exe") + exit_with(9), 9}, {"no.such.program -x", -2}, {"broken", -2},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(start_proc(c.command.c_str()), c.result) << c.command;
    EXPECT_EQ(start_proc(nullptr), -3);

    fs::create_directories(path("with blank"));
    install_program("with blank/tb_qm.exe");
    install_script("with blank/tb_only.cmd", "exit 4\n");
    set_global("gv_ro_bin", directory("with blank").c_str());
    EXPECT_EQ(start_proc(("tb_qm" + exit_with(3)).c_str()), 3);
    EXPECT_EQ(start_proc("tb_only \"an argument\""), 4);
    EXPECT_EQ(start_proc("tb_only"), 4);

    char ignored[TAMBA_GLBV_SIZE];
    glbv("d", "gv_ro_bin", ignored);
    EXPECT_EQ(start_proc("tb_qm -l"), -3);
}

TEST_F(Start, ExeFramesTheStartInTheTrace)
{
    install_script("bin/tamba/tb_only.cmd", "exit 5\n");
    EXPECT_EQ(start_exe("tb_only -p 100%s", context(1)), 5);
    EXPECT_TRUE(holds(trace_text(), "  exe=tb_only -p 100%s\n"));
    EXPECT_TRUE(holds(trace_text(), "--- HAL START_EXE status=5\n"));
}

TEST_F(Start, SystemRunsTheCommandWhateverItsEnvironment)
{
    install_script("bin/tamba/tb_there.cmd", "exit 0\n");
    write("ini/tb.ini", "[SETUP]\nlang=en\n");
    Captured errors(stderr);
    EXPECT_EQ(start_system("exit 3"), 3);
    EXPECT_EQ(errors.text(), "start_system: error occured in i_setenv_tamba ( return code -1)\n");
}

TEST_F(Start, ShellUnderstandsTheRewrittenConstructs)
{
    fs::create_directories(path("a b"));
    install_script("a b/x.cmd", "exit 6\n");
    const std::string script = "\"" + path("a b/x.cmd") + "\"", log = path("log");
    // clang-format off
    const struct { std::string command; int32_t result; } cases[] = {
        {"exit 3", 3},                     {"", 0},                                {script, 6},
        {"\"" + script + " \"c d\"\"", 6}, {"\"exit 4\" 1>>" + log + " 2>>&1", 4}, {"exit 5 <nul", 5},
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(i_cm_system(c.command.c_str()), c.result) << c.command;
        EXPECT_EQ(i_cm_exec(c.command.c_str()), c.result) << c.command;
    }
    i_cm_system("echo hidden>nul");
    install_script("a b/both.cmd", "echo out\necho err 1>&2\n");
    i_cm_system(("\"\"" + path("a b/both.cmd") + "\" 1>>\"" + log + "\" 2>>&1\"").c_str());
    EXPECT_TRUE(holds(read("log"), "out") && holds(read("log"), "err"));
    EXPECT_FALSE(holds(read("log"), "hidden"));
    EXPECT_FALSE(fs::exists("nul"));
}

TEST_F(Start, PidExistKnowsProcessesAndThreads)
{
    const TraceContext trace = context(2);
    EXPECT_EQ(pid_exist(static_cast<int32_t>(pl_process_id()), trace), 1);
    EXPECT_EQ(pid_exist(0, trace), 0);
    EXPECT_EQ(pid_exist(INT32_MAX, trace), 0);
    EXPECT_EQ(pid_exist(INT32_MIN, trace), 0);
    Child child("stay");
    const auto pid = static_cast<int32_t>(child.pid());
    EXPECT_EQ(pid_exist(pid, trace), 1);
    const TB_HANDLE opened = pl_process_open(child.pid());
    child.kill();
    ASSERT_EQ(pl_wait(opened, kPlForever), PlWait::ended);
    EXPECT_EQ(pid_exist(pid, trace), 0) << "ended, though nobody has asked for its exit code yet";
    pl_close(opened);
    child.wait();
    EXPECT_EQ(pid_exist(pid, trace), 0);

    TB_HANDLE thread = nullptr;
    ASSERT_TRUE(pl_thread_start(until_told, nullptr, &thread));
    EXPECT_EQ(pid_exist(reference_of(thread), trace), 1);
    EXPECT_NE(pl_thread_id(thread), 0u);
    g_go = true;
    ASSERT_EQ(pl_wait(thread, kPlForever), PlWait::ended);
    EXPECT_EQ(pid_exist(reference_of(thread), trace), 0);
    EXPECT_TRUE(holds(trace_text(), "child returned exit code 42"));
    EXPECT_TRUE(pl_close(thread));
    EXPECT_FALSE(pl_close(thread));
    EXPECT_EQ(pl_thread_id(thread), 0u);
    EXPECT_EQ(pid_exist(reference_of(thread), trace), 0);
    EXPECT_TRUE(holds(trace_text(), "WARNING: pid_exist: got not expected WAIT_FAILED"));
}

TEST_F(Start, KillStopsNothingButWhatItsTextNames)
{
    // Each interpreter finds its own name and fills its own argument.
    for (const char *script : {"bin/tb_kill", "bin/tb_kill.cmd"})
        install_script(script, "echo %1 $1 >>\"" + path("killed") + "\"\n");
    const std::string before = pl_getenv("PATH");
    pl_setenv("PATH", (path("bin") + pl_path_list_separator() + before).c_str());
    for (const char *text :
         {"0", "", "no number", "1;exit", "12a", "99999999999", "-99999999999", "--1", "+"})
        EXPECT_EQ(i_KILL_PROCESS(text), 1) << text;
    EXPECT_EQ(i_KILL_PROCESS(nullptr), 1);
    EXPECT_FALSE(exists("killed"));
    EXPECT_EQ(i_KILL_PROCESS("  +2147483647"), 1);
    EXPECT_TRUE(holds(read("killed"), "2147483647"));
    pl_setenv("PATH", before.c_str());

    TB_HANDLE thread = nullptr;
    ASSERT_TRUE(pl_thread_start(deaf, nullptr, &thread));
    while (g_beats < 2)
        std::this_thread::yield();
    pl_thread_patience_ms = 1;
    EXPECT_EQ(i_KILL_PROCESS(std::to_string(reference_of(thread)).c_str()), 1);
    EXPECT_EQ(pl_wait(thread, kPlForever), PlWait::ended);
    uint32_t code = 1;
    EXPECT_TRUE(pl_thread_exit_code(thread, &code));
    EXPECT_EQ(code, 0u);
    pl_close(thread);
    pl_thread_patience_ms = 3000;
}

TEST_F(Start, AThreadThatIsEndedTakesNoLockWithIt)
{
    set_levels("PROG=3\n");
    TraceContext trace{};
    v_set_log_main("prog.lgc", "PROG", &trace);
    for (int i = 0; i < 20; ++i) {
        TB_HANDLE thread = nullptr;
        ASSERT_TRUE(pl_thread_start(tracing, nullptr, &thread));
        for (const int start = g_beats; g_beats < start + 2;)
            std::this_thread::yield();
        EXPECT_EQ(i_KILL_PROCESS(std::to_string(reference_of(thread)).c_str()), 1);
        const int beats = g_beats;
        own_trace("the lock of the trace is free");
        EXPECT_EQ(g_beats, beats) << "the thread has answered";
        uint32_t code = 1;
        EXPECT_TRUE(pl_thread_exit_code(thread, &code));
        EXPECT_EQ(code, 0u) << "not the thread's own";
        pl_close(thread);
    }
}

TEST_F(Start, OneInstanceOfEightStaysAndItsEndFreesTheName)
{
    const std::string name = lock_name();
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < 8; ++i)
        children.push_back(std::make_unique<Child>("avoid_multi_process", ChildArguments{name}));
    Child *winner = nullptr;
    for (auto &child : children) {
        if (child->wait_for("won")) {
            EXPECT_EQ(winner, nullptr) << "two instances";
            winner = child.get();
        } else {
            EXPECT_EQ(child->wait(), 1);
            EXPECT_EQ(child->output(), "STATUS=ERROR MSG=MUTEX " + name + " is yet occupied\n");
        }
    }
    ASSERT_NE(winner, nullptr);
    winner->kill();
    winner->wait();
    Child next("avoid_multi_process", {name});
    EXPECT_TRUE(next.wait_for("won"));
}

TEST_F(Start, OfThoseWhoStartAtOnceExactlyOneHasTheLock)
{
    constexpr int kStarters = 6;
    for (int round = 0; round < 100; ++round) {
        const std::string name = lock_name() + "#" + std::to_string(round);
        std::atomic<int> ready{0}, created{0};
        TB_HANDLE handles[kStarters] = {};
        std::vector<std::thread> starters;
        for (TB_HANDLE &handle : handles)
            starters.emplace_back([&] {
                for (++ready; ready < kStarters;)
                    std::this_thread::yield();
                created += pl_mutex_create(name.c_str(), &handle) == PlMutex::created ? 1 : 0;
            });
        for (std::thread &starter : starters)
            starter.join();
        EXPECT_EQ(created, 1) << "round " << round;
        for (const TB_HANDLE handle : handles)
            EXPECT_TRUE(pl_mutex_release(handle));
    }
}

TEST_F(Start, LockForProcessKeepsOrOnlyTests)
{
    const std::string name = lock_name(), occupied = "MUTEX " + name + " is yet occupied";
    char message[200];
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('t', name.c_str(), message, sizeof message), 1);
    EXPECT_EQ(message, "got and released lock for " + name);
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('+', name.c_str(), message, sizeof message), 1);
    EXPECT_EQ(message, "got exclusive lock for " + name);
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('t', name.c_str(), message, 10), 0);
    EXPECT_EQ(std::string(message), occupied.substr(0, 9));
    Child second("avoid_multi_process", {name});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('t', ("Local\\" + name).c_str(), message, sizeof message), 0);
    Child holder("avoid_multi_process", {name + "2"});
    ASSERT_TRUE(holder.wait_for("won"));
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('t', (name + "2").c_str(), message, sizeof message), 0);
    holder.kill();
    holder.wait();
    EXPECT_EQ(Child("avoid_multi_process", {name + "2"}).wait(), 1)
        << "whoever found it occupied keeps it so";
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('+', "no\\such\\place", message, sizeof message), 0);
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('+', std::string(1000, 'n').c_str(), nullptr, 0), 0);
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('+', "", message, sizeof message), 1);
    EXPECT_EQ(i_GET_LOCK_FOR_PROCESS('+', nullptr, message, sizeof message), 1);
}
