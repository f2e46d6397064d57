// The developer trace.
#include <foundation/trace_scope.h>

#include <foundation/alloc.h>
#include <foundation/lines.h>
#include <foundation/log_setup.h>
#include <foundation/text.h>
#include <platform/clock.h>
#include <platform/error.h>
#include <platform/files.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string>

namespace {

constexpr char kLineForm[] = "%2d:%02d:%02d#%s %s\n"; // time, indentation, text
constexpr size_t kLineFormatSize = 1024;
constexpr size_t kOwnLineSize = 2048;
constexpr size_t kCopiedLine = 255;
constexpr size_t kCopyBlock = 8192;
constexpr size_t kIndentStep = 4;
constexpr int32_t kDeepestIndent = 15; // the indentation stops growing, the counter goes on

std::atomic<int32_t> g_depth{0};

// The library's own context.  Its level stands apart, so that a disabled trace costs one look; the record
// itself is touched under the mutex only.
std::atomic<int32_t> g_own_level{0};
std::mutex g_own_mutex;
bool g_own_filled = false;
TraceContext g_own{};

using Line = FixedText<kLineFormatSize>;

std::tm time_of_line()
{
    std::tm now{};
    pl_local_time(pl_now().seconds, &now);
    return now;
}

// The format begins with the conversions of hour, minute and second.
template <class... More> Line timed_line(const std::tm &now, const char *format, More... more)
{
    Line line;
    line.format(format, now.tm_hour, now.tm_min, now.tm_sec, more...);
    return line;
}

void indent_less(TraceContext &context)
{
    if (g_depth.load(std::memory_order_relaxed) <= kDeepestIndent) {
        const size_t length = std::strlen(context.indent);
        context.indent[length > kIndentStep ? length - kIndentStep : 0] = '\0';
    }
    if (g_depth.load(std::memory_order_relaxed) > 0)
        g_depth.fetch_sub(1, std::memory_order_relaxed);
}

void indent_more(TraceContext &context)
{
    const size_t length = std::strlen(context.indent);
    // The counter is shared by all contexts of the process: this one may be full while the counter is still
    // low.
    if (g_depth.load(std::memory_order_relaxed) < kDeepestIndent &&
        length + kIndentStep < sizeof context.indent)
        append_text(context.indent, sizeof context.indent, "    ");
    g_depth.fetch_add(1, std::memory_order_relaxed);
}

void emit(const TraceContext &context, const char *text, size_t length)
{
    if (context.to_stderr)
        std::fwrite(text, 1, length, stderr);
    if (context.path[0] != '\0')
        pl_append(context.path, text, length, nullptr);
}

// Lines that one append brings into the trace file, and how standard error shows them.
class CopiedLines {
public:
    CopiedLines(const TraceContext &context, const std::tm &now) : context_(context), now_(now) {}

    template <class... More> void add(const char *traced, const char *echoed, More... more)
    {
        traced_ += timed_line(now_, traced, more...).view();
        if (context_.to_stderr)
            echoed_ += timed_line(now_, echoed, more...).view();
    }

    // False when the trace file cannot be opened; nothing is shown then.
    bool write()
    {
        if (pl_append(context_.path, traced_.data(), traced_.size(), nullptr) == PlAppend::not_opened)
            return false;
        std::fwrite(echoed_.data(), 1, echoed_.size(), stderr);
        traced_.clear();
        echoed_.clear();
        return true;
    }

private:
    const TraceContext &context_;
    const std::tm &now_;
    std::string traced_, echoed_; // of one block, whatever the size of the file
};

// False when the stream cannot be read.
bool copy_lines(FILE *stream, uint64_t size, const TraceContext &context, CopiedLines *copy)
{
    char buffer[kCopyBlock];
    LineBlocks blocks(stream, buffer, sizeof buffer, kCopiedLine, size);
    for (std::string_view block; blocks.next(&block);) {
        LineReader lines(block, kCopiedLine);
        for (std::string_view line; lines.next(&line);) {
            line.remove_suffix(lines.ended() || line.empty() ? 0 : 1); // its last character goes
            const FixedText<kCopiedLine + 1> text(line);
            copy->add("%2d:%02d:%02d#%s    %s\n", kLineForm, context.indent, text.c_str());
        }
        if (!copy->write())
            return true;
    }
    return std::ferror(stream) == 0;
}

// Copies a text file into the trace.  What is added to it meanwhile stays out: it may be the trace file itself.
void copy_file(const TraceContext &context, const std::tm &now, const char *name)
{
    CopiedLines copy(context, now);
    PlFileStamp at_open;
    const bool found = pl_file_stamp(name, &at_open);
    if (found && at_open.size == 0) // a pipe, too: nobody waits for its writer
        return;
    const PlFile stream(found ? pl_fopen(name, "rb") : nullptr);
    if (stream && copy_lines(stream.get(), at_open.size, context, &copy))
        return;
    const FixedText<kLineFormatSize / 2> shown(name); // leaves the rest of the line whole
    copy.add("%2d:%02d:%02d#   File %s not found\n", "%2d:%02d:%02d# File %s not found\n", shown.c_str());
    copy.write();
}

// The caller's format becomes part of the line's format; the arguments are applied to the whole and are not
// cut, unless there is no memory for them.
void write_formatted(const TraceContext &context, const char *line_format, va_list arguments)
{
    char line[4 * kLineFormatSize];
    va_list again;
    va_copy(again, arguments);
    const size_t needed = format_text_v(line, sizeof line, line_format, arguments, line_format);
    if (needed < sizeof line) {
        emit(context, line, needed);
    } else if (const AllocatedText whole = allocate_text(needed + 1)) {
        format_text_v(whole.get(), needed + 1, line_format, again, line_format);
        emit(context, whole.get(), needed);
    } else {
        line[sizeof line - 2] = '\n';
        emit(context, line, sizeof line - 1);
    }
    va_end(again);
}

// The record is the caller's: its texts may lack their ends.
void terminate_texts(TraceContext &context)
{
    context.path[sizeof context.path - 1] = '\0';
    context.indent[sizeof context.indent - 1] = '\0';
}

void write_trace_v(TraceContext &context, const char *format, va_list arguments)
{
    const PlErrorKeeper keeper;
    const std::tm now = time_of_line();
    terminate_texts(context);
    if (format[0] == '-')
        indent_less(context);
    Line line_format = timed_line(now, kLineForm, context.indent, format);
    if (std::strcmp(format, "COPY_FILE") == 0) {
        if (context.to_stderr)
            std::fputs(line_format.c_str(), stderr);
        copy_file(context, now, text_or_empty(va_arg(arguments, const char *)));
        return;
    }
    if (line_format.length() == kLineFormatSize - 1)
        drop_incomplete_conversion(line_format.data());
    write_formatted(context, line_format.c_str(), arguments);
    if (format[0] == '+')
        indent_more(context);
}

// A finished text as one line: no conversion is interpreted.
void write_text(TraceContext &context, const char *text)
{
    const PlErrorKeeper keeper;
    const std::tm now = time_of_line();
    if (text[0] == '-')
        indent_less(context);
    const Line line = timed_line(now, kLineForm, context.indent, text);
    emit(context, line.c_str(), line.length());
    if (text[0] == '+')
        indent_more(context);
}

bool own_traces()
{
    return g_own_level.load(std::memory_order_relaxed) > 1;
}

void own_text(const char *text)
{
    const std::lock_guard lock(g_own_mutex);
    write_text(g_own, text);
}

void own_trace_v(const char *format, va_list arguments)
{
    FixedText<kOwnLineSize> text;
    format_text_v(text.data(), kOwnLineSize, format, arguments, format);
    own_text(text.c_str());
}

// The finished text counts as a format once more: callers wrote "%%%%" for one "%".  There are no arguments left, so any
// other conversion stays as it stands.
void interpret_again(const char *format, va_list arguments)
{
    FixedText<kOwnLineSize> text;
    format_text_v(text.data(), kOwnLineSize, format, arguments, format);
    char *to = text.data();
    for (const char *from = text.c_str(); *from; ++from) {
        if (from[0] == '%' && from[1] == '%')
            ++from;
        *to++ = *from;
    }
    *to = '\0';
    own_text(text.c_str());
}

} // namespace

void fill_own_context(const TraceContext &context)
{
    const std::lock_guard lock(g_own_mutex);
    if (g_own_filled)
        return;
    g_own_filled = true;
    g_own = context;
    g_own_level = context.level;
}

void WRITE_TRACE(TraceContext *ctx, const char *format, ...)
{
    if (!ctx)
        return;
    TAMBA_WITH_ARGUMENTS(format, write_trace_v(*ctx, text_or_empty(format), arguments));
}

void trace(const char *format, ...)
{
    if (own_traces())
        TAMBA_WITH_ARGUMENTS(format, interpret_again(text_or_empty(format), arguments));
}

void trace_at(TraceContext &context, TraceLevel level, const char *format, ...)
{
    if (traces(context, level))
        TAMBA_WITH_ARGUMENTS(format, write_trace_v(context, format, arguments));
}

void own_trace(const char *format, ...)
{
    if (own_traces())
        TAMBA_WITH_ARGUMENTS(format, own_trace_v(format, arguments));
}

TraceContext own_context()
{
    const std::lock_guard lock(g_own_mutex);
    return g_own;
}

int32_t trace_depth()
{
    return g_depth;
}

// ---- scopes

TraceScope::TraceScope(TraceContext &context, TraceLevel level, const char *format, ...)
    : context_(context), active_(traces(context, level))
{
    if (active_)
        TAMBA_WITH_ARGUMENTS(format, write_trace_v(context_, format, arguments));
}

void TraceScope::abandon()
{
    WRITE_TRACE(&context_, "---");
}

int32_t TraceScope::leave(int32_t result, const char *format, ...)
{
    if (active_ && !left_)
        TAMBA_WITH_ARGUMENTS(format, write_trace_v(context_, format, arguments));
    left_ = true;
    return result;
}

#define TAMBA_SCOPE_LINE(method, level)                                                                      \
    void TraceScope::method(const char *format, ...)                                                         \
    {                                                                                                        \
        if (traces(context_, level))                                                                         \
            TAMBA_WITH_ARGUMENTS(format, write_trace_v(context_, format, arguments));                        \
    }

TAMBA_SCOPE_LINE(note, kTraceMain)
TAMBA_SCOPE_LINE(detail, kTraceDetail)
TAMBA_SCOPE_LINE(fine, kTraceFine)

#undef TAMBA_SCOPE_LINE

OwnTraceScope::OwnTraceScope(const char *format, ...) : active_(own_traces())
{
    if (active_)
        TAMBA_WITH_ARGUMENTS(format, own_trace_v(format, arguments));
}

OwnTraceScope::~OwnTraceScope()
{
    if (active_ && !left_)
        own_text("---");
}

int32_t OwnTraceScope::leave(int32_t result, const char *format, ...)
{
    if (active_ && !left_)
        TAMBA_WITH_ARGUMENTS(format, own_trace_v(format, arguments));
    left_ = true;
    return result;
}
