// In front of the system's header.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <platform/socket.h>

#include <platform/fault.h>
#include <platform/win32/child_process.h>
#include <platform/win32/errors.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr u_short kLingerSeconds = 60;

SOCKET number(PlSocket socket)
{
    return static_cast<SOCKET>(socket);
}

bool fail_socket()
{
    return pl_fail(static_cast<uint32_t>(WSAGetLastError()));
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
           (call(reinterpret_cast<const sockaddr *>(&whole), int{sizeof whole}) == 0 || fail_socket());
}

bool set_option(PlSocket socket, int level, int option, const void *value, int size)
{
    return setsockopt(number(socket), level, option, static_cast<const char *>(value), size) == 0 ||
           fail_socket();
}

PlSocket own(SOCKET socket)
{
    if (socket == INVALID_SOCKET) {
        fail_socket();
        return kPlNoSocket;
    }
    SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
    return static_cast<PlSocket>(socket);
}

} // namespace

bool pl_net_start()
{
    WSADATA data;
    if (pl_fault())
        return false;
    const int error = WSAStartup(MAKEWORD(2, 2), &data);
    return error == 0 || pl_fail(static_cast<uint32_t>(error));
}

void pl_net_stop()
{
    WSACleanup();
}

bool pl_net_resolve(const char *host, char *official, size_t size, uint32_t *address)
{
    if (pl_fault())
        return false;
    addrinfo wanted = {}, *found = nullptr;
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_CANONNAME;
    if (const int code = getaddrinfo(host, nullptr, &wanted, &found); code != 0)
        return pl_fail(static_cast<uint32_t>(code));
    *address = reinterpret_cast<const sockaddr_in *>(found->ai_addr)->sin_addr.s_addr;
    std::snprintf(official, size, "%s", found->ai_canonname ? found->ai_canonname : host);
    freeaddrinfo(found);
    return true;
}

PlSocket pl_socket_open()
{
    if (pl_fault())
        return kPlNoSocket;
    const std::lock_guard spawns(spawn_lock()); // no program that starts meanwhile inherits it
    return own(WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED));
}

// A socket that returns at once would not be closed while something is still to be sent.
bool pl_socket_close(PlSocket socket)
{
    u_long waits = 0;
    ioctlsocket(number(socket), FIONBIO, &waits);
    return closesocket(number(socket)) == 0 || fail_socket();
}

bool pl_socket_set_options(PlSocket socket)
{
    const BOOL on = TRUE;
    const linger wait = {1, kLingerSeconds};
    return !pl_fault() && set_option(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) &&
           set_option(socket, SOL_SOCKET, SO_LINGER, &wait, sizeof wait);
}

bool pl_socket_set_nonblocking(PlSocket socket, bool on)
{
    u_long value = on ? 1 : 0;
    return !pl_fault() && (ioctlsocket(number(socket), FIONBIO, &value) == 0 || fail_socket());
}

bool pl_socket_connect(PlSocket socket, uint32_t address, uint16_t port)
{
    return with_address(address_of(address, port),
                        [&](const sockaddr *to, int size) { return connect(number(socket), to, size); });
}

bool pl_socket_outcome(PlSocket socket)
{
    DWORD error = 0;
    int size = sizeof error;
    if (getsockopt(number(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char *>(&error), &size) != 0)
        return fail_socket();
    return error == 0 || pl_fail(error);
}

bool pl_socket_bind(PlSocket socket, uint32_t address, uint16_t port)
{
    return with_address(address_of(address, port),
                        [&](const sockaddr *to, int size) { return bind(number(socket), to, size); });
}

bool pl_socket_listen(PlSocket socket, int backlog)
{
    return !pl_fault() && (listen(number(socket), backlog) == 0 || fail_socket());
}

bool pl_socket_port(PlSocket socket, uint16_t *port)
{
    sockaddr_in address = {};
    int size = sizeof address;
    if (getsockname(number(socket), reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return fail_socket();
    *port = ntohs(address.sin_port);
    return true;
}

bool pl_socket_peer(PlSocket socket, uint32_t *address)
{
    sockaddr_in other = {};
    int size = sizeof other;
    if (getpeername(number(socket), reinterpret_cast<sockaddr *>(&other), &size) != 0)
        return fail_socket();
    *address = other.sin_addr.s_addr;
    return true;
}

PlSocket pl_socket_accept(PlSocket listener)
{
    if (pl_fault())
        return kPlNoSocket;
    // As above.  A call that has to wait for its client cannot hold the lock.
    std::unique_lock spawns(spawn_lock(), std::defer_lock);
    PlSocketWait waiting = {listener, kPlReadable, 0};
    if (pl_socket_wait(&waiting, 1, 0) > 0)
        spawns.lock();
    const PlSocket accepted = own(accept(number(listener), nullptr, nullptr));
    if (accepted != kPlNoSocket) { // it has the listener's mode
        u_long blocking = 0;
        ioctlsocket(number(accepted), FIONBIO, &blocking);
    }
    return accepted;
}

int32_t pl_socket_wait(PlSocketWait *sockets, size_t count, uint32_t milliseconds)
{
    fd_set read, write, except;
    FD_ZERO(&read);
    FD_ZERO(&write);
    FD_ZERO(&except);
    bool any = false;
    for (size_t i = 0; i < count; ++i) {
        sockets[i].ready = 0;
        if (sockets[i].socket == kPlNoSocket)
            continue;
        any = true;
        const SOCKET socket = number(sockets[i].socket);
        if ((sockets[i].wanted & (kPlReadable | kPlUrgent)) != 0)
            FD_SET(socket, &read);
        if ((sockets[i].wanted & (kPlWritable | kPlConnected)) != 0)
            FD_SET(socket, &write);
        if ((sockets[i].wanted & (kPlUrgent | kPlConnected)) != 0)
            FD_SET(socket, &except); // an urgent byte, or a connection that has failed
    }
    if (!any) { // the system refuses to wait for nothing
        Sleep(milliseconds);
        return 0;
    }
    timeval limit = {static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000};
    if (select(0, &read, &write, &except, milliseconds == kPlNoLimit ? nullptr : &limit) < 0) {
        fail_socket();
        return -1;
    }
    int32_t ready = 0;
    for (size_t i = 0; i < count; ++i) {
        if (sockets[i].socket == kPlNoSocket)
            continue;
        const SOCKET socket = number(sockets[i].socket);
        const bool exception = FD_ISSET(socket, &except) != 0, readable = FD_ISSET(socket, &read) != 0,
                   writable = FD_ISSET(socket, &write) != 0;
        // The end of the data may be reported without the urgent byte in front of it.
        const uint32_t all = (readable ? kPlReadable | kPlUrgent : 0u) |
                             (exception ? kPlUrgent | kPlConnected : 0u) |
                             (writable ? kPlWritable | kPlConnected : 0u);
        sockets[i].ready = all & sockets[i].wanted;
        ready += sockets[i].ready != 0 ? 1 : 0;
    }
    return ready;
}

bool pl_socket_receive(PlSocket socket, void *buffer, size_t size, size_t *got)
{
    *got = 0;
    if (pl_fault())
        return false;
    const int count = recv(number(socket), static_cast<char *>(buffer), static_cast<int>(size), 0);
    if (count < 0)
        return fail_socket();
    *got = static_cast<size_t>(count);
    return true;
}

// The urgent byte is a message of its own, ahead of the data in front of it.  In line it would be data that nothing tells
// apart.  When the connection is over it cannot be asked for, but where the mark is reached it can be brought in line.
bool pl_socket_receive_marked(PlSocket socket, void *buffer, size_t size, size_t *got, bool *urgent)
{
    *urgent = recv(number(socket), static_cast<char *>(buffer), 1, MSG_OOB) == 1;
    *got = *urgent ? 1 : 0;
    if (*urgent)
        return true;
    const int error = WSAGetLastError();
    u_long none_waits = 1;
    const BOOL on = TRUE;
    const bool at_mark = error != WSAEWOULDBLOCK && error != WSAEINVAL &&
                         ioctlsocket(number(socket), SIOCATMARK, &none_waits) == 0 && none_waits == 0 &&
                         set_option(socket, SOL_SOCKET, SO_OOBINLINE, &on, sizeof on);
    const bool received = pl_socket_receive(socket, buffer, at_mark ? 1 : size, got);
    *urgent = at_mark && *got == 1;
    return received;
}

bool pl_socket_send(PlSocket socket, const void *data, size_t size, size_t *sent)
{
    *sent = 0;
    if (pl_fault())
        return false;
    const int count = send(number(socket), static_cast<const char *>(data), static_cast<int>(size), 0);
    if (count < 0)
        return fail_socket();
    *sent = static_cast<size_t>(count);
    return true;
}

bool pl_socket_send_urgent(PlSocket socket, uint8_t byte)
{
    return send(number(socket), reinterpret_cast<const char *>(&byte), 1, MSG_OOB) == 1 || fail_socket();
}

void pl_socket_shutdown(PlSocket socket)
{
    shutdown(number(socket), SD_BOTH);
}
