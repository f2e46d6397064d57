// The content of small files that are read again and again (ini files, level files, settings).
#pragma once

#include <memory>
#include <string>

// The file's present content, or null and the last error when it cannot be read.  Costs one look at the
// file's stamp as long as the file stands unchanged; a file that changed within the last seconds is read anew
// each time, because a second change could hide behind the same stamp.  Larger files than 1 MiB are read but
// not kept, and cut at 16 MiB. Thread-safe.
[[nodiscard]] std::shared_ptr<const std::string> pl_snapshot(const char *path);
