// What only Linux can take away from the seam: standard streams that are closed, ends of children that nobody tells, a
// shortage of descriptors, a thread that is cancelled.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <foundation/trace_scope.h>
#include <platform/clock.h>
#include <platform/event.h>
#include <platform/files.h>
#include <platform/lock_file.h>
#include <platform/mutex.h>
#include <platform/named_pipe.h>
#include <platform/pipe.h>
#include <platform/process.h>
#include <platform/socket.h>
#include <platform/thread.h>

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class LinuxServices : public TestSite {};

bool streams_are_closed()
{
    for (int fd = 0; fd < 3; ++fd)
        if (fcntl(fd, F_GETFD) >= 0)
            return false;
    return true;
}

std::atomic<int> g_beats{0};

uint32_t trace_and_never_look(void *, TB_HANDLE)
{
    for (;; ++g_beats) {
        own_trace("a line of the thread");
        pl_sleep_ms(1);
    }
}

} // namespace

// Everything that the seam opens, while the three standard streams are closed.
TAMBA_CHILD(open_without_streams)
{
    const std::string folder = arguments[0];
    for (int fd = 0; fd < 3; ++fd)
        close(fd);
    char text[256];
    size_t got = 0;
    TB_HANDLE handle = nullptr;
    PIPE pipe{};
    PlSocketWait wait{};
    FILE *const file = pl_fopen((folder + "/file").c_str(), "w+");
    const PlSocket listener = pl_socket_open(), client = pl_socket_open();
    uint16_t port = 0;
    const bool connected = pl_socket_bind(listener, htonl(0x7F000001), 0) && pl_socket_listen(listener, 1) &&
                           pl_socket_port(listener, &port) &&
                           pl_socket_connect(client, htonl(0x7F000001), port);
    wait = {listener, kPlReadable, 0};
    pl_socket_wait(&wait, 1, 10000);
    const std::string name = "tamba-test-" + std::to_string(pl_process_id());
    const bool steps[] = {
        file != nullptr,
        connected && pl_socket_accept(listener) != kPlNoSocket,
        pl_event_create() != nullptr,
        pl_process_open(pl_process_id()) != nullptr,
        pl_lock_open((folder + "/lock").c_str(), PlLockOpen::create, &handle),
        pl_mutex_create(name.c_str(), &handle) == PlMutex::created,
        pl_named_pipe_create(name.c_str(), 2, &handle) == PlNamedPipe::done,
        pl_named_pipe_open(name.c_str(), 2, &handle),
        pl_write(handle, "x", 1, &got),
        iPIPE_OPEN((arguments[1] + " --child exit_with . 3").c_str(), "rw", text, sizeof text, &pipe) == 1,
        iPIPE_READ(&pipe, text, sizeof text) == 0,
        iPIPE_CLOSE(&pipe) == 3,
        streams_are_closed(),
    };
    for (size_t i = 0; i < std::size(steps); ++i)
        if (!steps[i])
            return static_cast<int>(i) + 1;
    return 0;
}

TEST_F(LinuxServices, WhatIsOpenedNeverTakesTheNumberOfAClosedStream)
{
    fs::create_symlink(fs::canonical("/proc/self/exe"), path("self.exe"));
    EXPECT_EQ(Child("open_without_streams", {path("work"), path("self.exe")}).wait(), 0);
}

// A program whose starter ignores the ends of children inherits that and gets no exit code from the system.
TAMBA_CHILD(run_while_ignoring)
{
    std::signal(SIGCHLD, SIG_IGN);
    char text[256], line[64];
    PIPE pipe{};
    if (start_proc((arguments[0] + " --child exit_with . 3").c_str()) != -1)
        return 1;
    if (iPIPE_OPEN((arguments[0] + " --child exit_with . 3").c_str(), "r", text, sizeof text, &pipe) != 1)
        return 2;
    while (iPIPE_READ(&pipe, line, sizeof line))
        ;
    if (iPIPE_CLOSE(&pipe) != -1)
        return 3;
    // What it starts does know.
    const std::string nested = arguments[0] + " --child start_one . " + arguments[0] + " " + arguments[1];
    return start_proc(nested.c_str()) == -1 && i_cm_system("exit 0") == -1 ? 0 : 4;
}

TAMBA_CHILD(start_one)
{
    const int32_t code = start_proc((arguments[0] + " --child exit_with . 3").c_str());
    return pl_append(arguments[1].c_str(), std::to_string(code).c_str(), 1, nullptr) == PlAppend::done ? 0
                                                                                                       : 1;
}

TEST_F(LinuxServices, AnExitCodeThatTheSystemKeepsToItselfIsNoSuccess)
{
    fs::create_symlink(fs::canonical("/proc/self/exe"), path("self.exe"));
    Child child("run_while_ignoring", {path("self.exe"), path("started")});
    EXPECT_EQ(child.wait(), 0);
    for (int i = 0; i < 1000 && !exists("started"); ++i)
        wait_msec(10);
    EXPECT_EQ(read("started"), "3") << "programs are started with the end of children at its default";
}

TEST_F(LinuxServices, AThreadThatDoesNotAnswerIsTakenAtItsWait)
{
    set_levels("PROG=3\n");
    TraceContext trace{};
    v_set_log_main("prog.lgc", "PROG", &trace);
    pl_thread_patience_ms = 1;
    for (int i = 0; i < 20; ++i) {
        TB_HANDLE thread = nullptr;
        ASSERT_TRUE(pl_thread_start(trace_and_never_look, nullptr, &thread));
        for (const int start = g_beats; g_beats == start;)
            std::this_thread::yield();
        const std::string task = "/proc/self/task/" + std::to_string(pl_thread_id(thread));
        EXPECT_TRUE(pl_thread_end(thread, 7));
        while (fs::exists(task))
            std::this_thread::yield();
        own_trace("the lock of the trace is free");
        uint32_t code = 0;
        EXPECT_TRUE(pl_thread_exit_code(thread, &code));
        EXPECT_EQ(code, 7u);
        pl_close(thread);
    }
    pl_thread_patience_ms = 3000;
}

TEST_F(LinuxServices, NoFileStandsForASingleInstanceLock)
{
    const std::string name = "tamba_test/" + std::to_string(pl_process_id());
    TB_HANDLE handle = nullptr;
    ASSERT_EQ(pl_mutex_create(name.c_str(), &handle), PlMutex::created);
    EXPECT_TRUE(holds(file_text("/proc/net/unix"), "@tamba-mutex/" + name + "/0\n"));
    EXPECT_TRUE(pl_mutex_release(handle));
    EXPECT_FALSE(holds(file_text("/proc/net/unix"), name));
}

TEST_F(LinuxServices, APipeLivesOnWhenItsClientCouldNotBeTaken)
{
    const std::string name = "tamba-test-" + std::to_string(pl_process_id());
    TB_HANDLE pipe = nullptr, client = nullptr;
    char buffer[8];
    size_t size = 0;
    ASSERT_EQ(pl_named_pipe_create(name.c_str(), 2, &pipe), PlNamedPipe::done);
    ASSERT_TRUE(pl_named_pipe_open(name.c_str(), 2, &client));
    ASSERT_TRUE(pl_write(client, "abc", 3, &size));
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none = {3, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_FALSE(pl_read(pipe, buffer, sizeof buffer, &size));
    EXPECT_EQ(pl_last_error().number, EMFILE);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_TRUE(pl_read(pipe, buffer, sizeof buffer, &size));
    EXPECT_EQ(std::string(buffer, size), "abc");
    EXPECT_TRUE(pl_close(pipe) && pl_close(client));
}
