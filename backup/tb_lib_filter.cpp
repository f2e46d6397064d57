// Listings: control characters and bytes beyond ASCII are taken out before a listing is loaded.
#include <tamba/client.h>

#include <foundation/ini.h>
#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/error.h>
#include <platform/files.h>
#include <tamba/config.h>
#include <tamba/messages.h>
#include <tamba/text.h>

#include <cerrno>
#include <cstdio>

namespace {

constexpr size_t kBlock = 8192;

// Whether the site wants bytes beyond ASCII replaced.
bool replaces_high_bytes(TraceScope &scope)
{
    char value[64] = "", reason[256];
    scope.note("fetch tb.ini value for [PARAMS] lis_with_high_ascii");
    i_READ_INI("TB_INI", "[PARAMS]", "lis_with_high_ascii", value, sizeof value, reason, sizeof reason);
    scope.note("got value '%s'", value);
    uppercase(value);
    scope.note("use value %s", value);
    if (std::string_view(value) == "NO") {
        scope.note("substitute low and higher chars bcs. [PARAMS] lis_with_high_ascii set to %s", value);
        return true;
    }
    scope.note("substitute only low chars bcs. [PARAMS] lis_with_high_ascii not set to 'NO'");
    return false;
}

struct Filter {
    char substitute;
    bool high;

    void apply(char *block, size_t size, TraceScope &scope) const
    {
        for (char *at = block; at < block + size; ++at) {
            const auto byte = static_cast<unsigned char>(*at);
            if (byte >= 1 && byte < ' ' && byte != '\n') {
                scope.fine("substitute: %c (%d)", ' ', byte);
                *at = ' ';
            } else if (high && byte >= 128) {
                scope.fine("substitute (high): %c (%d)", substitute ? substitute : ' ', byte);
                *at = substitute;
            }
        }
    }
};

bool copy(FILE *from, FILE *to, const Filter &filter, TraceScope &scope)
{
    char block[kBlock];
    while (const size_t got = std::fread(block, 1, sizeof block, from)) {
        filter.apply(block, got, scope);
        const size_t put = std::fwrite(block, 1, got, to);
        if (put != got || std::fflush(to) != 0) {
            char reason[256] = "";
            pl_c_error_text(errno, reason, sizeof reason);
            scope.note("error writing file: Bytes read %d, written %d: %s", static_cast<int>(got),
                       static_cast<int>(put), reason);
            return false;
        }
    }
    return std::ferror(from) == 0;
}

} // namespace

// The file is written over, byte for byte: it keeps its mode, its owner and its other names, needs no room on the disk, and
// calls that meet in one file write the same.  What a failure leaves is whole, and the next call goes on with it.
int32_t ascii_filter(const char *file, char substitute, TraceContext trace)
{
    file = text_or_empty(file);
    TraceScope scope(trace, kTraceMain, "+++ ASCII_FILTER file: %s; substitute char: >%c<", file,
                     substitute ? substitute : ' ');
    FILE *const from = pl_fopen(file, "rb");
    if (!from)
        trap_file_open_err(file, "ASCII_FILTER", "read", scope.context());
    FILE *const to = pl_fopen(file, "r+b");
    if (!to)
        trap_file_open_err(file, "ASCII_FILTER", "write", scope.context());
    const Filter filter = {substitute, replaces_high_bytes(scope)};
    bool good = copy(from, to, filter, scope);
    good = pl_fclose(to) == 0 && good;
    pl_fclose(from);
    return scope.leave(good ? 1 : 0, "--- ASCII_FILTER: %s", good ? "ok" : "failed");
}
