// The registry below HKEY_LOCAL_MACHINE.  Keys are written with "\"; the value name "" is the key's default
// value. Names compare without regard to case (ASCII) and keep the case they were created with.  On Linux:
// one directory per key below the directory that the environment variable TAMBA_REGISTRY names (default
// /var/lib/tamba/registry), one file per value ("@" followed by the value's name), written by rename.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Reads a string value.  False and the last error when the key or the value is missing, the value is no
// string, or the text does not fit with its terminator (PL_MORE_DATA; out then holds the beginning).
[[nodiscard]] bool pl_reg_read(const char *key, const char *value, char *out, size_t size);

// Sets a string or number value, creating the key, also when somebody deletes it meanwhile.
bool pl_reg_write(const char *key, const char *value, const char *text);
bool pl_reg_write_number(const char *key, const char *value, uint32_t number);

// Reads a number value.
[[nodiscard]] bool pl_reg_read_number(const char *key, const char *value, uint32_t *number);

// Deletes a key with its values; a key that has subkeys stays and the call fails with PL_ACCESS_DENIED.
bool pl_reg_delete_key(const char *key);

// The names of all subkeys, in no particular order; none, false and the last error when they cannot be listed.
bool pl_reg_subkeys(const char *key, std::vector<std::string> *names);
