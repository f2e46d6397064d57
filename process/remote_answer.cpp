// Files for the answers of other hosts.
#include <tamba/client.h>

#include <foundation/glbv.h>
#include <foundation/lines.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <process/result_lines.h>

namespace {

constexpr size_t kLineLength = 255;

// The directory for work files; nothing in front of the name when it is unknown.
std::string work_directory()
{
    return global_or("gv_rw_work", "");
}

// False when the file cannot be read.  It may be long: the program's listing stands in front of its result.
bool read_result(const char *file, ResultLines *result)
{
    FILE *const stream = pl_fopen(file, "rb");
    if (!stream)
        return false;
    char line[kLineLength + 1];
    while (read_line(stream, line, sizeof line)) {
        const std::string_view text = line;
        if (!result->take(text.substr(0, text.find('\n'))))
            break;
    }
    const bool read = std::ferror(stream) == 0;
    return pl_fclose(stream) == 0 && read;
}

} // namespace

char *make_answ_file_name(char *path)
{
    const std::string directory = work_directory();
    if (directory.empty())
        copy_text(path, TAMBA_ANSW_PATH_SIZE, "");
    else if (format_text(path, TAMBA_ANSW_PATH_SIZE, "%srsh_%d.tmp", directory.c_str(),
                         static_cast<int>(pl_process_id())) >= TAMBA_ANSW_PATH_SIZE)
        copy_text(path, TAMBA_ANSW_PATH_SIZE, ""); // a cut path would be another file
    return path;
}

void BUILD_RSHFILE(char *path, char *name, const char *base, int32_t number)
{
    FixedText<TAMBA_RSH_NAME_SIZE> part;
    part.format("%s_%d", text_or_empty(base), number);
    copy_text(name, TAMBA_RSH_NAME_SIZE, part.view());
    format_text(path, TAMBA_RSH_PATH_SIZE, "%srsh_%s.tmp", work_directory().c_str(), part.c_str());
}

int32_t i_READ_RSHFILE(const char *file, char *status, char *msg, TraceContext trace)
{
    const std::string name = text_or_empty(file);
    TraceScope scope(trace, kTraceMain, "+++ READ_RSHFILE   %s ", name.c_str());
    FixedText<TAMBA_RSH_WORD_SIZE> word, message;
    word.format("No tag [STATUS=] found in %s", name.c_str());
    message.format("No tag [MSG=] found in %s", name.c_str());
    ResultLines result;
    const bool read = read_result(name.c_str(), &result);
    if (read) {
        if (result.has_status())
            word = result.status();
        if (result.has_message())
            message = result.message();
    } else {
        message_to<Msg::kInputNotOpened>(message.data(), message.capacity(), name.c_str());
    }
    copy_text(status, TAMBA_RSH_WORD_SIZE, word.view());
    copy_text(msg, TAMBA_RSH_WORD_SIZE, message.view());
    return scope.leave(read && result.found() ? 1 : 0, "--- READ_RSHFILE   %s  %s  %s ", name.c_str(),
                       word.c_str(), message.c_str());
}
