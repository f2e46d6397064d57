// Message channels: short messages from one sender at a time to one receiver.  Messages keep their bounds.
//
// Operations of the receiving end begin without waiting; what does not end at once is pending, and its result is
// collected later.  Results are kinds of errors: PL_OK, PL_IO_PENDING, or what went wrong.
#pragma once

#include <platform/error.h>
#include <platform/handle.h>
#include <platform/process.h>

#include <cstddef>
#include <cstdint>

constexpr size_t kPlMessageSize = 512; // bytes of a message at most

enum class PlChannel { done, no_event, not_created };

// Creates the receiving end: one for each name, open to every user.  Closed with pl_close, which ends what is
// pending.
[[nodiscard]] PlChannel pl_channel_create(const char *name, TB_HANDLE *channel);

// Begins to wait for a sender: PL_IO_PENDING, or PL_PIPE_CONNECTED when one is there already.
[[nodiscard]] int32_t pl_channel_connect(TB_HANDLE channel);

// Waits until what is pending has ended, or the flag was set and nothing is pending.  failed: not a receiving end.
[[nodiscard]] PlWait pl_channel_wait(TB_HANDLE channel, uint32_t milliseconds);

// Sets the flag, so that the next wait returns at once.
void pl_channel_signal(TB_HANDLE channel);

// Result of what is pending.  A message: PL_OK and its bytes.  PL_BROKEN_PIPE: the sender has gone; PL_MORE_DATA:
// the message was longer than kPlMessageSize and is lost; PL_IO_PENDING: it goes on.
[[nodiscard]] int32_t pl_channel_result(TB_HANDLE channel, char *message, size_t *size);

// Begins to read a message: results as above.  message: kPlMessageSize.
[[nodiscard]] int32_t pl_channel_read(TB_HANDLE channel, char *message, size_t *size);

// Parts from the sender; false when there is none.  What it had sent before is lost.
bool pl_channel_disconnect(TB_HANDLE channel);

enum class PlChannelOpen { done, failed, wait_failed };

// Connects a sender; messages go out with pl_write, closed with pl_close.  While another sender is there it waits for
// its turn up to wait_ms, on Windows again each time that another one took it first, and then fails with wait_failed.  The last error tells: PL_FILE_NOT_FOUND without
// a receiver.
[[nodiscard]] PlChannelOpen pl_channel_open(const char *name, uint32_t wait_ms, TB_HANDLE *sender);
