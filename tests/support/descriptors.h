// Redirection of a standard stream to a file: the C library's descriptor calls under one name on both
// platforms.
#pragma once

#include <cstdio>
#include <fcntl.h>
#if __has_include(<unistd.h>)
#include <unistd.h>
#else
#include <io.h>
#endif

// Returns what restore_stream needs.
inline int redirect_stream(FILE *stream, const char *path)
{
    const int saved = dup(fileno(stream));
    FILE *const file = std::fopen(path, "wb");
    dup2(fileno(file), fileno(stream));
    std::fclose(file);
    return saved;
}

inline void restore_stream(FILE *stream, int saved)
{
    dup2(saved, fileno(stream));
    close(saved);
}
