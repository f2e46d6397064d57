#pragma once

#include <cstdint>

// How many files, locks, processes and the like this process has open, by the system's own count.
uint32_t open_handles();
