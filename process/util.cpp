// Sockets, for programs.
#include <tamba/control.h>

#include <platform/socket.h>

#include <cstdarg>

int32_t iSetNonBlockmode(intptr_t socket, int32_t on)
{
    return pl_socket_set_nonblocking(socket, on != 0) ? 0 : -1;
}

int32_t iSendBuffer(intptr_t socket, const char *buffer, int32_t length)
{
    for (int32_t done = 0; done < length;) {
        size_t sent = 0;
        if (!buffer)
            return 0;
        if (pl_socket_send(socket, buffer + done, static_cast<size_t>(length - done), &sent)) {
            done += static_cast<int32_t>(sent);
            continue;
        }
        PlSocketWait room = {socket, kPlWritable, 0}; // of a socket that returns at once
        if (pl_last_error().kind != PL_WOULD_BLOCK || pl_socket_wait(&room, 1, kPlNoLimit) < 1)
            return 0;
    }
    return 1;
}

int32_t cm_CloseSocketsAndCleanup(int32_t count, ...)
{
    va_list sockets;
    va_start(sockets, count);
    for (; count > 0; --count)
        if (const intptr_t socket = va_arg(sockets, intptr_t); socket != kPlNoSocket)
            pl_socket_close(socket);
    va_end(sockets);
    pl_net_stop();
    return 0;
}
