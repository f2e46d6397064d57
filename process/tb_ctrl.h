// The connection to a control daemon.
#pragma once

#include <foundation/text.h>
#include <platform/socket.h>

#include <string>

// How long a call waits; tests shorten what they would have to sit out.
struct ControlTiming {
    uint32_t resolve_pause_ms = 500; // before a name is looked up again
    uint32_t connect_step_ms = 100;  // of a connection with a time-out
    int32_t connect_steps = 10;      // for each second of the time-out
    uint32_t accept_step_ms = 10;    // of the wait for the daemon's call-back
    int32_t accept_steps = 1000;     // without a time-out
    int32_t accept_steps_per_second = 100;
    uint32_t second_ms = 1000;    // of the limit for the daemon's answer
    int32_t answer_seconds = 120; // of that limit, beyond a time-out
    uint32_t idle_ms = 1000; // of a silent round behind the exit code: a lost packet comes again meanwhile
    int32_t rounds_with_code = 10; // such rounds for the channel that has brought none
    uint32_t resend_pause_ms = 1000;
};
inline ControlTiming control_timing;

constexpr int32_t kControlFailure = 253;

// Connects to the daemon at host and port, hands it user and command, and waits for its answer.  low to high: ports for
// the call-back (0, 0 any); single: none.  timeout in seconds, 0 without.
//
// Returns 0 with the two sockets (second kPlNoSocket for a single connection), or 253 or the daemon's status with none.
int32_t ctrl_connect(const char *host, int32_t port, int32_t low, int32_t high, int32_t single,
                     const char *user, const char *cmd, int32_t timeout, intptr_t *first, intptr_t *second);

// What became of the calling thread's last call: asynchronous remote commands run side by side.
const char *ctrl_first_error();
int32_t ctrl_exit_code(); // -1 while there is none

void ctrl_begin_call();
void ctrl_set_exit_code(int32_t code);

// Keeps the text of a failure, the first one of a call, and returns 253.  The second form adds the system's error.
int32_t ctrl_failed(const char *format, ...) TAMBA_PRINTF(1, 2);
int32_t ctrl_call_failed(const char *format, ...) TAMBA_PRINTF(1, 2);

// The same for output that was lost, whether a write or the close showed it.
int32_t ctrl_not_written();

// How long a daemon may say nothing where it has to speak, in milliseconds: kPlNoLimit without a time-out.  The second
// function is the failure of one that does not.
uint32_t ctrl_answer_ms(int32_t timeout);
int32_t ctrl_no_answer(int32_t timeout, const char *host);

// The command as it is sent: words joined by one blank, the quotes that grouped them taken away.
std::string control_command(std::string_view text);
