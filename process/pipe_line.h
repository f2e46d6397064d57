// Reading lines byte by byte, for child pipes and other streams.
#pragma once

#include <tamba/handle.h>

#include <cstdint>

// iPIPE_READ on a handle.  What to do about a read that succeeds without a byte: wait for the next, or end.
enum class EmptyRead { waits, ends };
int32_t read_pipe_line(TB_HANDLE handle, char *line, int32_t size, EmptyRead empty);
