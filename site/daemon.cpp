#include <site/daemon.h>

#include <platform/child_pipe.h>
#include <platform/process.h>
#include <platform/socket.h>
#include <tamba/control.h>

#include <algorithm>
#include <cstdlib>

namespace {

const std::string kEndOfInput("END OF STDIN\0", 13);

// A text up to its zero; false at the end of the connection.
bool read_text(intptr_t socket, std::string *text)
{
    text->clear();
    char c = 0;
    size_t got = 0;
    while (pl_socket_receive(socket, &c, 1, &got) && got == 1) {
        if (c == '\0')
            return true;
        *text += c;
    }
    return false;
}

// The client's input, handed to the command as it comes.
void feed_input(intptr_t socket, TB_HANDLE input)
{
    std::string held; // what may be the beginning of the end
    char block[4096];
    size_t got = 0, put = 0;
    while (pl_socket_receive(socket, block, sizeof block, &got) && got > 0) {
        held.append(block, got);
        const bool ended = held.ends_with(kEndOfInput);
        const size_t ready = ended ? held.size() - kEndOfInput.size()
                                   : held.size() - std::min(held.size(), kEndOfInput.size());
        static_cast<void>(
            pl_write(input, held.data(), ready, &put)); // a command need not read all of its input
        held.erase(0, ready);
        if (ended)
            break;
    }
    pl_close(input);
}

void send_output(intptr_t socket, TB_HANDLE output)
{
    char block[4096];
    size_t got = 0;
    while (pl_read(output, block, sizeof block, &got))
        iSendBuffer(socket, block, static_cast<int32_t>(got));
    pl_close(output);
}

// True when the client's input has begun.
bool input_waits(intptr_t socket)
{
    PlSocketWait wait = {socket, kPlReadable, 0};
    return pl_socket_wait(&wait, 1, kPlNoLimit) > 0;
}

void run(const DaemonCall &call, bool reads)
{
    daemon_send(call.first, std::string(1, '\0'));
    const intptr_t second = call.port.empty() ? call.first : call.call_back();
    PlChildStreams streams;
    streams.pipe_input = streams.pipe_output = streams.pipe_error = true;
    PlChild child;
    int32_t code = 255;
    if (pl_child_start(nullptr, pl_script_command(call.command.c_str()).c_str(), streams, &child) ==
        PlChildStart::done) {
        std::thread input, errors(send_output, second, child.errors);
        if (reads)
            input = std::thread(feed_input, call.first, child.input);
        else
            pl_close(child.input);
        send_output(call.first, child.output);
        errors.join();
        pl_wait(child.process, kPlForever);
        if (!pl_process_exit_code(child.process, &code))
            code = 255;
        pl_close(child.process);
        pl_close(child.thread);
        pl_socket_send_urgent(second, static_cast<uint8_t>(code));
        if (reads) {
            pl_socket_shutdown(call.first); // the input that still comes is nobody's any more
            input.join();
        } else {
            input_waits(call.first);
        }
    } else {
        daemon_send(second, "the shell cannot be started\n");
        pl_socket_send_urgent(second, static_cast<uint8_t>(code));
    }
    if (second != call.first && second != kPlNoSocket)
        pl_socket_close(second);
}

} // namespace

bool daemon_send(intptr_t socket, const std::string &text)
{
    return iSendBuffer(socket, text.data(), static_cast<int32_t>(text.size())) == 1;
}

std::string daemon_input(intptr_t socket)
{
    std::string all;
    char block[4096];
    size_t got = 0;
    while (!all.ends_with(kEndOfInput) && pl_socket_receive(socket, block, sizeof block, &got) && got > 0)
        all.append(block, got);
    return all;
}

intptr_t DaemonCall::call_back() const
{
    const PlSocket socket = pl_socket_open();
    pl_socket_set_options(socket);
    if (pl_socket_connect(socket, client, static_cast<uint16_t>(std::atoi(port.c_str()))))
        return socket;
    pl_socket_close(socket);
    return kPlNoSocket;
}

void run_command(const DaemonCall &call)
{
    run(call, true);
}

void run_command_and_leave(const DaemonCall &call)
{
    run(call, false);
}

ControlDaemon::ControlDaemon(DaemonBehaviour behaviour, uint16_t port) : behaviour_(std::move(behaviour))
{
    uint32_t loopback = 0;
    char name[256];
    pl_net_start();
    listener_ = pl_socket_open();
    if (pl_net_resolve("127.0.0.1", name, sizeof name, &loopback) &&
        pl_socket_bind(listener_, loopback, port) && pl_socket_listen(listener_, 8))
        pl_socket_port(listener_, &port_);
    thread_ = std::thread([this] { serve(); });
}

ControlDaemon::~ControlDaemon()
{
    // A call of its own wakes the daemon.
    if (thread_.joinable()) {
        const DaemonCall last = {-1, std::to_string(port_), "", "", 0x0100007Fu};
        ending_ = true;
        if (const intptr_t socket = last.call_back(); socket != kPlNoSocket)
            pl_socket_close(socket);
        thread_.join();
    }
    pl_socket_close(listener_);
    pl_net_stop();
}

void ControlDaemon::serve()
{
    for (;;) {
        DaemonCall call;
        call.first = pl_socket_accept(listener_);
        if (call.first == kPlNoSocket)
            return;
        pl_socket_set_options(call.first); // what still waits to be sent is lost in a reset
        if (!ending_ && read_text(call.first, &call.port) && read_text(call.first, &call.user) &&
            read_text(call.first, &call.command) && pl_socket_peer(call.first, &call.client))
            behaviour_(call);
        pl_socket_close(call.first);
        if (ending_)
            return;
    }
}
