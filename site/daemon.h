// A control daemon for the simulated site: speaks the daemon's side on loopback and, on request, misbehaves.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

// One connection, as the daemon sees it after the client has said what it wants.
struct DaemonCall {
    intptr_t first = -1; // the client's connection
    std::string port;    // where it waits for the call-back, "" for nowhere
    std::string user, command;
    uint32_t client = 0; // its address

    // Connects back to the client; -1 on failure.
    intptr_t call_back() const;
};

// What the daemon does with a call; it closes what it opens, the daemon closes first.
using DaemonBehaviour = std::function<void(const DaemonCall &call)>;

// Runs the command with this machine's shell and relays its streams; the exit code goes out as an urgent byte.  The
// second one hands on no input and leaves it unread, so that the system resets the connection behind the code.
void run_command(const DaemonCall &call);
void run_command_and_leave(const DaemonCall &call);

// Serves one call after the other on a port of its own until it is destroyed.
class ControlDaemon {
public:
    explicit ControlDaemon(DaemonBehaviour behaviour = run_command, uint16_t port = 0);
    ~ControlDaemon();
    ControlDaemon(const ControlDaemon &) = delete;
    ControlDaemon &operator=(const ControlDaemon &) = delete;

    uint16_t port() const { return port_; } // 0 when it could not be opened
    // Waits until somebody ends the process.
    void serve_forever() { thread_.join(); }

private:
    void serve();

    const DaemonBehaviour behaviour_;
    intptr_t listener_ = -1;
    uint16_t port_ = 0;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

// For behaviours: sends all of a text; reads what comes until the end of the input or of the connection.
bool daemon_send(intptr_t socket, const std::string &text);
std::string daemon_input(intptr_t socket);
