// The state of a tape drive, as its driver tells it.
#pragma once

enum class PlTape {
    online,
    no_tape,   // the drive is there and empty, or its door is open
    no_device, // nothing of this name, or no tape drive
    failed,    // with the last error: nobody knows
};

// Looks at a tape drive, without waiting for it and without moving the tape, but for a device that rewinds whenever it is
// closed.
PlTape pl_tape_status(const char *device);

// A replacement for tests; null is the real one.  Not thread-safe: set before threads start.
using PlTapeHook = PlTape (*)(const char *device);
void pl_set_tape_hook(PlTapeHook hook);
