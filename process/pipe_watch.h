// The thread that watches a child: lets it go on when somebody has suspended it.
#pragma once

#include <tamba/handle.h>

#include <cstdint>

// Starts to watch a child by its main thread's handle, which may be closed meanwhile.  Null on failure.
TB_HANDLE begin_watch(TB_HANDLE child_thread);

// Ends the watch of a child that ended with this code and closes the handle.  Returns the code to report.
int32_t end_watch(TB_HANDLE watch, int32_t child_code);
