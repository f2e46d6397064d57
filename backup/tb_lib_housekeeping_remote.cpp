// Files on clients: copied by the agent's own transfer or by the client's file service, and deleted.
#include <tamba/housekeeping.h>

#include <backup/drive.h>
#include <foundation/glbv.h>
#include <foundation/line_search.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <process/remote_cmd.h>
#include <tamba/client.h>
#include <tamba/files.h>

namespace {

struct OwnHost {
    char name[256] = "";
    OwnHost() { pl_host_name(name, sizeof name); }
};

// A file of this process for one answer.  One of an earlier call would be taken for this one's.
class AnswerFile {
public:
    explicit AnswerFile(const TraceContext &trace) : keep_(trace.level >= kTraceFine)
    {
        make_answ_file_name(path_);
        if (*path_ == '\0')
            return;
        pl_remove(path_);
        usable_ = !pl_file_exists(path_);
    }
    ~AnswerFile()
    {
        if (usable_ && !keep_)
            pl_remove(path_);
    }
    AnswerFile(const AnswerFile &) = delete;
    AnswerFile &operator=(const AnswerFile &) = delete;

    const char *path() const { return path_; }
    bool usable() const { return usable_; }

private:
    const bool keep_;
    bool usable_ = false;
    char path_[TAMBA_ANSW_PATH_SIZE];
};

// Runs a command on a client.  reason receives what it says after a failure.
bool run(const char *client, const std::string &target, const std::string &command, RemoteMessage *reason,
         TraceContext &trace)
{
    if (!is_plain_host(client)) {
        reason->format("host \"%s\" cannot stand in a command", client);
        return false;
    }
    if (command.size() >= TB_REMOTE_CMD_SIZE) {
        message_to<Msg::kCommandTooLong>(reason->data(), reason->capacity(), static_cast<int>(command.size()),
                                         TB_REMOTE_CMD_SIZE - 1);
        return false;
    }
    reason->assign(command);
    return REMOTE_CMD(target.c_str(), reason->data(), 1, trace) == 1;
}

// The same for a command that names a file.
bool run_for(const char *file, const char *client, const std::string &target, const std::string &command,
             RemoteMessage *reason, TraceContext &trace)
{
    if (is_plain_path(file))
        return run(client, target, command, reason, trace);
    reason->format("file name \"%s\" cannot stand in a command", file);
    return false;
}

std::string mode_message(const char *client, char mode)
{
    const char shown = mode == '\0' ? ' ' : mode;
    prot_message<Msg::kRemoteCopyMode>(client, shown);
    RemoteMessage text;
    message_to<Msg::kRemoteCopyMode>(text.data(), text.capacity(), client, shown);
    return text.c_str();
}

// ---- the agent's transfer -------------------------------------------------------------------------------------------

struct Transfer {
    char mode;
    const char *client, *file;
    std::string work, command;
};

std::string_view base_name(std::string_view file)
{
    size_t separator = file.rfind('\\');
    if (separator == file.npos)
        separator = file.rfind('/');
    return separator == file.npos ? file : file.substr(separator + 1);
}

// False and the reason, "" when only the agent knows it.
bool transfer(const Transfer &job, RemoteMessage *reason, TraceScope &scope)
{
    const std::string tag = format_string("rc_%d", static_cast<int>(pl_process_id()));
    if (job.work.empty()) {
        reason->assign("gv_rw_work is not set");
        return false;
    }
    const std::string answer = format_string("%srsh_%s.tmp", job.work.c_str(), tag.c_str());
    scope.note("szFile: %s ", answer.c_str());
    const bool done =
        run_for(std::string(base_name(job.file)).c_str(), job.client,
                format_string("%s/%s", job.client, tag.c_str()), job.command, reason, scope.context());
    if (scope.context().level < kTraceFine)
        pl_remove(format_string("%s%s.tmp", job.work.c_str(), tag.c_str()).c_str());
    if (!done)
        return false;
    reason->assign("");
    FixedText<TAMBA_PATTERN_SIZE> line;
    return find_line(answer.c_str(), "Operation successful|OR|Transfer complete", &line);
}

template <Msg id> int32_t fail_transfer(const Transfer &job, const char *what, TraceScope &scope)
{
    prot_message<id>(job.mode, job.client, job.file, job.work.c_str(), what);
    FixedText<4096> text;
    message_to<id>(text.data(), text.capacity(), job.mode, job.client, job.file, job.work.c_str(), what);
    return scope.leave(0, "--- REMOTE_COPY %s", text.c_str());
}

// ---- the client's file service --------------------------------------------------------------------------------------

struct Outcome {
    FixedText<TAMBA_RSH_WORD_SIZE> status{std::string_view("ERROR")}, message;
};

// Where the streams of the service go, and its command.
struct Service {
    std::string target, command;
};

Service copy_service(char mode, const char *client, const char *file, const char *answer)
{
    if (mode == 'p')
        return {format_string("%s|%s|%s|%s", client, answer, "", file),
                format_string("tb_client -f usefile -n %s -m c -s -", file)};
    return {format_string("%s|%s|%s", client, file, answer),
            format_string("tb_client -f usefile -n %s -m r", file)};
}

} // namespace

int32_t REMOTE_COPY(char mode, const char *client, const char *file, TraceContext trace)
{
    client = text_or_empty(client);
    file = text_or_empty(file);
    TraceScope scope(trace, kTraceMain, "+++ REMOTE_COPY %s  %s", client, file);
    if (mode != 'g' && mode != 'p')
        return scope.leave(0, "--- REMOTE_COPY %s", mode_message(client, mode).c_str());
    const OwnHost own;
    scope.detail("client: %s server: %s ", client, own.name);
    scope.note(mode == 'g' ? "Mode: get" : "Mode: put");
    // The agent sees the transfer from the client's side: what is got here is put there.
    const std::string base(base_name(file));
    const Transfer job{mode, client, file, global_or("gv_rw_work", ""),
                       mode == 'g' ? format_string("tbc -p -\"S\" %s %s", own.name, base.c_str())
                                   : format_string("tbc -g -\"S\" %s %s", own.name, base.c_str())};
    scope.note("szTbcCmd: %s ", job.command.c_str());
    RemoteMessage reason;
    if (transfer(job, &reason, scope))
        return scope.leave(1, "--- REMOTE_COPY finished successfully");
    return reason.empty() ? fail_transfer<Msg::kRemoteCopyStep>(job, job.command.c_str(), scope)
                          : fail_transfer<Msg::kRemoteCopyFailed>(job, reason.c_str(), scope);
}

int32_t REMOTE_COPY_CLIENT(char mode, const char *client, const char *file, TraceContext trace)
{
    client = text_or_empty(client);
    file = text_or_empty(file);
    TraceScope scope(trace, kTraceMain, "+++ REMOTE_COPY_CLIENT %s  %s", client, file);
    if (mode != 'g' && mode != 'p')
        return scope.leave(0, "--- REMOTE_COPY_CLIENT %s", mode_message(client, mode).c_str());
    const AnswerFile answer(scope.context());
    const OwnHost own;
    scope.detail("client: %s server: %s", client, own.name);
    scope.note(mode == 'p' ? "Mode: put" : "Mode: get");
    const Service service = copy_service(mode, client, file, answer.path());
    scope.note("szRemCmd: %s", service.command.c_str());
    RemoteMessage reason{std::string_view("gv_rw_work has no place for an answer file")};
    const bool done =
        answer.usable() && run_for(file, client, service.target, service.command, &reason, scope.context());
    scope.note(done ? "Remote command success: %s" : "Remote command failed: %s", reason.c_str());
    return scope.leave(done ? 1 : 0, "--- REMOTE_COPY_CLIENT Status= %s  Msg= %s ",
                       done ? "SUCCESS" : "ERROR", done ? "TB_CLIENT returns: 0" : "TB_CLIENT returns: 2");
}

int32_t REMOTE_FILE_DELETE(const char *client, const char *file, TraceContext trace)
{
    client = text_or_empty(client);
    file = text_or_empty(file);
    TraceScope scope(trace, kTraceMain, "+++ REMOTE_FILE_DELETE %s  %s ", client, file);
    const AnswerFile answer(scope.context());
    const OwnHost own;
    scope.note("client: %s server: %s ", client, own.name);
    const std::string command = format_string("tb_client -f usefile -n %s -m d", file);
    scope.note("szRemCmd: %s ", command.c_str());
    Outcome outcome;
    if (answer.usable()) {
        RemoteMessage reason;
        if (!run_for(file, client, format_string("%s|%s", client, answer.path()), command, &reason,
                     scope.context()))
            scope.note("Remote command failed: %s ", reason.c_str());
        // A service that fails tells why, and one that was cut off later may have done its work.
        i_READ_RSHFILE(answer.path(), outcome.status.data(), outcome.message.data(), scope.context());
    } else {
        outcome.message.assign("gv_rw_work has no place for an answer file");
    }
    const bool done = outcome.status.view() == "SUCCESS";
    return scope.leave(done ? 1 : 0, "--- REMOTE_FILE_DELETE Status= %s  Msg= %s ", outcome.status.c_str(),
                       outcome.message.c_str());
}

int32_t i_GET_REMOTE_FILES(const char *client, const LLHead *files, TraceContext trace)
{
    client = text_or_empty(client);
    TraceScope scope(trace, kTraceMain, "+++ GET_REMOTE_FILES %s", client);
    int32_t fetched = 0, all = 0;
    for (const void *file = files ? FirstElmLL(files) : nullptr; file && IsElmLL(file) != 0;
         file = NextElmLL(file)) {
        const std::string_view bytes(static_cast<const char *>(file), IsElmLL(file));
        fetched += REMOTE_COPY_CLIENT('g', client, std::string(bytes.substr(0, bytes.find('\0'))).c_str(),
                                      scope.context());
        ++all;
    }
    return scope.leave(fetched, "--- GET_REMOTE_FILES %d of %d", fetched, all);
}
