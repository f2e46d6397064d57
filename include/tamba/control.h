/* The control client: runs a command on a client host through the control daemon there, and sockets. */
#ifndef TAMBA_CONTROL_H
#define TAMBA_CONTROL_H

#include <tamba/tamba_export.h>

#include <stdint.h>

TAMBA_BEGIN

/* Runs a command on a host through its control daemon and relays its standard input, output and error.
 *
 * port_spec   the daemon's port, or port, ":" and an option: "-s" one connection, without a channel for errors;
 *             "-o LOW-HIGH" or "-o N" the local ports on which the daemon may call back
 * node        host name or numeric address (IPv4)
 * user        who runs the command there
 * cmd         its words are grouped by single and double quotes, which are taken away; "\" protects the next character
 *             and stays
 * stdinfile   "" for this process's standard input
 * outfile     output is appended to it; errfile likewise errors; with one of them both go there, with none of them to
 *             this process's streams.  Failures of the connection are appended, too, as "ERROR: <text>"
 * timeout     seconds for the connection and, apart, for the call-back; the daemon's answer in between may take two
 *             minutes more ("no answer from the control daemon within ..."), and so may the words of a call-back whose
 *             command channel has ended without an exit code.  0: ten seconds for the call-back, and no other limit.
 *             None ever holds for a command that runs: it may be silent for as long as it likes
 *
 * The exit code counts wherever it stands in the data, also when the daemon closes without having read its input.
 * Behind it either channel is read until it ends or stays silent (one second, ten for the channel that brought none).
 * Input that the daemon does not take may hold up the end of the connection for a minute.
 *
 * Returns the command's exit code (0 to 255); 253 when it could not be run, was aborted without an exit code or its
 * output could not be written, whatever its exit code; the daemon's status when it refuses; 1 when stdinfile cannot be
 * read.  Every thread has calls of its own. */
TAMBA_API int32_t ctrlc_lib_call(const char *port_spec, const char *node, const char *user, const char *cmd,
                                 const char *stdinfile, const char *outfile, const char *errfile,
                                 int32_t timeout);

/* Switches a socket to return at once (on not 0) or to wait.  Returns 0, or -1 on an error.  Thread-safe. */
TAMBA_API int32_t iSetNonBlockmode(intptr_t socket, int32_t on);

/* Sends all of length bytes, waiting for room when the socket would return at once.  Returns 1, also for a length of 0
 * or less, or 0 on an error: part of it may have gone then.  Thread-safe, but calls for one socket mix their bytes. */
TAMBA_API int32_t iSendBuffer(intptr_t socket, const char *buffer, int32_t length);

/* Closes count sockets, each an intptr_t (-1 for none), and ends one use of the system's sockets.  A close may wait up
 * to a minute for what is still to be sent.  Returns 0.  Thread-safe. */
TAMBA_API int32_t cm_CloseSocketsAndCleanup(int32_t count, ...);

TAMBA_END

#endif
