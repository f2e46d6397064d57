// Texts of message tables, as they stand there, line ends included.
#pragma once

#include <cstddef>
#include <cstdint>

enum class PlMessage {
    found,
    missing,     // the table has no such message
    failed,      // the table cannot be read: the last error tells
    no_module,   // there is no such module: the last error tells
    unavailable, // this platform has no such table at all
};

// The message with this number in the table of a module, which is loaded for it; language neutral.
[[nodiscard]] PlMessage pl_module_message(const char *module, uint32_t number, char *out, size_t size);

// The RPC runtime's text.
[[nodiscard]] PlMessage pl_rpc_message(uint32_t number, char *out, size_t size);

// The system's text, in the user's language: found or missing (the last error tells more).
[[nodiscard]] PlMessage pl_system_message(uint32_t number, char *out, size_t size);
