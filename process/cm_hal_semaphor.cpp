// Named semaphores: files whose first byte is locked.
#include <tamba/semaphore.h>

#include <foundation/glbv.h>
#include <foundation/log_setup.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/lock_file.h>
#include <platform/process.h>
#include <process/open_semaphores.h>
#include <process/sema_report.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kHolderTextSize = 513; // what an inquiry reads of the file, and the terminator
constexpr size_t kErrorTextSize = 256;
constexpr size_t kUnknownLength = SIZE_MAX;

using ErrorText = FixedText<kErrorTextSize>;
using SemaPath = FixedText<TAMBA_RESOLVE_SIZE>;

ErrorText system_text(PlError error)
{
    ErrorText text;
    pl_error_text(error.number, text.data(), text.capacity());
    return text;
}

// The semaphore's name as a part of file names.
FixedText<32> file_word(const char *name)
{
    FixedText<32> word(name);
    for (char *c = word.data(); *c; ++c)
        if (std::strchr("\\/:*?\"<>|", *c))
            *c = '_';
    return word;
}

// One call of i_SEMA: the record, the two traces, and the operations.
class Operation {
public:
    Operation(SemaRecord &record, TraceContext &caller, TraceContext &trace, const IniFile &ini)
        : record_(record), caller_(caller), trace_(trace), ini_(ini),
          pid_(static_cast<int32_t>(pl_process_id()))
    {
        path_.format("gv_rw_work:sem\\%s.sem", file_word(record.name).c_str());
        resolve_path_n(path_.data(), path_.capacity(), ini);
        pl_native_path(path_.data()); // as the messages show it, for operators to paste
        trace_at(trace_, kTraceDetail, "sema file name: '%s'", path_.c_str());
    }

    int32_t perform(char operation);

private:
    int32_t lock(bool wait);
    int32_t release();
    int32_t inquire();

    int32_t inquire_first(TB_HANDLE *handle, bool *taken, size_t *length);
    int32_t examine(TB_HANDLE handle, bool take, bool *taken, size_t *length);
    int32_t not_opened();
    void make_directory();
    int32_t already_mine();
    int32_t hold(TB_HANDLE handle, size_t former_length);
    void close_leftover();

    // The message becomes the system's text of an error.
    void say_error(PlError error)
    {
        copy_text(record_.message, sizeof record_.message, system_text(error).view());
    }

    SemaRecord &record_;
    TraceContext &caller_;
    TraceContext &trace_;
    const IniFile &ini_;
    const int32_t pid_;
    SemaPath path_;
};

int32_t Operation::perform(char operation)
{
    switch (operation) {
    case '+':
    case 'S':
        return lock(true);
    case '*':
        return lock(false);
    case '-':
    case 'R':
        return release();
    case '?':
        return inquire();
    default:
        format_text(record_.message, sizeof record_.message, "invalid argument %c", operation);
        return 0;
    }
}

// ---- inquiry

int32_t Operation::inquire()
{
    format_text(record_.message, sizeof record_.message, "semaphore %s is free", record_.name);
    TB_HANDLE handle = nullptr;
    if (!pl_lock_open(path_.c_str(), PlLockOpen::read, &handle))
        return not_opened();
    bool free;
    size_t length;
    const int32_t locked = examine(handle, false, &free, &length);
    pl_close(handle);
    return locked;
}

// Reads who holds or held the semaphore and finds out whether the lock is free; with take a free lock is
// kept.
int32_t Operation::examine(TB_HANDLE handle, bool take, bool *taken, size_t *length)
{
    *taken = take ? pl_lock(handle, false) : pl_lock_probe(handle);
    const PlError refused = pl_last_error();
    char holder[kHolderTextSize];
    size_t got;
    if (!pl_lock_read(handle, holder, sizeof holder - 1, &got)) {
        say_error(pl_last_error());
        trace_at(trace_, kTraceMain, "ERROR: %s", record_.message);
        *length = kUnknownLength;
        return 1;
    }
    holder[got] = '\0';
    *length = got < sizeof holder - 1 ? got + 1 : kUnknownLength;
    copy_text(record_.message, sizeof record_.message, holder);
    trace_at(trace_, kTraceMain, "got (%d): %s", static_cast<int>(got), holder);
    trace_at(trace_, kTraceDetail, "[%6d]+ %s try to inquire lock state requested by %s", pid_, record_.name,
             record_.requester);
    if (*taken) {
        trace_at(trace_, kTraceMain, "WARNING: holding process %s for semaphore %s disappeared", holder,
                 record_.name);
        return 0;
    }
    if (refused.kind == PL_LOCK_VIOLATION) {
        trace_at(trace_, kTraceMain, "sema %s still locked by %s", record_.name, holder);
    } else {
        trace_at(trace_, kTraceMain, "WARNING: sema %s still locked: error %d", record_.name, refused.number);
        trace_at(trace_, kTraceMain, "ERROR: %s", system_text(refused).c_str());
    }
    return 1;
}

int32_t Operation::not_opened()
{
    const PlError error = pl_last_error();
    if (error.kind == PL_FILE_NOT_FOUND || error.kind == PL_PATH_NOT_FOUND) {
        // A file is missing until its first use; a missing directory deserves more attention.
        const bool no_directory = error.kind == PL_PATH_NOT_FOUND;
        trace_at(trace_, no_directory ? kTraceMain : kTraceDetail, "sema file %s does not exist",
                 path_.c_str());
        if (no_directory)
            make_directory();
        return 0;
    }
    say_error(error);
    trace_at(trace_, kTraceMain, "ERROR: (%d) %s", error.number, record_.message);
    return 1;
}

void Operation::make_directory()
{
    SemaPath directory("gv_rw_work:sem");
    resolve_path_n(directory.data(), directory.capacity(), ini_);
    pl_native_path(directory.data());
    FixedText<TAMBA_RESOLVE_SIZE + 64> text;
    text.format("directory %s is missing", directory.c_str());
    sema_report(SemaSeverity::warning, text.c_str(), caller_, trace_);
    // A work directory that is not configured left its name: that would become a directory in the working
    // directory.
    if (directory.view().starts_with("gv_rw_work:"))
        return;
    trace_at(trace_, kTraceMain, "try to create directory %s", directory.c_str());
    if (pl_make_dir(directory.c_str()) || pl_last_error().kind == PL_ALREADY_EXISTS)
        return; // another process may have been quicker
    const PlError error = pl_last_error();
    trace_at(trace_, kTraceMain, "ERROR: (%d) %s", error.number, system_text(error).c_str());
    text.format("failed to create directory %s: (%d) %s ", directory.c_str(), error.number,
                system_text(error).c_str());
    sema_report(SemaSeverity::error, text.c_str(), caller_, trace_);
}

// ---- lock

// The inquiry before a lock, with lines of its own.  A file that is there is opened once for inquiry and
// lock: the inquiry then takes a free lock and keeps it.  Everything else (nothing there, not ours to write)
// goes the inquiry's own way.
int32_t Operation::inquire_first(TB_HANDLE *handle, bool *taken, size_t *length)
{
    TraceContext copy = trace_;
    TraceScope scope(copy, kTraceMain, "+++ SEMA [%6d] %c  %s", pid_, '?', record_.name);
    int32_t locked;
    if (pl_lock_open(path_.c_str(), PlLockOpen::write, handle))
        locked = examine(*handle, true, taken, length);
    else
        locked = inquire();
    return scope.leave(locked, "--- SEMA [%6d] %c returns: %d: %s", pid_, '?', locked, record_.message);
}

int32_t Operation::lock(bool wait)
{
    close_leftover();
    TB_HANDLE handle = nullptr;
    bool taken = false;
    size_t length = kUnknownLength;
    if (inquire_first(&handle, &taken, &length) == 1) {
        if (!taken && open_semaphores().holds(static_cast<uint32_t>(pid_), path_.view())) {
            pl_close(handle);
            return already_mine();
        }
        trace_at(trace_, kTraceDetail, "[%6d] + process %s is holding semaphore %s", pid_, record_.message,
                 record_.name);
    }
    if (!handle && !pl_lock_open(path_.c_str(), PlLockOpen::create, &handle)) {
        say_error(pl_last_error());
        record_.handle = nullptr;
        trace_at(trace_, kTraceMain, "[%6d] + ERROR: %s", pid_, record_.message);
        return 0;
    }
    // From here on the record has the file open, also without the lock: the release closes it.
    record_.handle = handle;
    open_semaphores().add(handle);
    trace_at(trace_, kTraceMain, "[%6d] + %s waiting requested by %s", pid_, record_.name, record_.requester);
    if (!taken) {
        length = kUnknownLength;
        if (!pl_lock(handle, wait)) {
            say_error(pl_last_error());
            trace_at(trace_, kTraceMain, "[%6d] +ERROR: %s", pid_, record_.message);
            return 0;
        }
    }
    return hold(handle, length);
}

int32_t Operation::already_mine()
{
    trace_at(trace_, kTraceMain, "[%6d] + WARNING: I am already occupying semaphore %s", pid_, record_.name);
    const FixedText<kHolderTextSize> holder(record_.message);
    format_text(record_.message, sizeof record_.message, "WARNING: I am already occupying semaphore %s: %s",
                record_.name, holder.c_str());
    return 1;
}

int32_t Operation::hold(TB_HANDLE handle, size_t former_length)
{
    open_semaphores().set_holding(handle, static_cast<uint32_t>(pid_), path_.view());
    trace_at(trace_, kTraceMain, "[%6d] + %s holding", pid_, record_.name);
    FixedText<sizeof record_.requester + 16> text;
    text.format(" %d %s", pid_, record_.requester);
    if (pl_lock_write(handle, text.c_str(), text.length(), former_length)) {
        format_text(record_.message, sizeof record_.message, "wrote PID %s to sema-file %s", text.c_str(),
                    path_.c_str());
        return 1;
    }
    // A full disk must not stop those who would make room: the lock is held, only its text is not known to
    // others.
    say_error(pl_last_error());
    trace_at(trace_, kTraceMain, "[%6d] +ERROR: %s", pid_, record_.message);
    return 1;
}

// A lock that was not obtained has left the file open in the record; a program that polls would collect them.
void Operation::close_leftover()
{
    if (!record_.handle || !open_semaphores().waits_for_release(record_.handle))
        return;
    open_semaphores().remove(record_.handle);
    pl_close(record_.handle);
    record_.handle = nullptr;
}

// ---- release

int32_t Operation::release()
{
    if (!record_.handle) {
        if (inquire() == 0)
            trace_at(trace_, kTraceMain, "[%6d] - %s", pid_, record_.message);
        else
            trace_at(trace_, kTraceMain, "[%6d] - WARNING: process %s is holding semaphore %s", pid_,
                     record_.message, record_.name);
        return 1;
    }
    // The record keeps its handle: callers see whether it ever held the semaphore.  The number is never given
    // out again, so a second release finds nothing to unlock and nothing to close.
    open_semaphores().remove(record_.handle);
    if (!pl_unlock(record_.handle)) {
        const ErrorText reason = system_text(pl_last_error());
        trace_at(trace_, kTraceMain, "[%6d] - ERROR: couldn't unlock sema %s! Sema still locked!", pid_,
                 record_.name);
        trace_at(trace_, kTraceMain, "[%6d] - ERROR: %s", pid_, reason.c_str());
    }
    trace_at(trace_, kTraceMain, "[%6d] - close sema file %s", pid_, path_.c_str());
    pl_close(record_.handle);
    trace_at(trace_, kTraceMain, "[%6d] - %s", pid_, record_.message);
    return 1;
}

void terminate(SemaRecord &record)
{
    record.name[sizeof record.name - 1] = '\0';
    record.requester[sizeof record.requester - 1] = '\0';
    record.message[sizeof record.message - 1] = '\0';
}

} // namespace

int32_t i_SEMA(char operation, SemaRecord *record, TraceContext trace)
{
    if (!record)
        return 0;
    terminate(*record);
    trace_at(trace, kTraceDetail, "SEMA %c %s", operation, record->name);
    // One reading of the ini file serves the trace's set-up and the path.
    const IniFile ini = IniFile::of_system_recent();
    TraceContext own = trace;
    FixedText<64> trace_file;
    trace_file.format("tb_sem_%s.lgc", file_word(record->name).c_str());
    set_log_main(trace_file.c_str(), "TB_SEM", own, ini);

    const int32_t pid = static_cast<int32_t>(pl_process_id());
    TraceScope scope(own, kTraceMain, "+++ SEMA [%6d] %c  %s", pid, operation, record->name);
    const int32_t result = Operation(*record, trace, own, ini).perform(operation);
    scope.leave(result, "--- SEMA [%6d] %c returns: %d: %s", pid, operation, result, record->message);
    trace_at(trace, kTraceDetail, "SEMA %c returns: %d: %s", operation, result, record->message);
    return result;
}

void sema_report(SemaSeverity severity, const char *text, TraceContext &caller, TraceContext &semaphore)
{
    constexpr const char *kWords[] = {"SUCCESS", "WARNING", "ERROR", "FATAL"};
    const int number = errno;
    const char *const word = kWords[static_cast<size_t>(severity)];
    ErrorText reason;
    pl_c_error_text(number, reason.data(), reason.capacity());
    trace_at(caller, kTraceMain, "%s: %s: (%d) %s", word, text, number, reason.c_str());
    trace_at(semaphore, kTraceMain, "[%6d] %s: %s: (%d) %s", static_cast<int32_t>(pl_process_id()), word,
             text, number, reason.c_str());
    if (severity != SemaSeverity::fatal)
        return;
    std::printf("STATUS=%s MSG=%s: (%d) %s\n", word, text, number, reason.c_str());
    std::fflush(stdout);
    std::exit(3);
}
