// Job queues: each operation is one run of the queue manager.
#include <tamba/queue.h>

#include <foundation/messages.h>
#include <foundation/time_stamp.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <process/pipe_line.h>
#include <process/program_path.h>
#include <tamba/lists.h>
#include <tamba/pipes.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

constexpr int32_t kLineSize = 256;
constexpr size_t kLongestCommand = 255, kLongestJobCommand = 511;
constexpr size_t kLongestShown = 100; // of a command that is refused: the reason is to be read behind it
constexpr size_t kStatusLetter = 7;   // behind a leading "STATUS="
constexpr int32_t kWarned = 2;

using PipeMessage = FixedText<TAMBA_QUE_MSG_SIZE>;

// What tb_qm answered.  The result stays as it was when no success is reported.
struct Answer {
    int32_t result = 0;
    FixedText<kLineSize> message;
};

// Who asks, and how failures are named.
struct Operation {
    const char *word;
    const char *word_of_open; // in the exit line when tb_qm could not be started
    bool knows_warning = false;
    bool reports = true;
    size_t longest = kLongestCommand;
};

// Takes the status line apart.  The letter that decides is the line's eighth, wherever "STATUS=" stands in it:
// what stands in front of the status is no status.
void take_status(std::string_view line, bool knows_warning, Answer *answer)
{
    constexpr std::string_view kMessage = "MSG=";
    const size_t message = line.find(kMessage);
    answer->message.assign(message == std::string_view::npos ? "" : line.substr(message + kMessage.size()));
    const char letter = line.size() > kStatusLetter ? line[kStatusLetter] : '\0';
    if (letter == 'S')
        answer->result = 1;
    else if (letter == 'W' && knows_warning)
        answer->result = kWarned;
}

// Reads up to the status line.  Without one the message is the last line that came.
void read_answer(PIPE *pipe, bool knows_warning, Answer *answer, TraceScope &scope)
{
    answer->message.assign("");
    for (;;) {
        char line[kLineSize];
        if (!read_terminated_line(pipe, line))
            return;
        scope.note("%s", line);
        answer->message.assign(line);
        if (answer->message.view().find("STATUS=") == std::string_view::npos)
            continue;
        take_status(line, knows_warning, answer);
        return;
    }
}

// A command that is cut would name another queue or job, or run it with half of its arguments: it is not run.
bool is_refused(const Operation &operation, const std::string &command, TraceScope &scope)
{
    if (command.size() <= operation.longest)
        return false;
    FixedText<128> reason;
    message_to<Msg::kCommandTooLong>(reason.data(), reason.capacity(), static_cast<int>(command.size()),
                                     static_cast<int>(operation.longest));
    scope.note("%s", reason.c_str());
    if (operation.reports)
        prot_message<Msg::kCommandFailed>((command.substr(0, kLongestShown) + "...").c_str(), reason.c_str());
    return true;
}

// Runs one command and reports what the operator must know.  False when tb_qm could not be started.
bool ask(const Operation &operation, const char *command, Answer *answer, PipeMessage *problem,
         TraceScope &scope)
{
    PIPE pipe{};
    if (!iPIPE_OPEN(command, "r", problem->data(), static_cast<int32_t>(problem->capacity()), &pipe)) {
        prot_message<Msg::kPipeNotOpened>(operation.word, ""); // the reason stands in the trace
        return false;
    }
    read_answer(&pipe, operation.knows_warning, answer, scope);
    scope.detail("got exit state: %d", iPIPE_CLOSE(&pipe));
    if (answer->result == kWarned) {
        prot_message<Msg::kCommandWarned>(command, answer->message.c_str());
        answer->result = 0;
    } else if (answer->result != 1 && operation.reports) {
        prot_message<Msg::kCommandFailed>(command, answer->message.c_str());
    }
    return true;
}

int32_t leave_unasked(const Operation &operation, const char *command, const PipeMessage &problem,
                      TraceScope &scope)
{
    return scope.leave(0, "--- ZDL %s  PIPE_OPEN failed for %s: %s", operation.word_of_open, command,
                       problem.c_str());
}

int32_t leave(const Operation &operation, const Answer &answer, TraceScope &scope)
{
    return scope.leave(answer.result, "--- ZDL %s returns %d  msg: %s", operation.word, answer.result,
                       answer.message.c_str());
}

// The whole of an operation that is one command.
int32_t run(const Operation &operation, const std::string &command, TraceScope &scope)
{
    scope.note("cmd = %s", command.c_str());
    Answer answer;
    PipeMessage problem;
    if (!is_refused(operation, command, scope) && !ask(operation, command.c_str(), &answer, &problem, scope))
        return leave_unasked(operation, command.c_str(), problem, scope);
    return leave(operation, answer, scope);
}

// ---- que_sho_job ------------------------------------------------------------------------------------------------

using JobLine = char[512];

// The answer's one line; false when there was none.
bool read_job_line(PIPE *pipe, JobLine &line, TraceScope &scope)
{
    const bool read = read_terminated_line(pipe, line);
    if (read)
        scope.note("%s", line);
    scope.detail("got exit state: %d", iPIPE_CLOSE(pipe));
    return read;
}

// ---- que_submit -------------------------------------------------------------------------------------------------

void add_parameter(std::string *parameters, std::string_view text)
{
    parameters->append("\"").append(text).append("\" ");
}

// The texts of a list need not be terminated within their element.
void add_list(std::string *parameters, const LLHead *list)
{
    if (!list)
        return;
    for (const void *element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
        const std::string_view bytes(static_cast<const char *>(element), IsElmLL(element));
        add_parameter(parameters, bytes.substr(0, bytes.find('\0')));
    }
}

void collect_parameters(std::string *parameters, int32_t list_type, va_list arguments)
{
    if (list_type == 'L') {
        add_list(parameters, va_arg(arguments, LLHead *));
    } else if (list_type == 'A') {
        while (const char *const text = va_arg(arguments, const char *))
            add_parameter(parameters, text);
    } else if (list_type == 'C') {
        for (int32_t left = va_arg(arguments, int32_t); left > 0; --left)
            add_parameter(parameters, text_or_empty(va_arg(arguments, const char *)));
    }
}

// "now" means this minute, whatever the date says; "today" is looked at only without it.
void resolve_start(std::string *time, std::string *date)
{
    const auto now = display_stamp_now(); // 2008-02-14 10:30:00 Thu
    const std::string_view today = now.view().substr(0, 10);
    if (*time == "now") {
        *time = now.view().substr(11, 5);
        *date = today;
    } else if (*date == "today") {
        *date = today;
    }
}

} // namespace

int32_t que_block(const char *queue, TraceContext trace)
{
    queue = text_or_empty(queue);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_BLOCK  in %s  que= %s ", kLibraryVersion, queue);
    // Blocking is tried on queues that may not exist: its failure is no news.
    return run({"QUE_BLOCK", "QUE_BLOCK", false, false}, format_string("tb_qm block %s", queue), scope);
}

int32_t que_init(const char *queue, const char *parameter, TraceContext trace)
{
    queue = text_or_empty(queue);
    parameter = text_or_empty(parameter);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_INIT  in %s  %s  %s ", kLibraryVersion, queue,
                     parameter);
    return run({"QUE_INIT", "QUE_INIT"}, format_string("tb_qm init %s %s", queue, parameter), scope);
}

int32_t que_start(const char *queue, TraceContext trace)
{
    queue = text_or_empty(queue);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_START  in %s  que= %s ", kLibraryVersion, queue);
    return run({"QUE_START", "QUE_START"}, format_string("tb_qm start %s", queue), scope);
}

int32_t que_stop(const char *queue, TraceContext trace)
{
    queue = text_or_empty(queue);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_STOP  in %s  que= %s ", kLibraryVersion, queue);
    return run({"QUE_STOP", "QUE_STOP"}, format_string("tb_qm stop %s", queue), scope);
}

int32_t que_delete(const char *queue, TraceContext trace)
{
    constexpr Operation kDelete = {"QUE_DELETE", "QUE_DELETE"};
    queue = text_or_empty(queue);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_DELETE  in %s  que= %s ", kLibraryVersion, queue);
    // One result for both commands: programs count on a stopped queue being reported as deleted.
    Answer answer;
    PipeMessage problem;
    const std::string stop = format_string("tb_qm stop %s", queue);
    const std::string command = format_string("tb_qm delete %s", queue);
    if (is_refused(kDelete, command, scope)) // before the queue stands
        return leave(kDelete, answer, scope);
    scope.note("first stop queue: cmd = %s", stop.c_str());
    if (!ask(kDelete, stop.c_str(), &answer, &problem, scope))
        return leave_unasked(kDelete, stop.c_str(), problem, scope);
    scope.note("result of stop: %s", answer.message.c_str());
    scope.note("cmd = %s", command.c_str());
    if (!ask(kDelete, command.c_str(), &answer, &problem, scope))
        return leave_unasked(kDelete, command.c_str(), problem, scope);
    return leave(kDelete, answer, scope);
}

int32_t que_sho(const char *queue, TraceContext trace)
{
    queue = text_or_empty(queue);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_SHO: que= %s", queue);
    return run({"QUE_SHO", "QUE_SHO", true}, format_string("tb_qm sho %s", queue), scope);
}

int32_t que_sho_job(const char *queue, const char *mode, const char *value, char *msg, TraceContext trace)
{
    queue = text_or_empty(queue);
    mode = text_or_empty(mode);
    value = text_or_empty(value);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_SHO_JOB  in %s  que: %s mode: %s value: %s",
                     kLibraryVersion, queue, mode, value);
    PipeMessage reply; // says "position" for a name, too: programs compare the text
    message_to<Msg::kNoJobAtPosition>(reply.data(), reply.capacity(), value);
    // The empty word in quotes reaches tb_qm as an argument of its own.
    const bool by_name = std::string_view(mode) == "name";
    const std::string command = by_name ? format_string(R"(tb_qm job_sho %s %s "")", queue, value)
                                        : format_string(R"(tb_qm job_sho %s "" %s)", queue, value);
    scope.note("cmd = %s", command.c_str());
    if (is_refused({"QUE_SHO_JOB", "QUE_SHO_JOB", false, true, kLongestJobCommand}, command, scope)) {
        copy_text(msg, TAMBA_QUE_MSG_SIZE, reply.view());
        return scope.leave(0, "--- ZDL QUE_SHO_JOB returns %d  msg: %s", 0, reply.c_str());
    }
    PIPE pipe{};
    PipeMessage problem;
    if (!iPIPE_OPEN(command.c_str(), "r", problem.data(), static_cast<int32_t>(problem.capacity()), &pipe)) {
        std::fprintf(stderr, "PIPE_OPEN failed for %s: %s\n", command.c_str(), problem.c_str());
        prot_message<Msg::kPipeNotOpened>("QUE_SHO_JOB", problem.c_str());
        prot_message<Msg::kCommandFailed>(command.c_str(), problem.c_str());
        scope.note("QUE_SHO_JOB failed for %s: %s", command.c_str(), problem.c_str());
        copy_text(msg, TAMBA_QUE_MSG_SIZE, reply.view());
        return scope.leave(0, "--- ZDL QUE_SHO_JOB  PIPE_OPEN failed for %s; return msg: %s", command.c_str(),
                           reply.c_str());
    }
    JobLine line;
    const bool found = read_job_line(&pipe, line, scope) && std::strstr(line, "STATUS=SUCCESS") != nullptr;
    if (found)
        reply.assign(line);
    copy_text(msg, TAMBA_QUE_MSG_SIZE, reply.view());
    return scope.leave(found ? 1 : 0, "--- ZDL QUE_SHO_JOB returns %d  msg: %s", found ? 1 : 0,
                       reply.c_str());
}

int32_t que_submit(TraceContext trace, const char *queue, const char *start_time, const char *start_date,
                   const char *job_name, const char *job_parameter, const char *program, int32_t list_type,
                   ...)
{
    const std::string_view whole_name = text_or_empty(job_name);
    queue = text_or_empty(queue);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_SUBMIT  in %s  %s  %s", kLibraryVersion, queue,
                     text_or_empty(job_name));
    const std::string path = program_directory() + exe_file_name(text_or_empty(program));
    const char type = static_cast<char>(list_type);
    scope.note("Argument list type = %c, exe-file = %s", type == '\0' ? ' ' : type, path.c_str());
    std::string parameters;
    va_list arguments;
    va_start(arguments, list_type);
    collect_parameters(&parameters, list_type, arguments);
    va_end(arguments);
    scope.note("szParams = %s ", parameters.c_str());

    const std::string name(whole_name.substr(0, whole_name.find('/')));
    std::string time = text_or_empty(start_time), date = text_or_empty(start_date);
    resolve_start(&time, &date);
    scope.note("szStartDate = %s  szStartTime = %s ", date.c_str(), time.c_str());
    return run({"QUE_SUBMIT", "QUE_SUBMIT", false, true, kLongestJobCommand},
               format_string("tb_qm que_submit %s %s %s %s %s %s %s", queue, time.c_str(), date.c_str(),
                             name.c_str(), text_or_empty(job_parameter), path.c_str(), parameters.c_str()),
               scope);
}

int32_t que_del_entry(const char *entry, TraceContext trace)
{
    entry = text_or_empty(entry);
    TraceScope scope(trace, kTraceMain, "+++ ZDL QUE_DEL_ENTRY  in %s  entry = %s", kLibraryVersion, entry);
    // The word of the failure line is misspelt; scripts that read traces look for it as it is.
    return run({"QUE_DEL_ENTRY", "QUE__ENTRY"}, format_string("tb_qm que_del_entry %s", entry), scope);
}
