// The registry below HKEY_LOCAL_MACHINE.  Keys are written with "\"; the value name "" is the key's default
// value. Names compare without regard to case (ASCII) and keep the case they were created with.  On Linux:
// one directory per key below the directory that the environment variable TAMBA_REGISTRY names (default
// /var/lib/tamba/registry), one file per value ("@" followed by the value's name), written by rename.
#pragma once

#include <cstddef>
#include <cstdint>

// Reads a string value.  False and the last error when the key or the value is missing, the value is no
// string, or the text does not fit with its terminator (PL_MORE_DATA; out then holds the beginning).
bool pl_reg_read(const char *key, const char *value, char *out, size_t size);

// Sets a string or number value, creating the key.
bool pl_reg_write(const char *key, const char *value, const char *text);
bool pl_reg_write_number(const char *key, const char *value, uint32_t number);

// Reads a number value.
bool pl_reg_read_number(const char *key, const char *value, uint32_t *number);

// Deletes a key with its values; a key that has subkeys stays and the call fails with PL_ACCESS_DENIED.
bool pl_reg_delete_key(const char *key);

// Name of subkey number index (from 0, in a stable order while nothing is added or removed); false behind the
// last.
bool pl_reg_enum(const char *key, uint32_t index, char *name, size_t size);
