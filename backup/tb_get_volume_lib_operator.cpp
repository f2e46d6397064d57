// A drive without a robot: an operator is called, and every medium that comes is looked at until one may be used.
#include <backup/medium.h>
#include <backup/volume.h>
#include <platform/clock.h>
#include <tamba/client.h>
#include <tamba/process.h>

namespace {

constexpr int32_t kPassesToAlarm = 4;
constexpr uint32_t kShortestPass =
    1000; // milliseconds: a wait that returns at once must not make the loop spin

struct OperatorRequest {
    VolumeRequest &request;
    TraceScope &scope;
    TraceContext
        waiting; // of what happens in every pass, so that a long wait does not flood the caller's trace
    VolumeMessage call; // what the operator reads
    std::string group;  // of drives, that a shutdown stops
    int32_t passes = 0;
    bool alarm_sent = false;

    const char *drive() const { return request.strategy.drive_num; }
    const char *label() const { return request.strategy.requested_label; }
};

// How a pass ended.
enum class Pass { again, accepted, blank, failed };

// An argument in double quotes that passes every command interpreter as it is.
VolumeMessage quotable(const VolumeMessage &text)
{
    VolumeMessage out = text;
    for (char *at = out.data(); *at != '\0'; ++at) {
        if (*at == '"')
            *at = '\'';
        else if (std::string_view("$`\\%^!\r\n").find(*at) != std::string_view::npos)
            *at = '_';
    }
    return out;
}

// Nobody waits for these programs, and the request goes on without them.
void call_notify(OperatorRequest &op)
{
    const VolumeMessage text = quotable(op.call);
    op.scope.note("call: tb_notify GET_VOLUME %s", text.c_str());
    iCREATE_ASYNC_SUBPROCESS(format_string("tb_notify GET_VOLUME \"%s\"", text.c_str()).c_str(),
                             op.scope.context());
}

void call_alarm(OperatorRequest &op)
{
    const VolumeMessage text = quotable(op.call);
    op.scope.note("call: tb_alarm GET_VOLUME %s", text.c_str());
    iCREATE_ASYNC_SUBPROCESS(format_string("tb_alarm GET_VOLUME \"%s\"", text.c_str()).c_str(),
                             op.scope.context());
}

// Whoever cannot see a shutdown must not start to wait.
bool find_group(OperatorRequest &op)
{
    DriveMessage reason;
    if (shutdown_group(op.drive(), &op.group, &reason, op.scope.context()))
        return true;
    op.request.message.assign(reason.view());
    return false;
}

bool shutdown_runs(OperatorRequest &op)
{
    char msg[TAMBA_CLIENT_MSG_SIZE] = "";
    if (i_CHECK_SHUTDOWN_IN_PROGRESS(op.group.c_str(), msg, op.waiting) != 1)
        return false;
    gcInterrupt = 'y';
    op.request.message.assign(msg);
    return true;
}

bool is_interrupted(OperatorRequest &op)
{
    if (gcInterrupt != 'y')
        return false;
    message_to<Msg::kInterrupted>(op.request.message.data(), op.request.message.capacity());
    return true;
}

void switch_trace(OperatorRequest &op, int32_t pass)
{
    if (pass == 1)
        op.scope.note("ATTENTION: Set TB_WAIT_ONLINE in debug.ini for detailled logging");
    else if (pass == 2)
        v_set_log_main(op.scope.context().path, "TB_WAIT_ONLINE", &op.waiting);
}

bool is_online(OperatorRequest &op)
{
    const DriveProperties &drive = op.request.drive;
    return i_wait_until_drive_online(drive.host, op.drive(), 1, drive.device, op.waiting) == 1;
}

// A backup takes any medium of the pool: whether it may write there is decided by its caller.
bool suits_backup(OperatorRequest &op, LabelState state)
{
    const std::string_view found = op.request.message.view(), wanted = op.request.strategy.requested_pool;
    const bool has_pool = state == kOtherLabel && found.size() > kLabelNumberSize;
    if (has_pool && pool_of_label(found) == wanted) {
        op.scope.note("ATTENTION: We allow label change in case of Backup");
        return true;
    }
    op.scope.note("Current pool '%s' <> requested pool '%s'",
                  VolumeMessage(has_pool ? pool_of_label(found) : std::string_view()).c_str(),
                  op.request.strategy.requested_pool);
    return false;
}

// Only a medium that is known to carry no label is offered to the rules as one without a label: a label that could not
// be read for any other reason may be on somebody's only backup.
Found suits_init(OperatorRequest &op, LabelState state)
{
    VolumeRequest &request = op.request;
    if (state == kUnreadable && request.message.view() != kNoLabel)
        return Found::no;
    const Found accepted = try_change_label(&request.strategy, state, &request.message, op.scope.context());
    if (accepted == Found::yes)
        op.scope.note("ATTENTION: We allow label change in case of Init");
    return accepted;
}

Found suits(OperatorRequest &op, LabelState state)
{
    switch (op.request.strategy.mode) {
    case 'b':
        return suits_backup(op, state) ? Found::yes : Found::no;
    case 'i':
        return suits_init(op, state);
    default:
        return Found::no;
    }
}

Pass judge(OperatorRequest &op)
{
    VolumeRequest &request = op.request;
    const LabelState state = i_CHECK_LABEL(&request, op.scope.context());
    if (state == kLoaded || state == kMounted)
        return Pass::accepted;
    if (!request.doubt.empty())
        return Pass::failed; // the medium may be the right one
    if (state == kUnreadable && request.message.view() != kNoLabel && gcInterrupt == 'y')
        return Pass::again; // the reading was given up
    post_message<Msg::kVolumeWrong>(op.drive(), request.message.c_str(), op.label());
    if (request.strategy.mode == 'b' && request.message.view() == kNoLabel) {
        op.scope.note("No label on tape. Return to caller");
        return Pass::blank;
    }
    switch (suits(op, state)) {
    case Found::yes:
        return Pass::accepted;
    case Found::unreadable:
        return Pass::failed;
    case Found::no:
        break;
    }
    DriveMessage answer;
    drive_handler("dismount", op.drive(), "UNLOAD", answer.data(), op.scope.context());
    return Pass::again;
}

void remind(OperatorRequest &op)
{
    post(op.drive(), op.call.c_str());
    trace_at(op.waiting, kTraceDetail, "iCnt = %d, !iAlarmAlreadySent = %d", op.passes,
             op.alarm_sent ? 0 : 1);
    if (++op.passes < kPassesToAlarm || op.alarm_sent)
        return;
    call_alarm(op);
    op.passes = 0;
    op.alarm_sent = true;
}

Pass one_pass(OperatorRequest &op, int32_t pass)
{
    if (shutdown_runs(op) || is_interrupted(op)) {
        post(op.drive(), op.request.message.c_str());
        return Pass::failed;
    }
    switch_trace(op, pass);
    const uint64_t begin = pl_tick_ms();
    const Pass outcome = is_online(op) ? judge(op) : Pass::again;
    if (outcome == Pass::again) {
        remind(op);
        if (pl_tick_ms() - begin < kShortestPass)
            pl_sleep_ms(kShortestPass);
    }
    return outcome;
}

Pass wait_for_medium(OperatorRequest &op)
{
    Pass outcome = Pass::again;
    for (int32_t pass = 1; outcome == Pass::again; pass += pass < 3)
        outcome = one_pass(op, pass);
    return outcome;
}

} // namespace

int32_t i_DOIT_MANUALLY(VolumeRequest *request, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_DOIT_MANUALLY");
    OperatorRequest op{*request, scope, scope.context(), {}, {}};
    message_to<Msg::kVolumeInsert>(op.call.data(), op.call.capacity(), op.label());
    post(op.drive(), op.call.c_str());
    prot_message<Msg::kLoadByHand>(op.label(), op.drive());
    call_notify(op);
    switch (find_group(op) ? wait_for_medium(op) : Pass::failed) {
    case Pass::accepted:
        mount_volume(*request, "mount_for_read", request->message.c_str(), scope.context());
        return scope.leave(kVolumeReady, "--- i_DOIT_MANUALLY  returns 1 msg:%s", request->message.c_str());
    case Pass::blank:
        return scope.leave(kVolumeBlank, "--- i_DOIT_MANUALLY  returns 2 msg:%s", request->message.c_str());
    default:
        return scope.leave(kVolumeFailed, "--- i_DOIT_MANUALLY  %s ", request->message.c_str());
    }
}
