// Byte streams behind handles: one call of the system each, results as pl_read and pl_write.
#pragma once

#include <platform/win32/handle_table.h>

#include <cstddef>

bool stream_read(HandleObject &stream, void *buffer, size_t size, size_t *got);
