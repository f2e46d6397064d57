// What the agent's protocol of a restore says.
#include <tamba/joblog.h>

#include <backup/joblog.h>
#include <foundation/lines.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <tamba/config.h>

namespace {

using LogText = FixedText<TAMBA_JOBLOG_MSG_SIZE>;

constexpr size_t kLineLength = 255;

// One run of the protocol.
struct Run {
    char status = 'X';
    std::string message = message_format(Msg::kRestoreBad);
    bool aborted = false, closed = false,
         over = false; // over: a failure was found, the rest says nothing new
    bool sql = false;  // of a database, which counts no items
    int32_t warnings = 0, processed = 0, not_processed = 0;
};

void set(Run *run, char status, const std::string &message)
{
    run->status = status;
    run->message = message;
}

void take_items(Run *run, const LogLine &line, TraceScope &scope)
{
    const std::string_view text = line.from(line.code_column());
    const size_t items = text.find("Items");
    std::string head(text.substr(0, items));
    std::erase_if(head, [](char c) { return c == ' ' || c == '\t'; });
    int read = 0;
    if (items != std::string_view::npos && head == "-3052:Info:")
        read = scan_items(text.substr(items), &run->processed, &run->not_processed);
    if (read < 2)
        scope.note("sscanf format error in line: %s", std::string(line.text()).c_str());
    scope.note("Processed Items=%ld   Not Processed Items=%ld", static_cast<long>(run->processed),
               static_cast<long>(run->not_processed));
}

// The first failure before anything succeeded ends the run.
void take_failure(Run *run, const LogLine &line, TraceScope &scope)
{
    if (run->status != 'X')
        return;
    const std::string text(line.text());
    const char *const bad = message_format(Msg::kRestoreBad);
    run->over = true;
    if (text.find("Unsuccessful tape change") != std::string::npos)
        return set(run, 'X', format_string("%s %s", message_format(Msg::kRestoreTapeChange), bad));
    if (!run->closed)
        return set(run, 'X', format_string("%s %s", bad, text.c_str()));
    scope.note("Error message after closing saveset: %s", text.c_str());
    set(run, '1', message_format(Msg::kRestoreWarnings));
}

void take_line(Run *run, std::string_view text, TraceScope &scope)
{
    const LogLine line(text);
    if (!line.has_mark() && text.find("TAMBA MS SQL Server") != std::string_view::npos) {
        run->sql = true;
        scope.note("INFO:SET RESTORE FLAG FOR TAMBA MS SQL Server");
    }
    scope.fine("CountPos=%d  SqlFlag=%d", static_cast<int>(line.code_column()), run->sql ? 1 : 0);
    const std::string_view code = line.code(5);
    if (code == "-3007" || code == "-2032")
        set(run, '0', message_format(Msg::kRestoreGood));
    else if (code == "-3021")
        ++run->warnings;
    else if (code == "-3005")
        run->closed = true;
    else if (code == "-3052")
        take_items(run, line, scope);
    else if (code == "-1145")
        run->aborted = true;
    else if (code.starts_with("-1"))
        take_failure(run, line, scope);
    scope.fine("Sts=%c  msg=%s", run->status, run->message.c_str());
}

// The protocol holds every run of the day: a welcome begins the next one, and only the last counts.  False when it cannot
// be read to its end.
bool read_last_run(Run *run, FILE *stream, TraceScope &scope)
{
    std::setvbuf(stream, nullptr, _IONBF, 0); // the blocks are large enough
    char buffer[size_t{32} << 10];
    int32_t runs = 0;
    LineBlocks blocks(stream, buffer, sizeof buffer, kLineLength);
    for (std::string_view block, text; blocks.next(&block);)
        for (LineReader lines(block, kLineLength); lines.next(&text);)
            if (text.find("tbc-3036") != std::string_view::npos) {
                scope.note("got: %s", std::string(text).c_str());
                *run = {};
                ++runs;
            } else if (!run->over) {
                take_line(run, text, scope);
            }
    if (runs > 0)
        scope.note("got %d welcome messages", runs);
    else
        scope.note("Didn't got any welcome messages so start analyse from beginning");
    return std::ferror(stream) == 0;
}

// ---- the answer -----------------------------------------------------------------------------------------------------

void judge_processed(Run *run, bool overwrite, TraceScope &scope)
{
    if (run->sql)
        return scope.note("INFO:FOUND RESTORE FLAG TAMBA MS SQL Server");
    if (run->processed == 0) {
        if (!overwrite && run->not_processed > 0)
            set(run, '1', message_format(Msg::kRestoreAllThere));
        else
            set(run, 'X', message_format(Msg::kRestoreNothing));
        scope.note("cOverFlag '%c' && ProcessedItems == 0 - set state to %c bcs. %s", overwrite ? 'y' : 'n',
                   run->status, run->message.c_str());
    } else if (run->not_processed > 0) {
        scope.note("Set state to warning bcs. iNotProcessedItems == %ld",
                   static_cast<long>(run->not_processed));
        set(run, '1', message_format(Msg::kRestoreWarnings));
    }
}

// The first rule that applies decides.  A database restore without any count fails by the second one: a wrong "failed" is
// looked at, a wrong "successful" is not.
void judge(Run *run, bool overwrite, TraceScope &scope)
{
    if (run->status == '0' && run->warnings >= 1) {
        scope.note("Set state to warning bcs. of tbc warning messages (tbc-3021) (%d times)", run->warnings);
        set(run, '1', message_format(Msg::kRestoreWarnings));
    } else if (run->processed == 0 && run->not_processed == 0) {
        set(run, 'X', message_format(Msg::kRestoreNothing));
        scope.note("ProcessedItems == 0 - set state to %c bcs. %s", run->status, run->message.c_str());
    } else if (run->status == '0') {
        judge_processed(run, overwrite, scope);
    }
}

// False when the protocol cannot be used.
bool analyse(Run *run, const char *file, TraceScope &scope)
{
    PlFile stream(pl_fopen(file, "rb"));
    if (!stream)
        return false;
    scope.note("loop PROT-file %s", file);
    if (!read_last_run(run, stream.get(), scope))
        return false;
    stream.reset();
    const std::string line = "\n\nTBC-STATUS: " + run->message + "\n";
    return pl_append(file, line.data(), line.size(), nullptr) == PlAppend::done;
}

} // namespace

int32_t i_ANALYSE_RESTORE_LOG(const char *prot_file, const char *saveset, const char *start, char *status,
                              char *message, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ ANALYSE_RESTORE_LOG  protfile:%s  saveset:%s start:%s",
                     text_or_empty(prot_file), text_or_empty(saveset), text_or_empty(start));
    const bool overwrite = std::string_view(text_or_empty(message)) != "not_overwrite";
    FixedText<TAMBA_RESOLVE_SIZE> file{text_or_empty(prot_file)};
    resolve_glbv(file.data()); // an unknown name stays, and is then no file
    Run run;
    int32_t result = 0;
    if (!analyse(&run, file.c_str(), scope)) {
        LogText text;
        message_to<Msg::kRestoreNoProtocol>(text.data(), LogText::capacity(), file.c_str());
        set(&run, 'X', text.c_str());
    } else if (run.aborted) {
        scope.note("received abort signal (1145)");
        set(&run, 'c', message_format(Msg::kRestoreAborted));
    } else {
        judge(&run, overwrite, scope);
        result = 1;
    }
    const char text[] = {run.status, '\0'};
    copy_text(status, TAMBA_JOBLOG_STATUS_SIZE, text);
    copy_text(message, TAMBA_JOBLOG_MSG_SIZE, run.message);
    return scope.leave(result, "--- ANALYSE_RESTORE_LOG Sts=%s  msg=%s", text, run.message.c_str());
}
