// A request and the steps in front of every way to its medium: what the catalogue says of drive and medium, and what the drive says of
// the label that lies in it.
#include <backup/medium.h>
#include <backup/volume.h>
#include <db/rows.h>
#include <db/sql.h>
#include <tamba/eol.h>

namespace {

// A drive's number and a medium's label enter the request cut to their fields; who is cut is nobody's name.
template <size_t Size> bool fits(const VolumeMessage &text, const char (&)[Size])
{
    return text.length() < Size;
}

// Waits until no other request works on the drive.
bool take_drive(VolumeRequest *request, TraceScope &scope)
{
    const char *const label = request->label.c_str(), *const name = request->strategy.semaphore;
    scope.note("Label %s waiting for semaphore %s", label, name);
    FixedText<TAMBA_SEMA_REQUESTER_SIZE> requester;
    requester.format("tb_get_volume_lib %s", label);
    request->lock.emplace(name, requester.c_str(), scope.context());
    request->message.assign(request->lock->message());
    if (request->lock->held())
        scope.note("Label %s got semaphore %s", label, name);
    return request->lock->held();
}

bool read_drive(VolumeRequest *request, TraceScope &scope)
{
    const char *const drive = request->drive_num.c_str();
    const int32_t number = fits(request->drive_num, request->strategy.drive_num) ? drive_number(drive) : -1;
    DbMessage reason;
    const Found found = find_drive(number, &request->drive, &reason, scope.context());
    request->message.assign(reason.view());
    if (found == Found::no)
        message_to<Msg::kVolumeNoDrive>(request->message.data(), request->message.capacity(), drive);
    return found == Found::yes;
}

bool read_medium_type(VolumeRequest *request, FixedText<64> *type, TraceScope &scope)
{
    const char *const label = request->label.c_str();
    Rows rows("GetVolType", scope.context());
    if (!rows.select("select kasstyp from media where media.label='%s'", SqlText(label).c_str())) {
        request->message.assign(rows.message());
        return false;
    }
    message_to<Msg::kVolumeNoMedium>(request->message.data(), request->message.capacity(), label);
    return fits(request->label, request->strategy.requested_label) && !rows.empty() &&
           rows.text(1, "kasstyp", *type);
}

bool check_capacity(VolumeRequest *request, TraceScope &scope)
{
    FixedText<64> type;
    if (!read_medium_type(request, &type, scope))
        return false;
    const char *const label = request->label.c_str(), *const drive_type = request->drive.typ;
    scope.note("types : volume= %s   drive= %s ", type.c_str(), drive_type);
    request->capacity = i_CHECK_CAPACITIES(drive_type, type.c_str(), scope.context());
    if (request->capacity < 0) // nobody could look
        message_to<Msg::kVolumeTypeUnknown>(request->message.data(), request->message.capacity(), label,
                                            type.c_str(), drive_type);
    else if (request->capacity == 0)
        message_to<Msg::kVolumeIncompatible>(request->message.data(), request->message.capacity(), label,
                                             type.c_str(), drive_type);
    return request->capacity > 0;
}

// A loader that nobody has configured has no control option, and the request finds out when it needs one.
bool read_loader(VolumeRequest *request, TraceScope &scope)
{
    DbMessage reason;
    if (is_no_loader(request->drive.loader_num) ||
        find_loader(request->drive.loader_num, &request->loader, &reason, scope.context()) !=
            Found::unreadable) {
        request->message.assign("successful");
        return true;
    }
    request->message.assign(reason.view());
    return false;
}

// The drive handler says no as well when the catalogue cannot be read.  Then nobody knows what lies in the drive.
void look_for_doubt(VolumeRequest *request, TraceScope &scope)
{
    DriveProperties drive;
    DbMessage reason;
    if (find_drive(drive_number(request->strategy.drive_num), &drive, &reason, scope.context()) !=
        Found::unreadable)
        return;
    request->doubt.assign(reason.view());
    request->message = request->doubt;
}

LabelState compare_labels(VolumeRequest *request, const DriveMessage &answer, TraceScope &scope)
{
    const char *const expected = request->strategy.requested_label;
    request->message.assign(answer.view().substr(0, answer.view().find(' ')));
    scope.note("Found label is %s - expected label is %s", request->message.c_str(), expected);
    LabelState state = kOtherLabel;
    if (request->message.view() == expected) // "unmounted " holds "mounted ", too
        state = answer.view().find(" mounted ") != std::string_view::npos ? kMounted : kLoaded;
    scope.note(state == kOtherLabel ? "Expected and detected labels are NOT identical; Sts:%d"
                                    : "Expected and detected labels are identical; Sts:%d",
               state);
    request->worm = answer.view().find("WORM") != std::string_view::npos ? 1 : 0;
    return state;
}

} // namespace

VolumeRequest::VolumeRequest(const char *wanted, const char *wanted_drive, char mode)
    : label(text_or_empty(wanted)), drive_num(text_or_empty(wanted_drive))
{
    strategy.mode = mode;
    copy_text(strategy.requested_label, sizeof strategy.requested_label, label.view());
    copy_text(strategy.drive_num, sizeof strategy.drive_num, drive_num.view());
    strategy.accept_empty = strategy.accept_spare = strategy.accept_eol = 'n';
    format_text(strategy.semaphore, sizeof strategy.semaphore, "getvol_%d", to_int32(strategy.drive_num));
    copy_text(strategy.requested_pool, sizeof strategy.requested_pool,
              pool_of_label(strategy.requested_label));
    copy_text(strategy.result_label, sizeof strategy.result_label, strategy.requested_label);
}

bool i_READ_DATABASE(VolumeRequest *request, TraceContext &trace)
{
    const char *const label = request->label.c_str();
    TraceScope scope(trace, kTraceMain, "+++ i_READ_DATABASE Label %s", label);
    post_message<Msg::kVolumeLoading>(request->strategy.drive_num, label, request->drive_num.c_str());
    const bool read = take_drive(request, scope) && read_drive(request, scope) &&
                      check_capacity(request, scope) && read_loader(request, scope);
    return scope.leave(read ? 1 : 0, "--- i_READ_DATABASE  returns %d   capacity: %d, msg: %s", read ? 1 : 0,
                       request->capacity, request->message.c_str()) == 1;
}

LabelState i_CHECK_LABEL(VolumeRequest *request, TraceContext &trace)
{
    const GetVolumeStrategy &strategy = request->strategy;
    TraceScope scope(trace, kTraceMain, "+++ i_CHECK_LABEL");
    request->worm = 0;
    i_CHECK_TBS(1, scope.context());
    DriveMessage answer;
    const int32_t status = drive_handler("info", strategy.drive_num, strategy.mode == 'b' ? "trailer" : "",
                                         answer.data(), scope.context());
    scope.note("drive_handler answered: sts=%d %s", status, answer.c_str());
    LabelState state = kUnreadable;
    if (status == 1) {
        state = compare_labels(request, answer, scope);
    } else {
        scope.note("not able to read label: %s", answer.c_str());
        prot_message<Msg::kVolumeUnreadable>(answer.c_str());
        request->message.assign(answer.view());
        look_for_doubt(request, scope);
    }
    scope.leave(state, "--- i_CHECK_LABEL returns: %d, WORM flag: %d, msg: %s", state, request->worm,
                request->message.c_str());
    return state;
}

void mount_volume(const VolumeRequest &request, const char *command, const char *label, TraceContext &trace)
{
    DriveMessage answer; // the request's own text stays the label
    drive_handler(command, request.strategy.drive_num, label, answer.data(), trace);
}
