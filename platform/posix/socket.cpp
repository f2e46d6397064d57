#include <platform/socket.h>

#include <platform/fault.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/errors.h>
#include <platform/posix/waiting.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

constexpr int kLingerSeconds = 60;
constexpr size_t kMostSockets = 4;

int number(PlSocket socket)
{
    return static_cast<int>(socket);
}

sockaddr_in address_of(uint32_t address, uint16_t port)
{
    sockaddr_in whole = {};
    whole.sin_family = AF_INET;
    whole.sin_addr.s_addr = address;
    whole.sin_port = htons(port);
    return whole;
}

template <class Call> bool with_address(const sockaddr_in &whole, Call call)
{
    return !pl_fault() &&
           (call(reinterpret_cast<const sockaddr *>(&whole), socklen_t{sizeof whole}) == 0 || pl_fail(errno));
}

bool set_option(PlSocket socket, int level, int option, const void *value, size_t size)
{
    return setsockopt(number(socket), level, option, value, static_cast<socklen_t>(size)) == 0 ||
           pl_fail(errno);
}

bool resolve_failed(int code)
{
    return code == EAI_SYSTEM ? pl_fail(errno) : pl_fail(PL_OTHER, kResolverErrors - code);
}

} // namespace

bool pl_net_start()
{
    return !pl_fault();
}

void pl_net_stop() {}

bool pl_net_resolve(const char *host, char *official, size_t size, uint32_t *address)
{
    if (pl_fault())
        return false;
    addrinfo wanted = {}, *found = nullptr;
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_CANONNAME;
    if (const int code = getaddrinfo(host, nullptr, &wanted, &found); code != 0)
        return resolve_failed(code);
    *address = reinterpret_cast<const sockaddr_in *>(found->ai_addr)->sin_addr.s_addr;
    std::snprintf(official, size, "%s", found->ai_canonname ? found->ai_canonname : host);
    freeaddrinfo(found);
    return true;
}

PlSocket pl_socket_open()
{
    const int fd = pl_fault() ? -1 : above_standard(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd < 0)
        pl_fail(errno);
    return fd < 0 ? kPlNoSocket : fd;
}

bool pl_socket_close(PlSocket socket)
{
    return close(number(socket)) == 0 || errno == EINTR || pl_fail(errno);
}

bool pl_socket_set_options(PlSocket socket)
{
    const int on = 1;
    const linger wait = {1, kLingerSeconds};
    return !pl_fault() && set_option(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) &&
           set_option(socket, SOL_SOCKET, SO_LINGER, &wait, sizeof wait) &&
           set_option(socket, SOL_SOCKET, SO_OOBINLINE, &on, sizeof on);
}

bool pl_socket_set_nonblocking(PlSocket socket, bool on)
{
    const int flags = fcntl(number(socket), F_GETFL);
    if (flags < 0 || pl_fault())
        return pl_fail(errno);
    return fcntl(number(socket), F_SETFL, on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) == 0 ||
           pl_fail(errno);
}

bool pl_socket_connect(PlSocket socket, uint32_t address, uint16_t port)
{
    return with_address(address_of(address, port), [&](const sockaddr *to, socklen_t size) {
        const int result = connect(number(socket), to, size);
        if (result == 0 || errno != EINTR)
            return result;
        // The connection goes on without the call.
        PlSocketWait wait = {socket, kPlWritable, 0};
        pl_socket_wait(&wait, 1, kPlNoLimit);
        const bool connected = pl_socket_outcome(socket);
        errno = connected ? 0 : pl_last_error().number;
        return connected ? 0 : -1;
    });
}

bool pl_socket_outcome(PlSocket socket)
{
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(number(socket), SOL_SOCKET, SO_ERROR, &error, &size) != 0)
        return pl_fail(errno);
    return error == 0 || pl_fail(error);
}

bool pl_socket_bind(PlSocket socket, uint32_t address, uint16_t port)
{
    return with_address(address_of(address, port),
                        [&](const sockaddr *to, socklen_t size) { return bind(number(socket), to, size); });
}

bool pl_socket_listen(PlSocket socket, int backlog)
{
    return !pl_fault() && (listen(number(socket), backlog) == 0 || pl_fail(errno));
}

bool pl_socket_port(PlSocket socket, uint16_t *port)
{
    sockaddr_in own = {};
    socklen_t size = sizeof own;
    if (getsockname(number(socket), reinterpret_cast<sockaddr *>(&own), &size) != 0)
        return pl_fail(errno);
    *port = ntohs(own.sin_port);
    return true;
}

bool pl_socket_peer(PlSocket socket, uint32_t *address)
{
    sockaddr_in other = {};
    socklen_t size = sizeof other;
    if (getpeername(number(socket), reinterpret_cast<sockaddr *>(&other), &size) != 0)
        return pl_fail(errno);
    *address = other.sin_addr.s_addr;
    return true;
}

PlSocket pl_socket_accept(PlSocket listener)
{
    if (pl_fault())
        return kPlNoSocket;
    const int fd = above_standard(
        again_after_signal([&] { return accept4(number(listener), nullptr, nullptr, SOCK_CLOEXEC); }));
    if (fd < 0)
        pl_fail(errno);
    return fd < 0 ? kPlNoSocket : fd;
}

int32_t pl_socket_wait(PlSocketWait *sockets, size_t count, uint32_t milliseconds)
{
    pollfd entries[kMostSockets] = {};
    count = std::min(count, kMostSockets);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t wanted = sockets[i].wanted;
        entries[i].fd = sockets[i].socket == kPlNoSocket ? -1 : number(sockets[i].socket);
        entries[i].events = static_cast<short>((wanted & (kPlReadable | kPlUrgent) ? POLLIN : 0) |
                                               (wanted & (kPlWritable | kPlConnected) ? POLLOUT : 0));
    }
    const int ready = poll_until(entries, count, milliseconds);
    if (ready < 0)
        pl_fail(errno);
    for (size_t i = 0; i < count; ++i) {
        const int events = entries[i].revents;
        const bool over = (events & (POLLHUP | POLLERR | POLLNVAL)) != 0;
        const uint32_t all = ((events & POLLIN) != 0 || over ? kPlReadable | kPlUrgent : 0u) |
                             ((events & POLLOUT) != 0 || over ? kPlWritable | kPlConnected : 0u);
        sockets[i].ready = all & sockets[i].wanted;
    }
    return ready;
}

bool pl_socket_receive(PlSocket socket, void *buffer, size_t size, size_t *got)
{
    *got = 0;
    if (pl_fault())
        return false;
    const ssize_t count = again_after_signal([&] { return recv(number(socket), buffer, size, 0); });
    if (count < 0)
        return pl_fail(errno);
    *got = static_cast<size_t>(count);
    return true;
}

// No receive passes the mark, so that the byte behind it is alone when it is asked for.
bool pl_socket_receive_marked(PlSocket socket, void *buffer, size_t size, size_t *got, bool *urgent)
{
    const bool at_mark = sockatmark(number(socket)) == 1;
    const bool received = pl_socket_receive(socket, buffer, at_mark ? 1 : size, got);
    *urgent = at_mark && *got == 1;
    return received;
}

bool pl_socket_send(PlSocket socket, const void *data, size_t size, size_t *sent)
{
    *sent = 0;
    if (pl_fault())
        return false;
    const ssize_t count = again_after_signal([&] { return send(number(socket), data, size, MSG_NOSIGNAL); });
    if (count < 0)
        return pl_fail(errno);
    *sent = static_cast<size_t>(count);
    return true;
}

bool pl_socket_send_urgent(PlSocket socket, uint8_t byte)
{
    return again_after_signal([&] { return send(number(socket), &byte, 1, MSG_OOB | MSG_NOSIGNAL); }) == 1 ||
           pl_fail(errno);
}

void pl_socket_shutdown(PlSocket socket)
{
    shutdown(number(socket), SHUT_RDWR);
}
