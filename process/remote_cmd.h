// Remote commands from inside.
#pragma once

#include <foundation/text.h>
#include <tamba/remote.h>

#include <string>

// REMOTE_CMD, waiting; status receives what the control client said (0 with other access modes and without a call).
int32_t remote_cmd_status(const char *node, char *cmd, int32_t sync, int32_t *status, TraceContext trace);

// Where a command runs and where its streams go.
struct RemoteTarget {
    FixedText<1024> node;
    FixedText<512> output, errors, input;

    // "STDOUT" and "-" are the caller's own output.
    bool writes_file() const { return output.view() != "STDOUT" && output.view() != "-"; }
};

// What the catalogue says of a client.
struct RemoteClient {
    FixedText<1024> platform, accessmode, options;
};

struct RemoteCall {
    const RemoteTarget &target;
    const RemoteClient &client;
    const char *cmd;
    int32_t timeout; // seconds, 0 for none
    bool background; // the forms of jrsh and rsh that do not wait
    TraceContext &trace;
    FixedText<TB_REMOTE_CMD_SIZE> *msg;
};

// The access modes.  1 or 0, msg then holds the reason.
int32_t remote_by_daemon(const RemoteCall &call, int32_t *status);
int32_t remote_by_jrsh(const RemoteCall &call);
int32_t remote_by_rsh(const RemoteCall &call);

// HAL_REDIR for a call; false when it does not fit.
bool redirection_of(const RemoteTarget &target, std::string *redirection);

// Finds the first line with a pattern in a file and takes it over; false without one.
bool take_line(const char *file, const char *pattern, FixedText<TB_REMOTE_CMD_SIZE> *msg);

// Reports a command when it is traced.
void report_command(const RemoteCall &call, const char *command);

// Formats a command of any length.
std::string remote_command(const char *format, ...) TAMBA_PRINTF(1, 2);

// Value of a global variable, or its replacement when it is not set.
std::string global_or(const char *name, const char *replacement);
