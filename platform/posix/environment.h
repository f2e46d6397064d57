// The environment is one array of the C library, and a change may move it while another thread reads.
#pragma once

#include <shared_mutex>

// Held shared by readers and while a child gets its copy, alone by changes.
std::shared_mutex &environment_lock();
