// A volume request: brings a medium into a drive, by what lies there already, by robot or by an operator.
#include <backup/medium.h>
#include <backup/volume.h>
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/version.h>

namespace {

// The label in the drive is not the requested one.  Its medium belongs to the site when the catalogue knows it.
bool is_known_label(VolumeRequest *request, TraceScope &scope)
{
    Rows rows("GetVolLabel", scope.context());
    if (!rows.select("select label from media where label='%s'", SqlText(request->message.c_str()).c_str()))
        request->doubt.assign(rows.message());
    return !rows.empty();
}

void take_result(VolumeRequest *request, std::string_view label)
{
    copy_text(request->strategy.result_label, sizeof request->strategy.result_label, label);
}

void note_drive_of_medium(const VolumeRequest &request, TraceScope &scope)
{
    DbMessage reason;
    if (!execute_sql(reason.data(), scope.context(), "update media set drive_num='%s' where label='%s'",
                     SqlText(request.strategy.drive_num, SqlText::update).c_str(),
                     SqlText(request.strategy.result_label, SqlText::update).c_str()))
        scope.note("WARNING: update media set drive_num failed: %s", reason.c_str());
}

// The drive has no loader: an operator inserts the medium.  A medium without a label, or with one that nobody knows, is
// the caller's business and stays where it is.
int32_t ask_operator(VolumeRequest *request, LabelState state, TraceScope &scope)
{
    if (request->message.view() == kNoLabel) {
        take_result(request, kNoLabel);
        return kVolumeBlank;
    }
    if (state != kUnreadable && !is_known_label(request, scope)) {
        take_result(request, kUnknownTape);
        return kVolumeForeign;
    }
    i_FILL_STRATEGY(&request->strategy, scope.context());
    const int32_t result = i_DOIT_MANUALLY(request, scope.context());
    if (result != kVolumeFailed)
        take_result(request, request->message.view());
    if (result == kVolumeReady)
        note_drive_of_medium(*request, scope);
    return result;
}

// The drive has a loader.  One that cannot be told what to do leaves the label check's state as the result: another
// label in the drive then counts as success.  Programs are used to it; our own callers look at the doubt.
int32_t ask_robot(VolumeRequest *request, LabelState state, TraceScope &scope)
{
    if (std::string_view(request->loader.ctrl).find("DIR") != std::string_view::npos)
        return i_DOIT_WITH_DIRECT_ACCESS(request, scope.context());
    message_to<Msg::kVolumeLoaderControl>(request->message.data(), request->message.capacity());
    scope.note("%s", request->message.c_str());
    request->doubt = request->message;
    return state;
}

int32_t fetch(VolumeRequest *request, LabelState state, TraceScope &scope)
{
    scope.note("Loader: %s with ctrl: %s", request->drive.loader_num, request->loader.ctrl);
    return is_no_loader(request->drive.loader_num) ? ask_operator(request, state, scope)
                                                   : ask_robot(request, state, scope);
}

int32_t use_loaded(VolumeRequest *request, LabelState state, TraceScope &scope)
{
    if (state == kLoaded)
        mount_volume(*request, request->strategy.mode == 'b' ? "mount" : "mount_for_read",
                     request->strategy.requested_label, scope.context());
    if (std::string_view(request->drive.typ) == "DISK_CHNG")
        REWRITE_DISK_CHNG(request->drive, request->capacity, scope.context());
    return kVolumeReady;
}

int32_t bring_volume(VolumeRequest *request, TraceScope &scope)
{
    if (!i_READ_DATABASE(request, scope.context()))
        return kVolumeFailed;
    const LabelState state = i_CHECK_LABEL(request, scope.context());
    switch (state) {
    case kUnreadable:
        if (request->message.view() == kNoDevice) {
            scope.note("error from drive info - forward %s", request->message.c_str());
            return kVolumeFailed;
        }
        return request->doubt.empty() ? fetch(request, state, scope) : kVolumeFailed;
    case kOtherLabel:
        return fetch(request, state, scope);
    case kLoaded:
    case kMounted:
        return use_loaded(request, state, scope);
    }
    request->message.assign("invalid answer from CHECK_LABEL");
    return kVolumeFailed;
}

void report_result(VolumeRequest *request, int32_t result)
{
    const char *const drive = request->strategy.drive_num;
    FixedText<2 * TAMBA_VOLUME_MSG_SIZE> line;
    if (result != kVolumeFailed) {
        prot_message<Msg::kVolumeDone>();
        request->message.assign(request->strategy.result_label);
        line.format("%s %s", message_format(Msg::kVolumeDone), request->message.c_str());
    } else {
        prot_message<Msg::kVolumeFailed>(request->label.c_str(), request->message.c_str());
        line.format("GET_VOLUME: %s", request->message.c_str());
    }
    post(drive, line.c_str());
}

} // namespace

int32_t run_volume_request(VolumeRequest *request, TraceContext trace)
{
    const char mode = request->strategy.mode;
    TraceScope scope(trace, kTraceMain, "+++ i_GET_VOLUME label: %s, drive: %s, allow_change: %c (rcsid: %s)",
                     request->label.c_str(), request->drive_num.c_str(), mode ? mode : ' ', kLibraryVersion);
    prot_message<Msg::kVolumeRequested>(request->label.c_str(), request->drive_num.c_str());
    const int32_t result = bring_volume(request, scope);
    request->lock.reset();
    report_result(request, result);
    const char last_mode = request->strategy.mode;
    scope.note("allow label change '%c'", last_mode ? last_mode : ' ');
    return scope.leave(result, "--- i_GET_VOLUME  returns: %d, WORM Flag: %d,  msg: %s%s", result,
                       request->worm, request->message.c_str(),
                       last_mode == 'd' ? "  label was changed !!" : "");
}

int32_t i_GET_VOLUME(const char *label, const char *drive_num, char allow_change, char *message,
                     int32_t *worm_flag, TraceContext trace)
{
    VolumeRequest request(label, drive_num, allow_change);
    const int32_t result = run_volume_request(&request, trace);
    copy_text(message, TAMBA_VOLUME_MSG_SIZE, request.message.view());
    if (worm_flag)
        *worm_flag = request.worm;
    return result;
}
