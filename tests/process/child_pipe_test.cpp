#include "tests/support/allocation.h"
#include "tests/support/child.h"
#include "tests/support/descriptors.h"
#include "tests/support/system.h"
#include "tests/support/test_site.h"

#include <platform/child_pipe.h>
#include <platform/fault.h>
#include <platform/files.h>
#include <platform/process.h>
#include <process/pipe_timing.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

TAMBA_CHILD(print_arguments)
{
    for (const std::string &argument : arguments)
        std::printf("[%s]\n", argument.c_str());
    return 0;
}

TAMBA_CHILD(print_text) // stdout text, stderr text, exit code; "\n" and "\r" as two characters
{
    for (size_t i = 0; i < 2; ++i) {
        std::string text;
        for (size_t at = 0; at < arguments[i].size(); ++at) {
            const bool escape = arguments[i][at] == '/' && at + 1 < arguments[i].size();
            text += !escape ? arguments[i][at] : arguments[i][++at] == 'n' ? '\n' : '\r';
        }
        std::fwrite(text.data(), 1, text.size(), i == 0 ? stdout : stderr);
    }
    return std::atoi(arguments[2].c_str());
}

TAMBA_CHILD(flood) // a megabyte on standard error
{
    for (int i = 0; i < 16384; ++i)
        std::fputs("eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee\n", stderr);
    std::puts("done");
    return 3;
}

TAMBA_CHILD(copy_input)
{
    std::puts("ready");
    std::fflush(stdout);
    for (int c; (c = std::getchar()) != EOF;)
        std::putchar(c);
    std::puts("end");
    return 0;
}

class ChildPipes : public TestSite {
protected:
    void SetUp() override
    {
        TestSite::SetUp();
        char self[1024] = "";
        pl_program_path(self, sizeof self);
        program_ = self;
        if (program_.find('.') == std::string::npos) { // a name without a dot would get an ending
            fs::create_symlink(self, path("self.exe"));
            program_ = path("self.exe");
        }
    }
    void TearDown() override
    {
        pipe_timing = {};
        TestSite::TearDown();
    }
    // The test program as a child with arguments.
    std::string child_command(const std::string &function, const std::string &arguments = "") const
    {
        return "\"" + program_ + "\" --child " + function + " ." + (arguments.empty() ? "" : " " + arguments);
    }
    // The test program under another name.
    void install(const std::string &below) const
    {
        const fs::path own = fs::canonical(program_), target = path(below);
        fs::copy_file(own, target);
        for (const auto &entry : fs::directory_iterator(own.parent_path())) // what it needs on Windows
            if (entry.path().extension() == ".dll")
                fs::copy_file(entry.path(), target.parent_path() / entry.path().filename(),
                              fs::copy_options::overwrite_existing);
    }
    bool open(const std::string &command, const char *mode = "r")
    {
        char text[512];
        const int32_t result = iPIPE_OPEN(command.c_str(), mode, text, sizeof text, &pipe);
        msg = text;
        return result == 1;
    }
    std::string all(int32_t size = 64)
    {
        std::string text;
        for (std::string line(static_cast<size_t>(size), '#'); iPIPE_READ(&pipe, line.data(), size);)
            text += line.substr(0, line.find('\0')) + "|";
        return text;
    }
    std::string run(const std::string &command, int32_t *code = nullptr, const char *mode = "r")
    {
        if (!open(command, mode))
            return "not started: " + msg;
        const std::string text = all();
        if (pipe.input)
            iCloseNamedPipe(pipe.input);
        const int32_t ended = iPIPE_CLOSE(&pipe);
        if (code)
            *code = ended;
        return text;
    }

    PIPE pipe{};
    std::string msg, program_;
};

TEST_F(ChildPipes, LinesComeAsTheyWereWritten)
{
    const struct {
        const char *text;
        int32_t size;
        std::string lines;
    } cases[] = {
        {"one/ntwo/n", 64, "one|two|"},
        {"a/rb/n/nc/r/n", 64, "a||c|"},
        {"abcdefgh/nx/n", 4, "abcd|efgh||x|"},
        {"abcdef/n", 4, "abcd|ef|"},
        {"lost", 64, ""},
        {"x/nlost", 64, "x|"},
        {"", 64, ""},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(open(child_command("print_text", std::string("\"") + c.text + "\" \"\" 7"))) << msg;
        EXPECT_EQ(all(c.size), c.lines) << c.text;
        EXPECT_EQ(iPIPE_CLOSE(&pipe), 7) << "the code is there when the output has ended";
    }
    char exact[5] = "####";
    ASSERT_TRUE(open(child_command("print_text", "abcd/n \"\" 0")));
    EXPECT_EQ(iPIPE_READ(&pipe, exact, 4), 1);
    EXPECT_STREQ(exact, "abcd") << "a full buffer has no terminator of its own";
    EXPECT_EQ(iPIPE_READ(&pipe, exact, 4), 1);
    EXPECT_STREQ(exact, "") << "and the line ends with an empty one";
    EXPECT_EQ(iPIPE_READ(&pipe, exact, 0), 0);
    EXPECT_EQ(iPIPE_CLOSE(&pipe), 0);
}

TEST_F(ChildPipes, OneRedirectionAtTheEndIsUnderstood)
{
    int32_t code = 0;
    const std::string both = child_command("print_text", "out/n err/n 0 ");
    EXPECT_EQ(run(both), "out|");
    EXPECT_NE(run(both + "2>&1").find("err|"), std::string::npos);
    const std::string print = child_command("print_arguments", "x ");
    EXPECT_EQ(run(print + "2>&1"), "[x]|");
    EXPECT_EQ(run(print + "<nul"), "[x]|");
    EXPECT_EQ(run(print + "<nul 2>&1"), "[x]|[<nul]|") << "the first one stays on the command line";
    EXPECT_EQ(run(print + "2>&1 <nul"), "[x]|[2>&1]|");
    EXPECT_EQ(run(print + "2>&1 "), "[x]|[2>&1]|") << "only the very end counts";
    EXPECT_EQ(run(print + "a\\b \"c d\" \"\" e\\\"f"), "[x]|[a\\b]|[c d]|[]|[e\"f]|");
    EXPECT_EQ(run(child_command("copy_input") + " <nul"), "ready|end|");
    ASSERT_TRUE(open(child_command("copy_input") + " <nul", "rw"));
    EXPECT_EQ(all(), "ready|end|") << "no input wins over the pipe";
    EXPECT_EQ(iCloseNamedPipe(pipe.input), 1);
    EXPECT_EQ(iPIPE_CLOSE(&pipe), 0);
    Captured quiet(stderr);
    for (const char *end : {" 2>&1", ""}) {
        const std::string text = run(child_command("flood") + end, &code);
        EXPECT_EQ(text.substr(text.size() - 5), "done|");
        EXPECT_EQ(text.size() > 1000000, *end == ' ');
        EXPECT_EQ(code, 3);
    }
}

TEST_F(ChildPipes, InputIsWrittenAndReachesNobodyElse)
{
    ASSERT_TRUE(open(child_command("copy_input"), "rw")) << msg;
    char line[64], text[256];
    EXPECT_EQ(iPIPE_READ(&pipe, line, sizeof line), 1);
    PIPE other{};
    ASSERT_EQ(iPIPE_OPEN(child_command("copy_input").c_str(), "rw", text, sizeof text, &other), 1);
    EXPECT_EQ(iWriteNamedPipe(pipe.input, "hello\n", -1, text, sizeof text), 6) << text;
    EXPECT_EQ(iCloseNamedPipe(pipe.input), 1);
    EXPECT_EQ(all(), "hello|end|") << "the second child does not keep the first one's input open";
    EXPECT_EQ(iPIPE_CLOSE(&pipe), 0);
    EXPECT_EQ(iCloseNamedPipe(other.input), 1);
    std::swap(pipe, other);
    EXPECT_EQ(all(), "ready|end|");
    EXPECT_EQ(iPIPE_CLOSE(&pipe), 0);
}

TEST_F(ChildPipes, ProgramsAreFoundInTheProgramDirectoryAndFailAtOpen)
{
    fs::create_directories(path("a b"));
    install("a b/tool.exe");
    install("bin/tamba/tool.exe");
    EXPECT_EQ(run("tool --child print_arguments . a b"), "[a]|[b]|");
    EXPECT_EQ(run("\"tool.exe\" --child print_arguments . a"), "[a]|");
    EXPECT_EQ(run("\"" + path("a b/tool") + "\" --child print_arguments . \"c d\""), "[c d]|");
    set_global("gv_ro_bin", path("a b").c_str()); // without a separator
    EXPECT_EQ(run("tool --child print_arguments . x"), "[x]|");
    set_global("gv_ro_bin", path("a b/../a b/./").c_str()); // no dots of a name
    EXPECT_EQ(run("tool --child print_arguments . x"), "[x]|");
    fs::rename(path("a b"), path("x.y"));
    EXPECT_EQ(run(path("x.y/tool.exe") + " --child print_arguments . x"), "[x]|");
    EXPECT_FALSE(open(path("x.y/tool"))) << "any dot of the path keeps the ending away";
    EXPECT_NE(msg.find("tool(2) "), std::string::npos) << msg;
    char none[] = "";
    glbv("d", "gv_ro_bin", none);
    EXPECT_EQ(run(child_command("print_arguments", "y")), "[y]|");
    EXPECT_FALSE(open("", "r"));
    EXPECT_EQ(msg.substr(0, 27), "GetFullPathName() failed: (");
    EXPECT_FALSE(open("x", "z%s"));
    EXPECT_EQ(msg, "Mode \"z%s\" is not allowed! Use \"r\" or \"w\".");
    EXPECT_FALSE(open("\"x y", "r"));
    EXPECT_EQ(msg, "Error: Closing \" missing in [\"x y]");
    EXPECT_FALSE(open("none.exe", "r"));
    EXPECT_NE(msg.find("none.exe(2) "), std::string::npos) << msg;
    EXPECT_FALSE(open(std::string(260, 'x') + " y", "r"));
    EXPECT_EQ(msg.substr(0, 55), "Error: Program name is longer than 259 characters: [xxx");
    EXPECT_FALSE(open(" x", "r"));
    EXPECT_EQ(msg.substr(0, 27), "GetFullPathName() failed: (");
    {
        const FailingAllocation fails(0);
        EXPECT_FALSE(open("x", "r"));
    }
    EXPECT_EQ(msg.substr(0, 16), "malloc failed: (");
    EXPECT_FALSE(pipe.process || pipe.control || pipe.output || pipe.pid);

    char text[256];
    pl_fail_as(PL_FILE_NOT_FOUND);
    const int32_t length = iGetErrorMsg(text, sizeof text, "%s");
    EXPECT_EQ(std::string(text).substr(0, 6), "%s(2) ");
    EXPECT_EQ(std::strlen(text), 6 + static_cast<size_t>(length)) << "without its line end";
    std::fopen(path("missing").c_str(), "r");
    iGetErrorMsg(text, sizeof text, "");
    EXPECT_EQ(std::string(text).substr(0, 4), "(2) ") << "of the program's own call";
    EXPECT_EQ(iReadLine(pipe.output, text, sizeof text), 0);
    iGetErrorMsg(text, sizeof text, "");
    pl_fail_as(PL_INVALID_HANDLE);
    EXPECT_EQ(std::string(text).substr(0, 4), "(" + std::to_string(pl_last_error().number) + ") ") << text;
    pl_set_error({PL_OTHER, 123456789});
    EXPECT_EQ(iGetErrorMsg(text, sizeof text, ""), 0);
    EXPECT_TRUE(holds(text, "(123456789) ERROR: Couldn't get message for error code. Got error code "))
        << text;
}

TEST_F(ChildPipes, AChildThatRunsOnIsLeftAloneAndOneThatWasStoppedIsReported)
{
    pipe_timing.watcher_ms = 1;
    ASSERT_TRUE(open(child_command("copy_input"), "rw"));
    const TB_HANDLE input = pipe.input;
    char line[64], text[256];
    EXPECT_EQ(iPIPE_READ(&pipe, line, sizeof line), 1);
    EXPECT_EQ(iPIPE_CLOSE(&pipe), 0);
    EXPECT_FALSE(pipe.process || pipe.control || pipe.output);
    iWriteNamedPipe(input, "x", 1, text, sizeof text);
    EXPECT_EQ(iCloseNamedPipe(input), 1);
    EXPECT_EQ(iPIPE_CLOSE(nullptr), 0);

    for (const int32_t exit_code : {0, 5}) {
        pipe_timing = {};
        pipe_timing.watch_slice_ms = 10;
        ASSERT_TRUE(open(child_command("stop_itself", std::to_string(exit_code))));
        EXPECT_EQ(all(), "stopping|going on|");
        EXPECT_EQ(iPIPE_CLOSE(&pipe), exit_code == 0 ? 109 : exit_code);
    }
}

TAMBA_CHILD(stop_itself)
{
    std::puts("stopping");
    std::fflush(stdout);
    suspend_this_process();
    std::puts("going on");
    return std::atoi(arguments[0].c_str());
}

TEST_F(ChildPipes, EveryFailingCallIsNamedAndLeavesNothingOpen)
{
    const std::string command = child_command("print_arguments", "x");
    run(command, nullptr, "rw");
    const uint32_t before = open_handles();
    std::set<std::string> reasons;
    pl_fail_as(PL_NO_MEMORY);
    const std::string number = "(" + std::to_string(pl_last_error().number) + ") ";
    bool reached = true;
    for (int32_t nth = 1; reached; ++nth) {
        pl_fault_arm(nth, PL_NO_MEMORY);
        run(command, nullptr, "rw");
        reached = pl_fault_calls() >= nth;
        pl_fault_arm(0, PL_OK);
        if (!msg.empty()) {
            reasons.insert(msg.substr(0, msg.find('(')));
            EXPECT_TRUE(holds(msg, number)) << msg;
        }
        EXPECT_FALSE(pipe.process || pipe.thread || pipe.control || pipe.output) << "call " << nth;
    }
    const std::set<std::string> expected = {
        "CreatePipe for child's stdin failed: ",      "CreatePipe for child's stdout failed: ",
        "DuplicateHandle for child's stdin failed: ", "DuplicateHandle for child's stdout failed: ",
        "CreateThread for stderr output failed: ",    program_,
    };
    EXPECT_EQ(reasons, expected);
    for (int i = 0; i < 3000 && (open_handles() > before + 2 || has_zombies()); ++i)
        wait_msec(10); // for children that nobody watches
    EXPECT_LE(open_handles(), before + 2);
    EXPECT_FALSE(has_zombies());
}

TEST_F(ChildPipes, ThreadsRunChildrenOfTheirOwnAtTheSameTime)
{
    const auto work = [this](int number) {
        const std::string name = std::to_string(number), command = child_command("print_arguments", name);
        for (int i = 0; i < 8; ++i) {
            PIPE own{};
            char text[256], line[64] = "";
            ASSERT_EQ(iPIPE_OPEN(command.c_str(), "rw", text, sizeof text, &own), 1) << text;
            EXPECT_EQ(iPIPE_READ(&own, line, sizeof line), 1);
            EXPECT_EQ(line, "[" + name + "]");
            EXPECT_EQ(iPIPE_READ(&own, line, sizeof line), 0);
            EXPECT_EQ(iCloseNamedPipe(own.input), 1);
            EXPECT_EQ(iPIPE_CLOSE(&own), 0);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work, i);
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(ChildPipes, AThousandRunsLeaveNothingBehind)
{
    std::string command = child_command("print_arguments", "x");
    if (large_size(0, 1) == 1 && fs::exists("/bin/echo")) {
        // starts faster than a test program with a sanitizer
        fs::create_symlink("/bin/echo", path("echo.exe"));
        command = path("echo.exe") + " [x]";
    }
    EXPECT_EQ(run(command), "[x]|");
    const uint32_t before = open_handles();
    for (size_t i = 0; i < large_size(50, 1000); ++i) {
        std::string text = run(command);
        for (int tries = 0; tries < 3 && text.starts_with("not started"); ++tries)
            text = run(command); // an emulator under load starts nothing now and then
        ASSERT_EQ(text, "[x]|");
        ASSERT_FALSE(open("missing"));
    }
    EXPECT_LE(open_handles(), before + 2);
    EXPECT_FALSE(has_zombies());
}

TEST_F(ChildPipes, ABackgroundProgramOutlivesItsStarter)
{
    install("bin/tamba/later.exe");
    // The starter's reader is not kept waiting by what the starter has left behind.
    EXPECT_EQ(run(child_command("start_later", path("done"))), "1|");
    EXPECT_FALSE(exists("done"));
    write("go", "");
    for (int i = 0; i < 3000 && !exists("done"); ++i)
        wait_msec(10);
    EXPECT_TRUE(exists("done"));
    EXPECT_EQ(iCREATE_ASYNC_SUBPROCESS("missing", context(1)), 0);
    EXPECT_TRUE(holds(trace_text(), "Failed to CreateProcess missing"));
}

TAMBA_CHILD(start_later)
{
    const int copy = dup(fileno(stdout)); // what is open beside the streams is not handed on, either
    const std::string command = "later --child wait_then_write . \"" + arguments[0] + "\"";
    std::printf("%d\n", static_cast<int>(iCREATE_ASYNC_SUBPROCESS(command.c_str(), TraceContext{})));
    return close(copy);
}

TAMBA_CHILD(wait_then_write)
{
    const fs::path done = arguments[0];
    for (int i = 0; i < 3000 && !fs::exists(done.parent_path() / "go"); ++i)
        wait_msec(10);
    return pl_append(arguments[0].c_str(), "x", 1, nullptr) == PlAppend::done ? 0 : 1;
}

} // namespace
