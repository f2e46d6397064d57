// Setting up the connection to a control daemon.
#include <process/tb_ctrl.h>

#include <foundation/trace_scope.h>
#include <platform/clock.h>
#include <tamba/control.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <utility>

namespace {

using ErrorText = FixedText<1024>;

constexpr size_t kLongestRefusal = 65536; // a peer that never ends its line is no daemon

struct CallState {
    ErrorText first_error;
    int32_t exit_code = -1;
};
thread_local CallState t_call;

void keep_first(const char *text)
{
    own_trace("%s", text);
    if (!t_call.first_error.empty())
        return;
    std::string_view kept = text;
    while (!kept.empty() && std::string_view(" \r\n").find(kept.back()) != std::string_view::npos)
        kept.remove_suffix(1);
    t_call.first_error.assign(kept);
}

// A socket that is closed unless it is handed on.
class Socket {
public:
    explicit Socket(PlSocket socket = kPlNoSocket) : socket_(socket) {}
    ~Socket() { close(); }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    void take(PlSocket socket)
    {
        close();
        socket_ = socket;
    }
    PlSocket get() const { return socket_; }
    PlSocket release() { return std::exchange(socket_, kPlNoSocket); }
    explicit operator bool() const { return socket_ != kPlNoSocket; }

private:
    void close()
    {
        if (socket_ != kPlNoSocket)
            pl_socket_close(release());
    }
    PlSocket socket_;
};

struct Target {
    FixedText<1024> name;
    uint32_t address = 0;
    uint16_t port = 0;
};

bool resolve(const char *host, Target *target)
{
    if (pl_net_resolve(host, target->name.data(), target->name.capacity(), &target->address))
        return true;
    own_trace("gethostbyname() failed. Try again.");
    pl_sleep_ms(control_timing.resolve_pause_ms);
    return pl_net_resolve(host, target->name.data(), target->name.capacity(), &target->address);
}

int32_t connect_failed(const Target &target)
{
    if (pl_last_error().kind == PL_CONNECTION_REFUSED)
        return ctrl_call_failed(
            "connect() call failed. No one listening on the remote host address [%s] port [%d].",
            target.name.c_str(), target.port);
    return ctrl_call_failed("connect() call failed for host: [%s].", target.name.c_str());
}

// Connects in steps.  The socket returns at once from the beginning: switching it while a connect waits would not
// wake the connect.
int32_t connect_with_limit(PlSocket socket, const Target &target, int32_t timeout)
{
    if (!pl_socket_set_nonblocking(socket, true))
        return ctrl_call_failed("Setting socket options failed.");
    if (!pl_socket_connect(socket, target.address, target.port)) {
        if (pl_last_error().kind != PL_WOULD_BLOCK)
            return connect_failed(target);
        const int64_t tries = int64_t{timeout} * control_timing.connect_steps;
        int64_t step = 0;
        PlSocketWait wait = {socket, kPlConnected, 0};
        int32_t ready = 0;
        while (step < tries && (ready = pl_socket_wait(&wait, 1, control_timing.connect_step_ms)) == 0)
            if (++step == control_timing.connect_steps)
                own_trace("tb_ctrl::connect_timeout_thread: set socket for connect() to non-blocking mode");
        if (step >= tries)
            return ctrl_failed("connect() call timed out for host: [%s]. Probably due to a Firewall.",
                               target.name.c_str());
        if (ready < 0 || !pl_socket_outcome(socket))
            return connect_failed(target);
    }
    return pl_socket_set_nonblocking(socket, false) ? 0 : ctrl_call_failed("Setting socket options failed.");
}

int32_t connect(Socket *socket, const Target &target, int32_t timeout)
{
    socket->take(pl_socket_open());
    if (!*socket)
        return ctrl_call_failed("socket() call failed for first socket.");
    if (!pl_socket_set_options(socket->get()))
        return ctrl_call_failed("Setting socket options failed.");
    if (timeout > 0)
        return connect_with_limit(socket->get(), target, timeout);
    return pl_socket_connect(socket->get(), target.address, target.port) ? 0 : connect_failed(target);
}

// Binds to the first free port of the range; false when there is none.
bool bind_in_range(PlSocket socket, int32_t low, int32_t high)
{
    if (low == 0 && high == 0)
        return pl_socket_bind(socket, kPlAnyAddress, 0);
    for (int32_t port = std::max(low, 1); port <= std::min(high, 65535); ++port) {
        if (pl_socket_bind(socket, kPlAnyAddress, static_cast<uint16_t>(port)))
            return true;
        if (pl_last_error().kind != PL_ADDRESS_IN_USE)
            return false;
    }
    return false;
}

// A listener for the daemon's call-back; none when no port of the range is free.  port_text receives what the daemon is
// told: the port, or nothing.
int32_t listen_for_callback(Socket *listener, int32_t low, int32_t high, FixedText<8> *port_text)
{
    listener->take(pl_socket_open());
    if (!*listener)
        return ctrl_call_failed("socket() call failed for listener socket.");
    if (!bind_in_range(listener->get(), low, high)) {
        own_trace("no port for the error channel: %d - %d", low, high);
        listener->take(kPlNoSocket);
        return 0;
    }
    uint16_t port = 0;
    if (!pl_socket_listen(listener->get(), 1) || !pl_socket_port(listener->get(), &port) ||
        !pl_socket_set_nonblocking(listener->get(), true))
        return ctrl_call_failed("listen() call failed.");
    port_text->format("%d", static_cast<int>(port));
    return 0;
}

bool send_text(PlSocket socket, const char *text)
{
    return iSendBuffer(socket, text, static_cast<int32_t>(std::strlen(text) + 1)) == 1; // with its zero
}

// The daemon's answer, byte by byte; all of it has to come within one limit.
class Answer {
public:
    Answer(PlSocket socket, uint32_t limit_ms) : socket_(socket), limit_ms_(limit_ms) {}

    enum class Next { byte, end, late, failed };
    Next next(uint8_t *byte) const
    {
        PlSocketWait wait = {socket_, kPlReadable, 0};
        size_t got = 0;
        const int32_t ready = pl_socket_wait(&wait, 1, left());
        if (ready == 0)
            return Next::late;
        if (ready < 0 || !pl_socket_receive(socket_, byte, 1, &got))
            return Next::failed;
        return got == 1 ? Next::byte : Next::end;
    }

private:
    uint32_t left() const
    {
        const uint64_t passed = pl_tick_ms() - begin_;
        if (limit_ms_ == kPlNoLimit)
            return kPlNoLimit;
        return passed < limit_ms_ ? static_cast<uint32_t>(limit_ms_ - passed) : 0;
    }
    const PlSocket socket_;
    const uint32_t limit_ms_;
    const uint64_t begin_ = pl_tick_ms();
};

// The daemon refuses: its text up to a line feed, then its status.
int32_t refusal(const Answer &answer, const Target &target, int32_t timeout)
{
    ErrorText reply{"CTRLD reply: "};
    uint8_t c = 0, status = 0;
    Answer::Next came;
    for (size_t length = 0; (came = answer.next(&c)) == Answer::Next::byte && c != '\n'; ++length) {
        if (length == kLongestRefusal)
            break;
        const char text = static_cast<char>(c);
        reply.append(std::string_view(&text, 1));
    }
    if (came == Answer::Next::byte && c == '\n')
        came = answer.next(&status);
    if (came == Answer::Next::late) {
        own_trace("%s", reply.c_str());
        return ctrl_no_answer(timeout, target.name.c_str());
    }
    ctrl_failed("%s", reply.c_str());
    return status != 0 ? status : kControlFailure; // a refusal is never a success
}

int32_t read_status(PlSocket socket, const Target &target, int32_t timeout)
{
    const Answer answer(socket, ctrl_answer_ms(timeout));
    uint8_t status = 0;
    switch (answer.next(&status)) {
    case Answer::Next::failed:
        return ctrl_call_failed("recv() call failed.");
    case Answer::Next::end:
        return ctrl_failed("ERROR: Server listening on remote port is not a CTRLD Server");
    case Answer::Next::late:
        return ctrl_no_answer(timeout, target.name.c_str());
    case Answer::Next::byte:
        break;
    }
    return status == 0 ? 0 : refusal(answer, target, timeout);
}

// Whoever called back may have gone again: the listener does not wait for the next one.
int32_t accept_callback(PlSocket listener, int32_t timeout, Socket *second)
{
    const int64_t steps =
        timeout > 0 ? int64_t{timeout} * control_timing.accept_steps_per_second : control_timing.accept_steps;
    PlSocketWait wait = {listener, kPlReadable, 0};
    for (int64_t step = 0; step < steps;) {
        const int32_t ready = pl_socket_wait(&wait, 1, control_timing.accept_step_ms);
        second->take(ready > 0 ? pl_socket_accept(listener) : kPlNoSocket);
        if (*second)
            return pl_socket_set_options(second->get()) ? 0
                                                        : ctrl_call_failed("Setting socket options failed.");
        if (ready < 0 || (ready > 0 && pl_last_error().kind != PL_WOULD_BLOCK))
            return ctrl_call_failed("accept() call failed.");
        if (++step % 100 == 0)
            own_trace("waiting for the daemon to call back: %d of %d", static_cast<int>(step),
                      static_cast<int>(steps));
    }
    return ctrl_failed("accept() call timed out probably due to a Firewall.");
}

struct Request {
    int32_t low, high;
    bool single;
    const char *user, *cmd;
    int32_t timeout;
};

int32_t set_up(const Target &target, const Request &request, Socket *first, Socket *second)
{
    Socket listener;
    FixedText<8> port;
    if (const int32_t status = connect(first, target, request.timeout))
        return status;
    if (!request.single)
        if (const int32_t status = listen_for_callback(&listener, request.low, request.high, &port))
            return status;
    if (!send_text(first->get(), port.c_str()) || !send_text(first->get(), request.user) ||
        !send_text(first->get(), request.cmd))
        return ctrl_call_failed("send() call failed.");
    if (const int32_t status = read_status(first->get(), target, request.timeout))
        return status;
    return listener ? accept_callback(listener.get(), request.timeout, second) : 0;
}

} // namespace

int32_t ctrl_failed(const char *format, ...)
{
    ErrorText text;
    va_list arguments;
    va_start(arguments, format);
    format_text_v(text.data(), text.capacity(), format, arguments);
    va_end(arguments);
    keep_first(text.c_str());
    return kControlFailure;
}

int32_t ctrl_call_failed(const char *format, ...)
{
    const int32_t number = pl_last_error().number;
    char reason[256] = "";
    pl_error_text(number, reason, sizeof reason);
    ErrorText text, whole;
    va_list arguments;
    va_start(arguments, format);
    format_text_v(text.data(), text.capacity(), format, arguments);
    va_end(arguments);
    whole.format("%s (%d) %s", text.c_str(), number, reason);
    keep_first(whole.c_str());
    return kControlFailure;
}

int32_t ctrl_not_written()
{
    return ctrl_failed("the command's output could not be written");
}

uint32_t ctrl_answer_ms(int32_t timeout)
{
    if (timeout <= 0)
        return kPlNoLimit;
    const int64_t seconds = int64_t{timeout} + control_timing.answer_seconds;
    return static_cast<uint32_t>(std::min<int64_t>(seconds * control_timing.second_ms, kPlNoLimit - 1));
}

int32_t ctrl_no_answer(int32_t timeout, const char *host)
{
    return ctrl_failed(
        "no answer from the control daemon within %d s for host: [%s].",
        static_cast<int>(std::min<int64_t>(int64_t{timeout} + control_timing.answer_seconds, INT32_MAX)),
        host);
}

const char *ctrl_first_error()
{
    return t_call.first_error.c_str();
}

int32_t ctrl_exit_code()
{
    return t_call.exit_code;
}

void ctrl_begin_call()
{
    t_call = {};
}

void ctrl_set_exit_code(int32_t code)
{
    t_call.exit_code = code;
}

int32_t ctrl_connect(const char *host, int32_t port, int32_t low, int32_t high, int32_t single,
                     const char *user, const char *cmd, int32_t timeout, intptr_t *first, intptr_t *second)
{
    *first = *second = kPlNoSocket;
    if (!pl_net_start())
        return ctrl_call_failed("WSAStartup() call failed.");
    Target target;
    int32_t status = 0;
    {
        Socket one, two;
        if (port < 1 || port > 65535)
            status = ctrl_failed("connect() call failed for host: [%s]. There is no port %d.",
                                 text_or_empty(host), port);
        else if (!resolve(text_or_empty(host), &target))
            status = ctrl_call_failed("gethostbyname() call failed for host: [%s]", text_or_empty(host));
        target.port = static_cast<uint16_t>(port);
        if (status == 0)
            status =
                set_up(target, {low, high, single != 0, text_or_empty(user), text_or_empty(cmd), timeout},
                       &one, &two);
        if (status == 0) {
            *first = one.release();
            *second = two.release();
        }
    }
    if (status != 0)
        pl_net_stop();
    return status;
}
