// A hint to the processor.
#pragma once

// Fetches what will be read soon.  The address is never read through: any value may be given.
inline void prefetch([[maybe_unused]] const void *address)
{
#if defined(__GNUC__)
    __builtin_prefetch(address);
#endif
}
