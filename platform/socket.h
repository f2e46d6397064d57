// TCP over IPv4.
#pragma once

#include <platform/error.h>

#include <cstddef>
#include <cstdint>

using PlSocket = intptr_t; // the system's own number
constexpr PlSocket kPlNoSocket = -1;
constexpr uint32_t kPlAnyAddress = 0;

// Starts and ends the use of the system's sockets; every start needs its stop.
bool pl_net_start();
void pl_net_stop();

// Finds a host by its name, numeric addresses included: its official name and its address (network order).
[[nodiscard]] bool pl_net_resolve(const char *host, char *official, size_t size, uint32_t *address);

// All sockets are closed with pl_socket_close and reach no other program.  Calls fail with false or kPlNoSocket and
// the last error.
[[nodiscard]] PlSocket pl_socket_open();
bool pl_socket_close(PlSocket socket);

// No delay for small packets; a close waits up to a minute until everything was sent; an urgent byte keeps its place.
bool pl_socket_set_options(PlSocket socket);
bool pl_socket_set_nonblocking(PlSocket socket, bool on);

// A non-blocking socket fails with PL_WOULD_BLOCK when the connection has begun; kPlConnected comes when it stands or
// has failed, and pl_socket_outcome tells which.
bool pl_socket_connect(PlSocket socket, uint32_t address, uint16_t port);
bool pl_socket_outcome(PlSocket socket);

// Binds to a port, 0 for any; PL_ADDRESS_IN_USE when it is taken.
bool pl_socket_bind(PlSocket socket, uint32_t address, uint16_t port);
bool pl_socket_listen(PlSocket socket, int backlog);
bool pl_socket_port(PlSocket socket, uint16_t *port);

// The address of the other side.
bool pl_socket_peer(PlSocket socket, uint32_t *address);

// A blocking socket, whatever the listener is.
[[nodiscard]] PlSocket pl_socket_accept(PlSocket listener);

enum PlReady : uint32_t {
    kPlReadable = 1, // data, the end of the data or an error
    kPlWritable = 2,
    kPlUrgent = 4,    // as readable, or an urgent byte: pl_socket_receive_marked
    kPlConnected = 8, // a connection that has begun stands or has failed
};
struct PlSocketWait {
    PlSocket socket; // kPlNoSocket is passed over
    uint32_t wanted; // PlReady bits
    uint32_t ready;  // receives PlReady bits
};
constexpr uint32_t kPlNoLimit = 0xFFFFFFFFu;

// Waits until one of at most four sockets is ready for what is wanted.  Returns how many are, 0 for a time-out, -1 for an
// error.
int32_t pl_socket_wait(PlSocketWait *sockets, size_t count, uint32_t milliseconds);

// One receive; got 0: the other side has closed.
[[nodiscard]] bool pl_socket_receive(PlSocket socket, void *buffer, size_t size, size_t *got);

// The same where urgent bytes may come, of a socket that returns at once: such a byte comes alone, with urgent set, at
// the latest at its place in the data, also when the other side has reset the connection since.
bool pl_socket_receive_marked(PlSocket socket, void *buffer, size_t size, size_t *got, bool *urgent);

// One send, never a signal; sent may be less than size.
[[nodiscard]] bool pl_socket_send(PlSocket socket, const void *data, size_t size, size_t *sent);
bool pl_socket_send_urgent(PlSocket socket, uint8_t byte);

// Ends both directions; whoever waits for the socket goes on.
void pl_socket_shutdown(PlSocket socket);
