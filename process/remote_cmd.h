// Remote commands from inside.
#pragma once

#include <foundation/text.h>
#include <platform/files.h>
#include <tamba/remote.h>

#include <string>

// REMOTE_CMD, waiting; status receives what the control client said (0 with other access modes and without a call).
int32_t remote_cmd_status(const char *node, char *cmd, int32_t sync, int32_t *status, TraceContext trace);

// Whether a node is this host, whose commands need no way to it.
bool is_own_host(std::string_view node);

using RemoteMessage = FixedText<TB_REMOTE_CMD_SIZE>;

// Where a command runs and where its streams go.  Nothing is cut: a shorter path may be another file.
struct RemoteTarget {
    std::string node, output, errors, input;

    // "STDOUT" and "-" are the caller's own output.
    bool writes_file() const { return output != "STDOUT" && output != "-"; }
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
    RemoteMessage *msg;
};

// The access modes.  1 or 0, msg then holds the reason.
int32_t remote_by_daemon(const RemoteCall &call, int32_t *status);
int32_t remote_by_jrsh(const RemoteCall &call);
int32_t remote_by_rsh(const RemoteCall &call);

// HAL_REDIR for a call; false when it does not fit.
bool redirection_of(const RemoteTarget &target, std::string *redirection);

// What a call adds to a file: a reason of yesterday is not this call's.  Made before the call.
class NewText {
public:
    explicit NewText(const std::string &file) : file_(file) { pl_file_stamp(file.c_str(), &before_); }

    // Finds the first line that holds a text, and takes it over.  anew: the call does not append.
    bool find(const char *text, bool anew, RemoteMessage *line) const;

private:
    const std::string &file_;
    PlFileStamp before_ = {};
};

// Reports a command when it is traced.
void report_command(const RemoteCall &call, const char *command);
