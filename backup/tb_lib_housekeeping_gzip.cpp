// Compressing listings and logs.
#include <tamba/housekeeping.h>

#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <tamba/config.h>
#include <tamba/process.h>

namespace {

using Path = FixedText<TAMBA_RESOLVE_SIZE>;

Path resolved(const char *path)
{
    Path file{text_or_empty(path)};
    resolve_glbv(file.data()); // an unknown name stays, and is then no file
    return file;
}

// The file as a word of a command; "" when its name cannot stand in one.
std::string word_of(const std::string &file, TraceScope &scope)
{
    const std::string word = pl_shell_word(file.c_str());
    if (word.empty())
        scope.note("%s cannot stand in a command", file.c_str());
    return word;
}

} // namespace

int32_t i_UNCOMPRESS_FILE(const char *path, TraceContext trace)
{
    const Path file = resolved(path);
    TraceScope scope(trace, kTraceMain, "+++ i_UNCOMPRESS_FILE");
    scope.note("Check for compressed file %s", file.c_str());
    const std::string compressed = std::string(file.c_str()) + ".gz";
    int32_t code = 0;
    if (!pl_file_exists(file.c_str()) && pl_file_exists(compressed.c_str())) {
        scope.note("Compressed file found. Uncompress it: %s", compressed.c_str());
        const std::string word = word_of(compressed, scope);
        code = word.empty() ? -1 : start_system(format_string("gunzip %s", word.c_str()).c_str());
    }
    return scope.leave(code == 0 ? 1 : 0, "--- i_UNCOMPRESS_FILE returns %d", code == 0 ? 1 : 0);
}

int32_t COMPRESS_FILE(const char *path, TraceContext trace)
{
    const Path file = resolved(path);
    TraceScope scope(trace, kTraceMain, "+++ COMPRESS_FILE");
    int32_t code = 0;
    if (pl_file_exists(file.c_str())) {
        scope.note("Compress file: %s", file.c_str());
        const std::string word = word_of(file.c_str(), scope);
        code = word.empty() ? -1 : start_system(format_string("gzip -f %s", word.c_str()).c_str());
    }
    return scope.leave(code, "--- COMPRESS_FILE returns %d", code);
}
