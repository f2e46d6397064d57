// Programs, pipes and hosts.
#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <site/daemon.h>

#include <platform/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void give_up(const char *what)
{
    std::perror(what);
    std::abort();
}

// ---- starting programs ------------------------------------------------------------------------------------------

// A small program of the system under a name with an ending, which the library takes as it stands.
std::string program(const std::string &name)
{
    const std::string link = bench_site().path("work/" + name + ".exe");
    std::error_code ignored; // it may be there
    std::filesystem::create_symlink("/bin/" + name, link, ignored);
    return link;
}

void bare_start(benchmark::State &state)
{
    std::string path = program("true");
    char *const arguments[] = {path.data(), nullptr};
    for (auto _ : state) {
        pid_t pid = 0;
        int status = 0;
        if (posix_spawn(&pid, path.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(pid, &status, 0) != pid || status != 0)
            give_up("posix_spawn");
    }
}

void our_start(benchmark::State &state)
{
    const std::string path = program("true");
    for (auto _ : state)
        if (start_proc(path.c_str()) != 0)
            state.SkipWithError("the program did not end with 0");
}

void bare_pipe(benchmark::State &state)
{
    const std::string command = program("echo") + " line";
    for (auto _ : state) {
        FILE *const pipe = popen(command.c_str(), "r");
        char line[64];
        while (pipe && std::fgets(line, sizeof line, pipe))
            benchmark::DoNotOptimize(line);
        if (!pipe || pclose(pipe) != 0)
            give_up("popen");
    }
}

void our_pipe(benchmark::State &state)
{
    const std::string command = program("echo") + " line";
    for (auto _ : state) {
        PIPE pipe{};
        char msg[512], line[64];
        if (iPIPE_OPEN(command.c_str(), "r", msg, sizeof msg, &pipe) != 1)
            state.SkipWithError(msg);
        while (iPIPE_READ(&pipe, line, sizeof line) == 1)
            benchmark::DoNotOptimize(line);
        if (iPIPE_CLOSE(&pipe) != 0)
            state.SkipWithError("the program did not end with 0");
    }
}

// ---- messages ---------------------------------------------------------------------------------------------------

constexpr char kMessage[] = "drive 3: DAILY00017 mounted";

void our_message(benchmark::State &state)
{
    IPC receiver{}, sender{};
    char text[512];
    int32_t length = 0;
    if (iIPC_OPEN("tamba-bench", &receiver, 'r') != 1 || iIPC_OPEN("tamba-bench", &sender, 'w') != 1)
        state.SkipWithError("no channel");
    for (auto _ : state) {
        int32_t outcome = 1;
        iIPC_SEND(&sender, kMessage);
        while (outcome == 1) // 1: a sender has come, a message not yet
            outcome = iIPC_RECEIVE(&receiver, text, sizeof text, &length);
        if (outcome != 2 || length != sizeof kMessage)
            state.SkipWithError("the message did not arrive");
    }
    iIPC_CLOSE(&sender);
    iIPC_CLOSE(&receiver);
}

void bare_message(benchmark::State &state)
{
    int ends[2];
    char text[512];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0)
        give_up("socketpair");
    for (auto _ : state)
        if (send(ends[0], kMessage, sizeof kMessage, 0) != sizeof kMessage ||
            recv(ends[1], text, sizeof text, 0) != sizeof kMessage)
            give_up("send");
    close(ends[0]);
    close(ends[1]);
}

// ---- the control client's relay ---------------------------------------------------------------------------------

constexpr size_t kOutput = size_t{64} << 20;

// Takes the whole input first, so that the connection ends cleanly, then sends as fast as it can.
void send_output(const DaemonCall &call)
{
    static const std::string block(size_t{64} << 10, 'o');
    daemon_send(call.first, std::string(1, '\0'));
    daemon_input(call.first);
    for (size_t sent = 0; sent < kOutput; sent += block.size())
        daemon_send(call.first, block);
    pl_socket_send_urgent(call.first, 0);
}

const ControlDaemon &daemon()
{
    static const ControlDaemon running(send_output);
    return running;
}

void check_size(benchmark::State &state, const std::string &file, size_t expected)
{
    FILE *const stream = std::fopen(file.c_str(), "rb");
    if (!stream || std::fseek(stream, 0, SEEK_END) != 0 || std::ftell(stream) != static_cast<long>(expected))
        state.SkipWithError("not all of the output has come");
    if (stream)
        std::fclose(stream);
    std::remove(file.c_str());
}

void our_relay(benchmark::State &state)
{
    const std::string in = bench_site().path("work/in"), out = bench_site().path("work/out");
    raw_write(in, "", 0);
    const std::string port = std::to_string(daemon().port()) + ":-s";
    for (auto _ : state) {
        if (ctrlc_lib_call(port.c_str(), "127.0.0.1", "root", "x", in.c_str(), out.c_str(), "", 0) != 0)
            state.SkipWithError("the call failed");
        state.PauseTiming();
        check_size(state, out, kOutput);
        state.ResumeTiming();
    }
}

void bare_relay(benchmark::State &state)
{
    static const char hello[] = "\0root\0x", end[] = "END OF STDIN";
    const std::string out = bench_site().path("work/out");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(daemon().port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (auto _ : state) {
        const int peer = socket(AF_INET, SOCK_STREAM, 0);
        const int file = open(out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
        char block[1024];
        if (file < 0 || connect(peer, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
            send(peer, hello, sizeof hello, 0) != sizeof hello || recv(peer, block, 1, 0) != 1 ||
            send(peer, end, sizeof end, 0) != sizeof end)
            give_up("connect");
        for (ssize_t got; (got = recv(peer, block, sizeof block, 0)) > 0;)
            if (write(file, block, static_cast<size_t>(got)) != got)
                give_up("write");
        close(peer);
        close(file);
        state.PauseTiming();
        check_size(state, out, kOutput);
        state.ResumeTiming();
    }
}

} // namespace

void add_process_rows()
{
    add_pair("start_proc", 1.2, our_start, bare_start, "posix_spawn, waitpid");
    add_pair("iPIPE_OPEN, _READ, _CLOSE", 1.2, our_pipe, bare_pipe, "popen, fgets, pclose");
    add_pair("iIPC_SEND, iIPC_RECEIVE", 1.5, our_message, bare_message, "send, recv of a packet socket");
    add_pair("ctrlc_lib_call, 64 MiB of output", 1.11, our_relay, bare_relay, "recv of 1024, write");
}
