// What the tests ask of the operating system itself, past the seam.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// How many files, locks, processes and the like this process has open, by the system's own count.
uint32_t open_handles();

// Removes what stands in the registry of a site: TAMBA_REGISTRY of that name.
void remove_registry(const std::string &name);

// Suspends this process until somebody lets it go on.
void suspend_this_process();

// The Windows suite runs under an emulator, where starts and socket calls take a hundred times as long: the size of
// a large test there and elsewhere.
size_t large_size(size_t emulated, size_t everywhere_else);

// Whether a child that has ended still waits to be asked for its exit code.
bool has_zombies();

// Leave rights on a file to its owner alone, or let everybody read it.
bool make_private(const std::string &file);
bool make_public(const std::string &file);
