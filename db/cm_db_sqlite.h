// The SQLite layer's limits, from inside.
#pragma once

#include <cstdint>

// How long a locked catalogue is waited for: two minutes, unless a test shortens it.
inline constexpr int32_t kBusyLimitMs = 120000;
void set_busy_limit_ms(int32_t milliseconds);
