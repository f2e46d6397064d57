// What the agent's log of a backup says: one state, one message.
#include <tamba/joblog.h>

#include <backup/joblog.h>
#include <foundation/glbv.h>
#include <foundation/line_search.h>
#include <foundation/lines.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>

#include <cstring>

namespace {

using LogText = FixedText<TAMBA_JOBLOG_MSG_SIZE>;

constexpr size_t kLineLength = 510;
constexpr size_t kLeastLength = 28; // shorter lines hold no code
constexpr size_t kErrorColumn = 30, kFallbackColumn = 31, kPayloadColumn = 40, kReplyColumn = 50,
                 kConnectColumn = 130;

struct Job {
    BackupLogResult *result;
    const char *saveset, *source;
    std::string file;
    std::string status; // as the caller gave it
    char state = '*';
    int32_t invalid_paths = 0;
    LogText error;
    FixedText<15> start;
};

bool holds(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

// ---- lines ----------------------------------------------------------------------------------------------------------

void fail(Job *job, std::string_view error)
{
    job->state = 'X';
    job->error.assign(error);
}

void take_items(Job *job, const LogLine &line, TraceScope &scope)
{
    const std::string shown(line.text());
    const size_t items = line.text().find("Items");
    if (items == std::string_view::npos)
        return scope.note("format error in line: %s", shown.c_str());
    BackupLogResult &result = *job->result;
    if (scan_items(line.text().substr(items), &result.processed_items, &result.not_processed_items) < 2)
        return scope.note("sscanf format error in line: %s", shown.c_str());
    scope.note("Processed Items=%ld   Not Processed Items=%ld", static_cast<long>(result.processed_items),
               static_cast<long>(result.not_processed_items));
}

void take_start(Job *job, const LogLine &line, TraceScope &scope)
{
    const std::string_view payload = line.from(kPayloadColumn);
    const size_t bracket = payload.find('[');
    if (bracket == std::string_view::npos)
        return;
    job->start.assign(payload.substr(bracket + 1));
    scope.note("found code 3074 : TbcStart=%s", job->start.c_str());
}

// The listing of an image backup, beside the log.
void keep_segment(const Job &job, const LogLine &line, TraceScope &scope)
{
    const std::string text = "#" + std::string(line.from(kPayloadColumn)) + "\n";
    const std::string file =
        job.file.substr(0, job.file.size() - std::min<size_t>(job.file.size(), 3)) + "sgm";
    const bool kept = pl_append(file.c_str(), text.data(), text.size(), nullptr) == PlAppend::done;
    scope.note("code 3998:%s  -> %s (%s)", std::string(line.from(kPayloadColumn)).c_str(), file.c_str(),
               kept ? "ok" : "failed");
}

// A tape that is closed already needs no trailer: the data are complete.
bool is_harmless(const LogLine &line, TraceScope &scope)
{
    const std::string_view reply = line.from(kReplyColumn);
    if (!holds(reply, " 553 ") || !holds(reply, " 2010: "))
        return false;
    scope.note("found special case 1007 : 553 STOR Failed. 2010: Failed to write Tape Trailer. Tape is "
               "already closed.");
    return true;
}

// Later lines count more than earlier ones, but a good end is none once something else was said.
void take_code(Job *job, const LogLine &line, TraceScope &scope)
{
    const int32_t code = line.number();
    switch (code) {
    case 3007:
    case 2032:
        if (job->state == '*')
            job->state = code == 3007 ? '0' : '1';
        return;
    case 1028:
    case 1145:
        job->state = '3';
        return;
    case 2030:
        ++job->invalid_paths;
        return;
    case 3052:
        return take_items(job, line, scope);
    case 3053:
        return fail(job, "Operation failed");
    case 3074:
        return take_start(job, line, scope);
    case 3998:
        return keep_segment(*job, line, scope);
    case 3999:
        copy_text(job->result->ndmp_info, sizeof job->result->ndmp_info, line.from(kPayloadColumn));
        return scope.note("found code 3999 : NdmpInfo=%s", job->result->ndmp_info);
    default:
        if (code / 1000 == 1 && !(code == 1007 && is_harmless(line, scope)))
            fail(job, line.from(kErrorColumn));
    }
}

void take_line(Job *job, std::string_view text, bool fine, TraceScope &scope)
{
    if (fine)
        scope.fine("line: %s", std::string(text).c_str());
    if (text.size() < kLeastLength)
        return;
    const LogLine line(text);
    if (line.has_code())
        take_code(job, line, scope);
    else if (fine)
        scope.fine("message code is not in tbc format: %s", std::string(line.code()).c_str());
}

// False when the log cannot be read to its end: what was not read could be the failure.
bool read_log(Job *job, FILE *stream, TraceScope &scope)
{
    std::setvbuf(stream, nullptr, _IONBF, 0); // the blocks are large enough
    char buffer[size_t{32} << 10];
    const bool fine = traces(scope.context(), kTraceFine);
    LineBlocks blocks(stream, buffer, sizeof buffer, kLineLength);
    for (std::string_view block, text; blocks.next(&block);)
        for (LineReader lines(block, kLineLength); lines.next(&text);)
            take_line(job, text, fine, scope);
    return std::ferror(stream) == 0;
}

// ---- why a backup failed ----------------------------------------------------------------------------------------------

bool tape_was_busy(const LogText &error)
{
    return holds(error.view(), "2001: Invalid Tape ID.") ||
           holds(error.view(), "1024: TBS is not in allowed state for this command.") ||
           holds(error.view(), "1011: Tapemark detected.");
}

// The line of a transfer that failed: its cause tells whether a repetition can help.
void judge_transfer(Job *job, std::string_view text, TraceScope &scope)
{
    struct Cause {
        const char *sign;
        char state;
    };
    size_t at = std::string_view::npos;
    for (const Cause &cause : {Cause{"2002: ", 'E'}, Cause{"530 ", 'L'}, Cause{"connect() failed", 'R'}}) {
        at = text.find(cause.sign);
        if (at == std::string_view::npos)
            continue;
        job->state = cause.state;
        job->error.assign(cause.state == 'R' ? LogLine(text).from(kConnectColumn) : text.substr(at));
        break;
    }
    if (at == std::string_view::npos && tape_was_busy(job->error))
        job->state = 'R';
    else if (at == std::string_view::npos)
        job->error.assign(LogLine(text).from(kFallbackColumn));
    scope.note("TBC message: %s", job->error.c_str());
}

void refine_failure(Job *job, TraceScope &scope)
{
    scope.note("backup failed: search for more tbc information");
    FixedText<TAMBA_PATTERN_SIZE> line;
    if (find_line(job->file.c_str(), "-1145: ^", &line)) {
        job->state = '3';
    } else if (find_line(job->file.c_str(), "-1009: |OR|-1010: ^", &line)) {
        judge_transfer(job, line.view(), scope);
    } else if (job->invalid_paths < 1) {
        if (tape_was_busy(job->error))
            job->state = 'R';
    } else {
        message_to<Msg::kSourceMissing>(job->error.data(), LogText::capacity(), job->source);
        scope.note("there was at least 1 invalid path: %s", job->error.c_str());
    }
}

// ---- the answer -----------------------------------------------------------------------------------------------------

void answer(Job *job, char state, const std::string &message)
{
    job->state = state;
    const char text[] = {state, '\0'};
    copy_text(job->result->state, sizeof job->result->state, text);
    copy_text(job->result->message, sizeof job->result->message, message);
}

// For a log that could not be judged.
void answer_failed(Job *job, const char *reason)
{
    answer(job, 'X', format_string("%s/%s/%s", job->status.c_str(), job->saveset, reason));
}

void answer_judged(Job *job, char state, const std::string &text)
{
    answer(job, state,
           format_string("%s/%s/%s/%s", job->result->status, job->saveset, job->start.c_str(), text.c_str()));
}

// Only what changed is saved by an incremental or differential backup: nothing may have changed.
bool may_be_empty(const char *saveset)
{
    return saveset[0] != '\0' && (saveset[1] == 'I' || saveset[1] == 'D');
}

void answer_good(Job *job)
{
    const bool empty = job->status == "0", warned = job->state == '1';
    const std::string text = message_format(warned ? Msg::kSeeProtocol : Msg::kBackupGood);
    const char *const nothing = message_format(Msg::kEmptyListing);
    if (!empty)
        answer_judged(job, job->state, text);
    else if (!warned)
        answer_judged(job, may_be_empty(job->saveset) ? '1' : '2', nothing);
    else if (may_be_empty(job->saveset))
        answer_judged(job, '1', text);
    else
        answer_judged(job, '2', text + ": " + nothing);
}

int32_t conclude(Job *job, TraceScope &scope)
{
    switch (job->state) {
    case '0':
    case '1':
        answer_good(job); // an empty listing changes the state, not the result
        return 1;
    case '3':
        scope.note("received abort signal from BREAK_BACKUP");
        copy_text(job->result->status, sizeof job->result->status, "3");
        answer_judged(job, '3', format_string("%s %s", message_format(Msg::kAbortedBy), "GUI"));
        return 0;
    default:
        answer_judged(job, job->state, job->error.c_str());
        return 0;
    }
}

// Whether another program has given the backup up, because the medium after a full one could not be had.
bool is_broken_off(const std::string &variable, TraceScope &scope)
{
    if (!holds(variable, "gv_tbs_eom_"))
        return false;
    GlobalValue value;
    serve_variable('r', variable.c_str(), value.data());
    scope.note("full name of gv_tbs_eom_ was sent, so analyse it too %s = %s", variable.c_str(),
               value.c_str());
    if (value.view() != "BREAK")
        return false;
    serve_variable('d', variable.c_str(), value.data());
    return true;
}

template <size_t Size> std::string bounded(const char (&text)[Size])
{
    return {text, strnlen(text, Size)};
}

int32_t analyse(Job *job, TraceScope &scope)
{
    const auto unread = [&](const char *why) {
        LogText text;
        message_to<Msg::kLogNotOpened>(text.data(), LogText::capacity(), job->file.c_str());
        answer_failed(job, text.c_str());
        return scope.leave(0, "--- ANALYSE_BACKUP_LOG Sts=%s msg=%s  -> %s", job->result->state,
                           job->result->message, why);
    };
    const PlFile stream(pl_fopen(job->file.c_str(), "rb"));
    if (!stream)
        return unread("could not open for read");
    scope.note("search in %s for several key-strings and count them", job->file.c_str());
    if (!read_log(job, stream.get(), scope))
        return unread("could not read to its end");
    scope.note("counter of invalid pathes: %d", job->invalid_paths);
    if (job->state == '*') {
        answer_failed(job, message_format(Msg::kLogWithoutEnd));
        return scope.leave(0, "--- ANALYSE_BACKUP_LOG  Sts= %s   msg=%s", job->result->state,
                           job->result->message);
    }
    scope.note("bckSts=%c  msg=%s", job->state, job->error.c_str());
    if (job->state == 'X')
        refine_failure(job, scope);
    const int32_t result = conclude(job, scope);
    return scope.leave(result, "--- ANALYSE_BACKUP_LOG  Sts=%s  msg=%s", job->result->state,
                       job->result->message);
}

} // namespace

int32_t i_ANALYSE_BACKUP_LOG(BackupLogResult *result, const char *saveset, const char *not_file,
                             const char *source, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ ANALYSE_BACKUP_LOG  saveset=%s  NOT-file=%s",
                     text_or_empty(saveset), text_or_empty(not_file));
    if (!result)
        return scope.leave(0, "--- ANALYSE_BACKUP_LOG  no record");
    FixedText<TAMBA_RESOLVE_SIZE> file{text_or_empty(not_file)};
    resolve_glbv(file.data()); // an unknown name stays, and is then no file
    Job job{result,
            text_or_empty(saveset),
            text_or_empty(source),
            file.c_str(),
            bounded(result->status),
            '*',
            0,
            {},
            {}};
    copy_text(result->status, sizeof result->status, job.status);
    if (is_broken_off(bounded(result->message), scope)) {
        answer_failed(&job, message_format(Msg::kNextMediumFailed));
        return scope.leave(0, "--- ANALYSE_BACKUP_LOG Sts=%s  msg=%s", result->state, result->message);
    }
    return analyse(&job, scope);
}
