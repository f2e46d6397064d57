// Robots: the loader program.
#include <backup/drive.h>

#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <tamba/process.h>

namespace {

// "" for no log file, and for one whose name would not reach the program as one word: a loader that runs without its log
// is better than one that does not run.
std::string log_option(std::string_view given)
{
    if (given.find(".lgc") == given.npos)
        return "";
    if (!is_plain_path(given)) {
        own_trace("loader_handler: log file %s is not passed on", std::string(given).c_str());
        return "";
    }
    return " -L " + std::string(given);
}

// "" when a word would not reach the program as it is.  Without a drive nothing may follow "-d".
std::string loader_command(const char *command, const char *loader, const char *drive, const char *slot,
                           const std::string &log)
{
    const bool more = *slot != '\0' || !log.empty();
    if (!is_plain_word(command) || !is_plain_word(loader) ||
        (!is_plain_word(drive) && (more || *drive != '\0')) || (*slot != '\0' && !is_plain_word(slot)))
        return "";
    return format_string("tb_loader %s -l %s -d %s%s%s%s", command, loader, drive, *slot ? " -s " : "", slot,
                         log.c_str());
}

// Reads ("r") or deletes ("d") what the program left; false when there is nothing.
bool use_variable(const char *function, const char *name, const char *loader, GlobalValue *value)
{
    glbv(function, format_string(name, loader).c_str(), value->data());
    return !value->view().starts_with('?');
}

// The program is judged by the status that it leaves, whatever its exit code.  What an older run has left is removed
// before: a loader that was killed must not have loaded.
int32_t run_loader(const std::string &command, const char *loader, DriveMessage *msg)
{
    constexpr char kStatus[] = "gv_loader_sts_%s", kMessage[] = "gv_loader_msg_%s";
    GlobalValue status, message;
    use_variable("d", kStatus, loader, &status);
    use_variable("d", kMessage, loader, &message);
    if (use_variable("r", kStatus, loader, &status)) {
        msg->format("tb_loader is not started: the old status of loader %s cannot be deleted", loader);
        return 0;
    }
    const int32_t code = start_proc(command.c_str());
    if (code < 0) {
        msg->format("tb_loader could not be started (%d)", code);
        return 0;
    }
    const bool judged = use_variable("r", kStatus, loader, &status);
    if (use_variable("r", kMessage, loader, &message) || judged)
        msg->assign(message.view());
    else
        msg->format("tb_loader left no status for loader %s (exit code %d)", loader, code);
    return judged && status.view().starts_with('+') ? 1 : 0;
}

} // namespace

int32_t loader_handler(const char *loader, const char *command, const char *drive, const char *slot,
                       char *msg)
{
    loader = text_or_empty(loader);
    command = text_or_empty(command);
    drive = text_or_empty(drive);
    slot = text_or_empty(slot);
    OwnTraceScope scope("+++ LOADER_HANDLER  %s  %s  %s  %s", loader, command, drive, slot);
    const std::string line =
        loader_command(command, loader, drive, slot, log_option(DriveMessage(text_or_empty(msg)).view()));
    DriveMessage answer;
    int32_t result = 0;
    if (line.empty())
        answer.format("tb_loader is not started with command %s, loader %s, drive %s and slot %s", command,
                      loader, drive, slot);
    else
        result = run_loader(line, loader, &answer);
    copy_text(msg, TAMBA_DRIVE_MSG_SIZE, answer.view());
    return scope.leave(result, "--- LOADER_HANDLER returns %d  msg:%s", result, answer.c_str());
}

int32_t i_CHECK_TBS(int32_t mode, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_CHECK_TBS mode=%d", mode);
    return scope.leave(1, "--- i_CHECK_TBS returns 1");
}
