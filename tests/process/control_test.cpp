#include "tests/support/child.h"
#include "tests/support/descriptors.h"
#include "tests/support/system.h"
#include "tests/support/test_site.h"

#include <platform/child_pipe.h>
#include <platform/fault.h>
#include <platform/process.h>
#include <platform/socket.h>
#include <process/tb_ctrl.h>
#include <site/daemon.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

namespace {

const std::string kZero(1, '\0');

class Control : public TestSite {
protected:
    void SetUp() override
    {
        TestSite::SetUp();
        control_timing.idle_ms = 2000;
        control_timing.resolve_pause_ms = control_timing.resend_pause_ms = 1;
        control_timing.accept_step_ms = control_timing.connect_step_ms = 1;
    }
    void TearDown() override
    {
        control_timing = {};
        TestSite::TearDown();
    }
    std::string read_bytes(const std::string &below) const
    {
        std::ifstream file(path(below), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    int32_t call(uint16_t port, const std::string &options, const std::string &command, int32_t timeout = 0,
                 const std::string &node = "127.0.0.1")
    {
        return ctrlc_lib_call((std::to_string(port) + ":" + options).c_str(), node.c_str(), "root",
                              command.c_str(), path("in").c_str(), path("out").c_str(), path("err").c_str(),
                              timeout);
    }
    // One call of a daemon that behaves so.
    int32_t call(const DaemonBehaviour &behaviour, const std::string &options = "", int32_t timeout = 0)
    {
        write("in", "");
        write("out", "");
        write("err", "");
        ControlDaemon daemon(behaviour);
        return call(daemon.port(), options, "cmd", timeout);
    }
};

TEST_F(Control, ACommandRunsWithItsStreams)
{
    ControlDaemon daemon;
    write("in", "line\n");
    char self[1024] = "";
    pl_program_path(self, sizeof self);
    EXPECT_EQ(call(daemon.port(), "", std::string(self) + " --child copy_input .", 3), 0)
        << ctrl_first_error();
    EXPECT_EQ(read("out"), "ready\nline\nend\n");
    EXPECT_EQ(call(daemon.port(), "-s", "echo more", 0, "localhost"), 0) << ctrl_first_error();
    EXPECT_EQ(lines("out").size(), 4u) << "output is appended";
    EXPECT_EQ(call(daemon.port(), "", "exit 253"), 253);
    EXPECT_EQ(ctrl_exit_code(), 253) << "the command's own code";
    EXPECT_STREQ(ctrl_first_error(), "");
    EXPECT_EQ(call(daemon.port(), "", "echo wrong 1>&2 & exit 7"), 7);
    EXPECT_TRUE(holds(read("err"), "wrong"));
    EXPECT_EQ(ctrlc_lib_call(std::to_string(daemon.port()).c_str(), "127.0.0.1", "root", "echo both",
                             path("in").c_str(), "", path("one").c_str(), 0),
              0);
    EXPECT_TRUE(holds(read("one"), "both")) << "one file takes both streams";
    EXPECT_EQ(ctrlc_lib_call(std::to_string(daemon.port()).c_str(), "127.0.0.1", "root", "echo x",
                             path("missing").c_str(), path("one").c_str(), "", 0),
              1);
    EXPECT_EQ(ctrlc_lib_call(std::to_string(daemon.port()).c_str(), "127.0.0.1", "root", "echo x",
                             path("in").c_str(), path("no/such").c_str(), "", 0),
              253);
    EXPECT_TRUE(holds(ctrl_first_error(), "cannot open output file"));
}

TEST_F(Control, TheDaemonIsToldWhatItNeedsAndTheInputEndsWithItsMark)
{
    std::vector<std::string> told;
    const auto listen = [&](const DaemonCall &call) {
        told = {call.port, call.user, call.command};
        daemon_send(call.first, kZero);
        const intptr_t second = call.port.empty() ? call.first : call.call_back();
        told.push_back(daemon_input(call.first));
        pl_socket_send_urgent(second, 0);
        if (second != call.first)
            pl_socket_close(second);
    };
    ControlDaemon daemon(listen);
    const std::string end("END OF STDIN\0", 13), binary("a\0b\n\xff", 5);
    write("in", binary);
    EXPECT_EQ(call(daemon.port(), "-s", "a  'b  c' \"d\\\" e\" '' c:\\\\x"), 0);
    EXPECT_EQ(told, (std::vector<std::string>{"", "root", "a b  c d\\\" e  c:\\\\x", binary + end}));
    write("in", "");
    EXPECT_EQ(call(daemon.port(), "", " x 'unclosed  "), 0);
    EXPECT_EQ(told[2] + told[3], "x unclosed  " + end);
    EXPECT_NE(told[0], "");
    ControlDaemon taken; // two ports in a row, one of them taken
    const std::string port = std::to_string(taken.port());
    EXPECT_EQ(call(daemon.port(), "-o " + port, "x"), 0);
    EXPECT_EQ(told[0], "") << "no port is free: no channel for errors";
    EXPECT_EQ(call(daemon.port(), "-o " + port + "-" + std::to_string(taken.port() + 40), "x"), 0);
    EXPECT_GT(std::atoi(told[0].c_str()), taken.port());
    EXPECT_EQ(call(daemon.port(), "-o 9-8", "x"), 0);
    EXPECT_EQ(told[0], "");
    EXPECT_EQ(call(daemon.port(), "-o x", "x"), 0);
    EXPECT_NE(told[0], "") << "no number is no range";
}

TEST_F(Control, EveryMisbehaviourEndsTheCallWithItsReason)
{
    const auto nothing = [](const DaemonCall &) {};
    const auto refuse = [](const std::string &text) {
        return [text](const DaemonCall &call) { daemon_send(call.first, text); };
    };
    const auto accept_only = [](const DaemonCall &call) {
        daemon_send(call.first, kZero);
        daemon_input(call.first);
    };
    const auto no_code = [](const DaemonCall &call) {
        daemon_send(call.first, kZero);
        const intptr_t second = call.call_back();
        daemon_send(call.first, "half of it");
        pl_socket_close(second);
    };
    const struct {
        const char *what;
        DaemonBehaviour behaviour;
        const char *options;
        int32_t timeout, status;
        const char *reason;
    } cases[] = {
        {"no status", nothing, "", 0, 253, "ERROR: Server listening on remote port is not a CTRLD Server"},
        {"refusal", refuse("Xno permit\n\311"), "", 0, 201, "CTRLD reply: no permit"},
        {"refusal without a line end", refuse("Xno"), "", 0, 253, "CTRLD reply: no"},
        {"refusal with status 0", refuse("Xno\n" + kZero), "", 0, 253, "CTRLD reply: no"},
        {"long refusal", refuse(std::string(5000, 'x') + "\n\001"), "", 0, 1, "CTRLD reply: xxxxxx"},
        {"no call-back", accept_only, "", 1, 253, "accept() call timed out probably due to a Firewall."},
        {"no exit code", no_code, "", 0, 253, "no exit code received"},
        {"no exit code, one channel", refuse(kZero + "half"), "-s", 0, 253, "no exit code received"},
    };
    call(1, "", "x", 0, "no-such-host.invalid"); // the system's resolver keeps some handles
    const uint32_t before = open_handles();
    for (const auto &c : cases) {
        EXPECT_EQ(call(c.behaviour, c.options, c.timeout), c.status) << c.what;
        EXPECT_EQ(std::string(ctrl_first_error()).substr(0, std::strlen(c.reason)), c.reason) << c.what;
        EXPECT_EQ(ctrl_exit_code(), -1);
        for (const char *file : {"out", "err"})
            EXPECT_TRUE(holds(read(file), std::string("ERROR: ") + c.reason)) << c.what;
    }
    EXPECT_EQ(call(1, "", "x"), 253) << "nobody listens there";
    EXPECT_TRUE(
        holds(ctrl_first_error(), "connect() call failed. No one listening on the remote host address ["));
    EXPECT_EQ(call(1, "", "x", 3), 253);
    EXPECT_TRUE(holds(ctrl_first_error(), "port [1]. ("));
    EXPECT_EQ(call(1, "", "x", 0, "no-such-host.invalid"), 253);
    EXPECT_TRUE(holds(ctrl_first_error(), "gethostbyname() call failed for host: [no-such-host.invalid] ("));
    EXPECT_FALSE(holds(ctrl_first_error(), "No such file")) << "a host is no file: " << ctrl_first_error();
    EXPECT_FALSE(std::string_view(ctrl_first_error()).ends_with(") ")) << "the resolver's own text";
    for (const char *spec : {"", "x", "0", "70000", "99999999999:-s"})
        EXPECT_EQ(
            ctrlc_lib_call(spec, "127.0.0.1", nullptr, nullptr, nullptr, path("out").c_str(), nullptr, 0),
            253);
    EXPECT_LE(open_handles(), before) << "nothing is left open";
}

TEST_F(Control, AConnectionThatHangsEndsAfterItsTries)
{
    pl_net_start();
    const PlSocket listener = pl_socket_open(), held = pl_socket_open();
    uint32_t loopback = 0;
    uint16_t port = 0;
    char name[64];
    ASSERT_TRUE(pl_net_resolve("127.0.0.1", name, sizeof name, &loopback));
    ASSERT_TRUE(pl_socket_bind(listener, loopback, 0) && pl_socket_listen(listener, 0) &&
                pl_socket_port(listener, &port));
    std::vector<PlSocket> waiting;
    for (int i = 0; i < 4; ++i) { // the queue is full after the first or second
        waiting.push_back(pl_socket_open());
        pl_socket_set_nonblocking(waiting.back(), true);
        pl_socket_connect(waiting.back(), loopback, port);
    }
    EXPECT_EQ(call(port, "", "x", 3), 253);
    EXPECT_TRUE(holds(ctrl_first_error(),
                      "connect() call timed out for host: [127.0.0.1]. Probably due to a Firewall."));
    for (const PlSocket socket : waiting)
        pl_socket_close(socket);
    pl_socket_close(held);
    pl_socket_close(listener);
    pl_net_stop();
}

TEST_F(Control, TheExitCodeIsFoundWhereverItStandsAndNoDataAreLost)
{
    const std::string large(100000, 'd');
    for (int position = 0; position < 6; ++position) {
        const auto behaviour = [&](const DaemonCall &call) {
            daemon_send(call.first, kZero);
            const intptr_t second = call.port.empty() ? call.first : call.call_back();
            const intptr_t with_code = position % 2 == 0 ? call.first : second,
                           other = position % 2 == 0 ? second : call.first;
            const auto code = [&](int at) {
                if (position / 2 == at)
                    pl_socket_send_urgent(with_code, 200);
            };
            code(0);
            daemon_send(other, "other");
            daemon_send(with_code, "one " + large);
            code(1);
            daemon_send(with_code, " two");
            code(2);
            if (second != call.first)
                pl_socket_close(second);
            daemon_input(call.first);
        };
        for (const char *options : {"", "-s"}) {
            EXPECT_EQ(call(behaviour, options), 200) << position << options;
            const std::string all = read("out") + read("err");
            EXPECT_EQ(all.size(), 5 + 4 + large.size() + 4) << position << options;
            EXPECT_TRUE(all.find("other") != std::string::npos && all.find(" two") != std::string::npos);
        }
    }
}

// The system resets a connection that is closed with unread input; what was sent before has to arrive all the same.
TEST_F(Control, TheExitCodeSurvivesADaemonThatClosesWithoutReading)
{
    const std::string half(20000, 'd');
    for (int position = 0; position < 8; ++position) {
        const bool on_second = (position & 1) != 0, data_behind = (position & 2) != 0,
                   at_once = (position & 4) != 0;
        const auto behaviour = [&](const DaemonCall &call) {
            daemon_send(call.first, kZero);
            const intptr_t second = call.call_back(), with_code = on_second ? second : call.first;
            PlSocketWait input = {call.first, kPlReadable, 0};
            if (!at_once) // else it comes when nobody is there any more
                pl_socket_wait(&input, 1, kPlNoLimit);
            daemon_send(call.first, half);
            daemon_send(second, half);
            pl_socket_send_urgent(with_code, 42);
            if (data_behind)
                daemon_send(with_code, half);
            pl_socket_close(second);
        };
        ControlDaemon daemon(behaviour);
        for (int round = 0; round < 50; ++round) {
            write("in", "unread\n");
            write("out", "");
            write("err", "");
            ASSERT_EQ(call(daemon.port(), "", "x"), 42) << position << ": " << ctrl_first_error();
            ASSERT_EQ(read("out").size() + read("err").size(), half.size() * (data_behind ? 3 : 2))
                << position;
        }
    }
    ControlDaemon daemon(run_command_and_leave);
    write("out", "");
    for (int round = 0; round < 20; ++round)
        for (const char *options : {"", "-s"})
            ASSERT_EQ(call(daemon.port(), options, "echo done & exit 9"), 9) << options << ctrl_first_error();
    EXPECT_EQ(lines("out").size(), 40u);
}

TEST_F(Control, ADaemonThatSaysNothingIsGivenUpWithItsTimeOut)
{
    control_timing.second_ms = 1;
    const auto say = [](const std::string &text) {
        return [text](const DaemonCall &call) {
            daemon_send(call.first, text);
            daemon_input(call.first); // until the client has gone
        };
    };
    const auto silent_call_back = [](const DaemonCall &call) {
        daemon_send(call.first, kZero);
        const intptr_t second = call.call_back();
        pl_socket_shutdown(call.first);
        daemon_input(second);
        pl_socket_close(second);
    };
    const DaemonBehaviour silent[] = {say(""), say("X"), say("Xno permit"), say("Xno permit\n"),
                                      silent_call_back};
    for (const DaemonBehaviour &behaviour : silent) {
        EXPECT_EQ(call(behaviour, "", 2), 253);
        EXPECT_STREQ(ctrl_first_error(),
                     "no answer from the control daemon within 122 s for host: [127.0.0.1].");
    }
}

// A daemon whose command ends with code while the client's input, or the other channel, has no end.
DaemonBehaviour ending_with(uint8_t code)
{
    return [code](const DaemonCall &call) {
        daemon_send(call.first, kZero);
        const intptr_t second = call.call_back();
        daemon_send(call.first, "out\n");
        pl_socket_send_urgent(call.first, code);
        daemon_input(second); // until the client has closed it
        pl_socket_close(second);
    };
}

TEST_F(Control, PeersThatAreSlowOrSilentHoldNobodyUp)
{
    const auto late = [](const DaemonCall &call) {
        daemon_send(call.first, kZero);
        wait_msec(50);
        const intptr_t second = call.call_back();
        pl_socket_send_urgent(second, 4);
        pl_socket_close(second);
        daemon_input(call.first);
    };
    control_timing.idle_ms = 10; // nothing comes behind the code
    EXPECT_EQ(call(late), 4) << ctrl_first_error();
    EXPECT_EQ(call(ending_with(5)), 5) << "the error channel stays silent";
    EXPECT_EQ(read("out"), "out\n");
    const auto twice = [](const DaemonCall &call) {
        daemon_send(call.first, kZero);
        const intptr_t second = call.call_back();
        for (const intptr_t socket : {call.first, second}) {
            daemon_send(socket, "text\n");
            pl_socket_send_urgent(socket, 7);
        }
        daemon_input(second); // until the client has closed it
        pl_socket_close(second);
    };
    EXPECT_EQ(call(twice), 7) << "the code on both channels";
    EXPECT_EQ(read("out") + read("err"), "text\ntext\n");
    ControlDaemon daemon(ending_with(6)); // and never reads
    write("in", std::string(large_size(2, 20) << 20, 'i'));
    EXPECT_EQ(call(daemon.port(), "", "x"), 6);
}

TAMBA_CHILD(call_with_own_streams)
{
    control_timing.idle_ms = 20;
    return ctrlc_lib_call(arguments[0].c_str(), "127.0.0.1", "root", arguments[1].c_str(), "", "", "", 0);
}

TEST_F(Control, WithoutFilesTheProgramsOwnStreamsAreUsed)
{
    char self[1024] = "";
    pl_program_path(self, sizeof self);
    PlChildStreams streams;
    streams.pipe_input = streams.pipe_output = true;
    const auto run = [&](uint16_t port, bool input_ends) {
        PlChild child;
        int32_t code = -1;
        size_t put = 0;
        const std::string line = "\"" + std::string(self) + "\" --child call_with_own_streams . " +
                                 std::to_string(port) + " \"\\\"" + self + "\\\" --child copy_input .\"";
        EXPECT_EQ(pl_child_start(self, line.c_str(), streams, &child), PlChildStart::done);
        EXPECT_TRUE(pl_write(child.input, "typed\n", 6, &put));
        if (input_ends)
            pl_close(child.input);
        std::string all, text(64, '#');
        while (iReadLine(child.output, text.data(), 64) == 1)
            all += std::string(text.c_str()) + "|";
        EXPECT_EQ(pl_wait(child.process, 30000), PlWait::ended);
        EXPECT_TRUE(pl_process_exit_code(child.process, &code));
        if (!input_ends)
            pl_close(child.input);
        for (const TB_HANDLE handle : {child.process, child.thread, child.output})
            pl_close(handle);
        return std::to_string(code) + " " + all;
    };
    ControlDaemon daemon, impatient(ending_with(7));
    EXPECT_EQ(run(daemon.port(), true), "0 ready|typed|end|");
    EXPECT_EQ(run(impatient.port(), false), "7 out|") << "input that never ends keeps nobody";
}

TAMBA_CHILD(serve_control_calls)
{
    ControlDaemon daemon;
    std::printf("%u\n", daemon.port());
    std::fflush(stdout);
    tell("serving");
    wait_for_go();
    return 0;
}

TEST_F(Control, WhateverCallFailsTheClientEndsWithAReasonAndLeavesNothingOpen)
{
    Child daemon("serve_control_calls"); // its own calls shall not fail
    ASSERT_TRUE(daemon.wait_for("serving"));
    const auto port = static_cast<uint16_t>(std::atoi(daemon.output().c_str()));
    write("in", "");
    control_timing.idle_ms = 20;
    ASSERT_EQ(call(port, "", "exit 3"), 3) << ctrl_first_error();
    const uint32_t before = open_handles();
    int32_t failures = 0;
    bool reached = true;
    for (int32_t nth = 1; reached && nth < 1000; ++nth) {
        pl_fault_arm(nth, PL_OTHER);
        const int32_t status = call(port, "", "exit 3", 2);
        reached = pl_fault_calls() >= nth;
        pl_fault_arm(0, PL_OK);
        EXPECT_TRUE(status == 3 || *ctrl_first_error()) << nth << ": " << status;
        failures += status == 3 ? 0 : 1;
    }
    EXPECT_FALSE(reached);
    EXPECT_GT(failures, 10) << "a call that fails is no success";
    // Where the wait for it failed an input thread is left behind, and closes what it holds when it is scheduled.
    for (int i = 0; i < 5000 && open_handles() > before; ++i)
        wait_msec(1);
    EXPECT_LE(open_handles(), before);
    daemon.go();
    EXPECT_EQ(daemon.wait(), 0);
}

TEST_F(Control, TwoHundredMegabytesEachWayThreadsTogether)
{
    const size_t kTotal = large_size(2, 200) << 20;
    size_t received = 0;
    bool intact = true;
    const auto pattern = [](size_t at) { return static_cast<char>(at * 31 + (at >> 13)); };
    const auto behaviour = [&](const DaemonCall &call) {
        daemon_send(call.first, kZero);
        const intptr_t second = call.call_back();
        iSetNonBlockmode(second, 1); // a whole buffer is sent all the same
        std::thread sender([&] {
            std::string block(65536, ' ');
            for (size_t sent = 0; sent < kTotal; sent += block.size()) {
                for (size_t i = 0; i < block.size(); ++i)
                    block[i] = pattern(sent + i);
                daemon_send(sent % (2 * block.size()) == 0 ? call.first : second, block);
            }
        });
        std::string block(65536, ' ');
        size_t got = 0;
        while (received < kTotal + 13 && pl_socket_receive(call.first, block.data(), block.size(), &got) &&
               got > 0)
            for (size_t i = 0; i < got; ++i, ++received)
                intact = intact && (received >= kTotal || block[i] == pattern(received));
        sender.join();
        iSetNonBlockmode(second, 0);
        pl_socket_send_urgent(second, 9);
        pl_socket_close(second);
    };
    {
        std::string all(kTotal, ' ');
        for (size_t i = 0; i < kTotal; ++i)
            all[i] = pattern(i);
        write("in", all);
    }
    ControlDaemon daemon(behaviour);
    EXPECT_EQ(call(daemon.port(), "", "x"), 9);
    EXPECT_EQ(received, kTotal + 13);
    EXPECT_TRUE(intact) << "the input arrives as it is";
    const std::string out = read_bytes("out"), err = read_bytes("err");
    ASSERT_EQ(out.size() + err.size(), kTotal);
    for (size_t i = 0; i < kTotal && intact; ++i) {
        const size_t block = i / 65536, place = block / 2 * 65536 + i % 65536;
        intact = (block % 2 == 0 ? out : err)[place] == pattern(i);
    }
    EXPECT_TRUE(intact) << "the output, too";
}

} // namespace
