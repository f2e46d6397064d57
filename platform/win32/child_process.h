// What everything that starts programs shares.
#pragma once

#include <platform/win32/system.h>

#include <cstdint>
#include <mutex>

// Held while a handle is inheritable for one child's sake: a program that starts meanwhile would inherit it, too.
std::mutex &spawn_lock();

// Starts a program with this process's standard handles.  program: its path, or null for the first word of
// command_line, which the system looks up.  Empty and the last error on failure.
OwnedHandle start_program(const char *program, const char *command_line, uint32_t *pid);
