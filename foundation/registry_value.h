// Settings that stand in the registry, with the bounds and texts of the system.
#pragma once

#include <cstddef>

// i_GET_REG_VALUE: a string value below HKEY_LOCAL_MACHINE, cut to size - 1.
bool read_registry_value(const char *key, const char *value_name, char *out, size_t size, char *err,
                         size_t err_size);

// i_GET_ROOT_FOR_INI.
bool find_ini_path(const char *value_name, char *path, size_t path_size, char *err, size_t err_size);
