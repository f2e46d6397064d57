// Is a drive online?  And waiting until it is.
#include <backup/drive.h>

#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <platform/clock.h>
#include <platform/error.h>
#include <platform/tape.h>
#include <tamba/client.h>
#include <tamba/config.h>
#include <tamba/time_stamp.h>

namespace {

// Texts that other code compares, the same in every language.
constexpr const char kOnline[] = "online";
constexpr const char kNoTape[] = "No tape in drive";
constexpr const char kNoDevice[] = "No such device or address";

constexpr int32_t kDefaultTimeout = 300; // seconds
constexpr int32_t kPause = 5;

enum WaitResult : int32_t { kShutdown = -1, kNotOnline = 0, kIsOnline = 1, kGoOn = 2 };

// ---- asking ---------------------------------------------------------------------------------------------------------

DriveMessage local_status(const char *device)
{
    switch (pl_tape_status(device)) {
    case PlTape::online:
        return DriveMessage(kOnline);
    case PlTape::no_tape:
        return DriveMessage(kNoTape);
    case PlTape::no_device:
        return DriveMessage(kNoDevice);
    default:
        break;
    }
    DriveMessage reason;
    if (pl_error_text(pl_last_error().number, reason.data(), TAMBA_DRIVE_MSG_SIZE) == 0)
        reason.format("error %d", pl_last_error().number);
    return reason;
}

bool ask_host(const char *host, const char *device, DriveMessage *msg, TraceContext &trace)
{
    if (!is_plain_host(host) || !is_plain_path(device)) {
        msg->format("device \"%s\" of host \"%s\" cannot stand in a command", device, host);
        return false;
    }
    const ProgramAnswer answer =
        run_on_host(host, "tapestat", format_string("tb_client -r -f tapestatus -n %s", device), trace);
    *msg = answer.success ? DriveMessage(kOnline) : answer.text;
    return answer.success;
}

// ---- waiting --------------------------------------------------------------------------------------------------------

// One wait.
struct OnlineWait {
    const char *host, *drive_num, *device;
    bool for_insert;
    int32_t timeout;
    int64_t begin;
    std::string group;
    TraceScope &scope;
    TraceContext passes; // what the passes trace with
    DriveMessage status;
};

int32_t read_timeout(TraceScope &scope)
{
    char value[64] = "", reason[256];
    bool taken = false;
    if (i_READ_INI("TB_INI", "[Params]", "gv_timeout_for_online", value, sizeof value, reason,
                   sizeof reason) == 1) {
        const int32_t timeout = to_int32(value, &taken);
        scope.note("timeout= %s", value);
        if (taken)
            return timeout;
    }
    scope.note("timeout value not found in tb_ini - using default value %d seconds", kDefaultTimeout);
    return kDefaultTimeout;
}

int32_t end_by_shutdown(OnlineWait *wait, const char *text)
{
    gcInterrupt = 'y';
    post(wait->drive_num, text);
    trace_at(wait->passes, kTraceMain, "Shutdown flag set: %s ", text);
    return kShutdown;
}

int32_t end_by_interrupt(OnlineWait *wait)
{
    report<Msg::kInterrupted>(wait->drive_num);
    trace_at(wait->passes, kTraceMain, "Interrupt signal flag set");
    return kNotOnline;
}

// What a drive that is not online means for the wait.
int32_t judge_status(const OnlineWait &wait, TraceContext &trace)
{
    if (wait.status.view() == kNoTape && !wait.for_insert) {
        trace_at(trace, kTraceMain, "No_tape_in_drive and no wait for inserting");
        return kNotOnline;
    }
    if (pl_now().seconds - wait.begin > wait.timeout) {
        trace_at(trace, kTraceMain, "TIMEOUT for waiting until online - timeout = %d seconds", wait.timeout);
        return kNotOnline;
    }
    if (wait.status.view() == kNoDevice) {
        trace_at(trace, kTraceMain, "Device not configured ");
        return kNotOnline;
    }
    return kGoOn;
}

// A long wait must not flood the caller's trace: its later passes are another module's.
void switch_trace(OnlineWait *wait, int32_t pass)
{
    if (pass == 1)
        wait->scope.note("ATTENTION: Please set TB_WAIT_ONLINE in debug.ini for further detailled logging");
    else if (pass == 2)
        v_set_log_main(wait->passes.path, "TB_WAIT_ONLINE", &wait->passes);
}

int32_t make_pass(OnlineWait *wait, int32_t pass)
{
    TraceContext &trace = wait->passes;
    trace_at(trace, kTraceMain, "COUNTER = %d", pass);
    char shutdown[TAMBA_CLIENT_MSG_SIZE] = "";
    if (i_CHECK_SHUTDOWN_IN_PROGRESS(wait->group.c_str(), shutdown, trace) == 1)
        return end_by_shutdown(wait, shutdown);
    if (gcInterrupt == 'y')
        return end_by_interrupt(wait);
    switch_trace(wait, pass);
    if (i_TAPE_STATUS_REMOTE(wait->host, wait->device, wait->status.data(), trace) == 1)
        return kIsOnline;
    return judge_status(*wait, trace);
}

int32_t wait_online(OnlineWait *wait)
{
    for (int32_t pass = 1;; ++pass) {
        const int32_t result = make_pass(wait, pass);
        if (result != kGoOn)
            return result;
        trace_at(wait->passes, kTraceMain, "sleeping %d seconds", kPause);
        wait_sec(kPause);
    }
}

} // namespace

bool shutdown_group(const char *drive_num, std::string *group, DriveMessage *reason, TraceContext &trace)
{
    int32_t count = 0;
    const Found found = drive_group("", drive_num, group, &count, reason, trace);
    if (group->empty()) // there is none, or it has no name
        *group = drive_num;
    return found != Found::unreadable;
}

int32_t i_TAPE_STATUS_LOCAL(const char *device, char *msg, TraceContext trace)
{
    device = text_or_empty(device);
    TraceScope scope(trace, kTraceMain, "+++ TAPE_STATUS_LOCAL  %s", device);
    const DriveMessage status = local_status(device);
    const int32_t result = status.view() == kOnline ? 1 : 0;
    copy_text(msg, TAMBA_DRIVE_MSG_SIZE, status.view());
    return scope.leave(result, "--- TAPE_STATUS_LOCAL returns %d  msg:%s", result, status.c_str());
}

int32_t i_TAPE_STATUS_REMOTE(const char *host, const char *device, char *msg, TraceContext trace)
{
    host = text_or_empty(host);
    device = text_or_empty(device);
    TraceScope scope(trace, kTraceMain, "+++ TAPE_STATUS_REMOTE  %s  %s", host, device);
    DriveMessage status;
    const int32_t result = ask_host(host, device, &status, scope.context()) ? 1 : 0;
    copy_text(msg, TAMBA_DRIVE_MSG_SIZE, status.view());
    return scope.leave(result, "--- TAPE_STATUS_REMOTE returns %d  msg:%s", result, status.c_str());
}

int32_t i_wait_until_drive_online(const char *host, const char *drive_num, int32_t wait_for_insert,
                                  const char *device, TraceContext trace)
{
    host = text_or_empty(host);
    drive_num = text_or_empty(drive_num);
    TraceScope scope(trace, kTraceMain, "+++ ZDL WAIT_UNTIL_DRIVE_ONLINE in  %s  %s  %s", kLibraryVersion,
                     host, drive_num);
    if (wait_for_insert == 1)
        scope.note("waiting for inserting of the medium is specified");
    const int32_t timeout = read_timeout(scope);
    OnlineWait wait{host,
                    drive_num,
                    text_or_empty(device),
                    wait_for_insert == 1,
                    timeout,
                    pl_now().seconds,
                    {},
                    scope,
                    scope.context(),
                    {}};
    const int32_t result = shutdown_group(drive_num, &wait.group, &wait.status, scope.context())
                               ? wait_online(&wait)
                               : kNotOnline;
    return scope.leave(result, "--- ZDL WAIT_UNTIL_DRIVE_ONLINE  returns %d   msg of TAPE_STATUS_REMOTE %s",
                       result, wait.status.c_str());
}
