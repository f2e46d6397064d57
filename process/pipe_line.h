// Reading lines byte by byte, for child pipes and other streams.
#pragma once

#include <tamba/pipes.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

// iPIPE_READ on a handle.  What to do about a read that succeeds without a byte: wait for the next, or end.
enum class EmptyRead { waits, ends };
int32_t read_pipe_line(TB_HANDLE handle, char *line, int32_t size, EmptyRead empty);

// A line, or as much of it as the buffer holds: always terminated, which iPIPE_READ leaves to its callers.
template <size_t Size> bool read_terminated_line(PIPE *pipe, char (&line)[Size])
{
    std::memset(line, 0, Size);
    return iPIPE_READ(pipe, line, static_cast<int32_t>(Size - 1)) != 0;
}
