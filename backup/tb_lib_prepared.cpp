// Prepared media: which one continues the backup, and whether it can be written right now.
#include <backup/medium.h>
#include <db/sql.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <tamba/time_stamp.h>

namespace {

FixedText<TAMBA_STAMP_SIZE> now_stamp()
{
    char stamp[TAMBA_TIME_SIZE] = ".";
    return FixedText<TAMBA_STAMP_SIZE>(time_get(stamp));
}

std::string media_clause(const std::string &media_info, bool is_label)
{
    return format_string(is_label ? " label='%s'" : " pool='%s'", SqlText(media_info.c_str()).c_str());
}

// Nothing for any drive.  drives holds digits and commas.  A single drive stands for every drive of its device
// name: one device can be configured for several hosts.
std::string drive_clause(const Drives &drives)
{
    if (drives.none())
        return "";
    if (drives.several())
        return format_string(" and drive_num in (%s)", drives.c_str());
    return format_string(" and drive_num in (select drive_num from hw_drives where name="
                         "(select name from hw_drives where drive_num=%s))",
                         drives.c_str());
}

// End of life is tested the other way round than when media are searched for overwriting: a prepared medium
// got its date when it was initialised for this backup chain, and serves it until then.
Found find_prepared(Rows *rows, const Drives &drives, const std::string &media_info, bool is_label,
                    TraceScope &scope)
{
    const auto now = now_stamp();
    scope.note("now: %s", now.c_str());
    if (!drives.none() && !is_number_list(drives.view()))
        return Found::no; // no drive has such a number, and the statement takes it without quotes
    return rows->find(
        "GET_PREPARED_MEDIA",
        "select label,drive_num from media where eom_state!='y' and (close_tape!='y' or close_tape is NULL) "
        "and sperrkz!='-' and init_flag!='y' and eol > '%s' and%s%s order by sichtag desc, folgekass desc%s",
        now.c_str(), media_clause(media_info, is_label).c_str(), drive_clause(drives).c_str(),
        at_most(1).c_str());
}

// What the catalogue says of a medium's usability.
using LoaderText = FixedText<TAMBA_DRIVE_SIZE>;
struct MediumState {
    FixedText<8> eom_state, sperrkz, init_flag, close_tape;
    LoaderText lader;
};

Found read_state(const char *label, MediumState *state, MediaMessage *msg, TraceScope &scope)
{
    Rows rows("MediaState", scope.context());
    const Found found =
        rows.find("CHECK_AVAILABILITY_OF_MEDIUM: select from media",
                  "select eom_state,sperrkz,init_flag,close_tape,lader from media where label='%s'",
                  SqlText(label).c_str());
    if (found == Found::unreadable)
        msg->assign(rows.message());
    if (found != Found::yes)
        return found;
    rows.text(1, "eom_state", state->eom_state);
    rows.text(1, "sperrkz", state->sperrkz);
    rows.text(1, "init_flag", state->init_flag);
    rows.text(1, "close_tape", state->close_tape);
    rows.text(1, "lader", state->lader);
    scope.note("eom_state %s, write-protect %s, init_flag %s, close_tape %s, loader %s",
               state->eom_state.c_str(), state->sperrkz.c_str(), state->init_flag.c_str(),
               state->close_tape.c_str(), state->lader.c_str());
    return found;
}

Found read_loader(const char *drive, LoaderText *loader, MediaMessage *msg, TraceScope &scope)
{
    Rows rows("DriveLoad", scope.context());
    const Found found =
        rows.find("CHECK_AVAILABILITY_OF_MEDIUM: select from hw_drives",
                  "select loader_num from hw_drives where drive_num='%s'", SqlText(drive).c_str());
    if (found == Found::unreadable)
        msg->assign(rows.message());
    if (found != Found::yes)
        return found;
    rows.text(1, "loader_num", *loader);
    scope.note("loader for drive %s is %s", drive, loader->c_str());
    return found;
}

// The last condition that holds gives the message.
bool is_usable(const char *label, const MediumState &state, MediaMessage *msg)
{
    const bool full = state.eom_state.view() == "y", locked = state.sperrkz.view() == "-";
    const bool initialising = state.init_flag.view() == "y", closed = state.close_tape.view() == "y";
    if (full)
        msg->format("label %s is in eom state", label);
    if (locked)
        msg->format("label %s is write protected via sperrkz", label);
    if (initialising)
        msg->format("init for label %s is active", label);
    if (closed)
        msg->format("label %s is closed", label);
    return !(full || locked || initialising || closed);
}

Found check(const char *drive, const char *label, MediaMessage *msg, TraceScope &scope)
{
    LoaderText loader;
    MediumState state;
    msg->format("label %s is not available", label);
    Found found = read_loader(drive, &loader, msg, scope);
    if (found == Found::yes)
        found = read_state(label, &state, msg, scope);
    if (found != Found::yes)
        return found;
    if (!is_no_loader(loader.view()) && state.lader.view() != loader.view()) {
        scope.note("we do not use prepared media which are not any longer in loader of drive %s <> %s",
                   loader.c_str(), state.lader.c_str());
        msg->format("label %s is not available in loader %s", label, loader.c_str());
        return Found::no;
    }
    if (!is_usable(label, state, msg))
        return Found::no;
    msg->format("label %s is available", label);
    return Found::yes;
}

} // namespace

Found prepared_medium(Drives *drives, std::string *media_info, bool is_label, MediaMessage *msg,
                      TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_GET_PREPARED_MEDIA  Dn=%s  MedInfo=%s:%d %s", drives->c_str(),
                     media_info->c_str(), is_label ? 1 : 0, is_label ? "is a label" : "is a pool");
    Rows rows("PrepMedia", scope.context());
    const Found found = find_prepared(&rows, *drives, *media_info, is_label, scope);
    msg->assign(found == Found::unreadable ? rows.message() : "");
    if (found == Found::yes) {
        LabelText label;
        FixedText<TAMBA_DRIVE_SIZE> drive;
        rows.text(1, "label", label);
        rows.text(1, "drive_num", drive);
        scope.note("got label %s dn %s", label.c_str(), drive.c_str());
        media_info->assign(label.view());
        // A single drive stays: it stands for the medium's own, which has the same device name.
        if ((drives->none() || drives->several()) && !is_null(drive.view()))
            *drives = Drives(drive.view());
    } else if (found == Found::no) {
        message_to<Msg::kMediumAndDriveConflict>(msg->data(), msg->capacity(), media_info->c_str(),
                                                 drives->c_str());
    }
    scope.leave(found == Found::yes ? 1 : 0, "--- iGET_PREPARED_MEDIA returns=%d -> dn=%s label=%s  msg=%s",
                found == Found::yes ? 1 : 0, drives->c_str(), media_info->c_str(), msg->c_str());
    return found;
}

int32_t GET_PREPARED_MEDIA(char *drive, char *media_info, int32_t is_label, char *msg, TraceContext trace)
{
    Drives drives(text_or_empty(drive));
    std::string info = text_or_empty(media_info);
    MediaMessage message;
    const bool found = prepared_medium(&drives, &info, is_label != 0, &message, trace) == Found::yes;
    if (found && drives.view() != text_or_empty(drive))
        copy_text(drive, TAMBA_DRIVE_SIZE, drives.view());
    if (found)
        copy_text(media_info, TAMBA_LABEL_SIZE, info);
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, message.view());
    return found ? 1 : 0;
}

Found medium_available(const Drives &drives, const std::string &label, const char *pool, const char *job,
                       MediaMessage *msg, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain,
                     "+++ i_CHECK_AVAILABILITY_OF_MEDIUM for label %s; dn=%s pool=%s; job=%s", label.c_str(),
                     drives.c_str(), pool, job);
    const Found found = check(drives.first().c_str(), label.c_str(), msg, scope);
    scope.leave(found == Found::yes ? 1 : 0, "--- i_CHECK_AVAILABILITY_OF_MEDIUM returns %d  msg:%s",
                found == Found::yes ? 1 : 0, msg->c_str());
    return found;
}

int32_t CHECK_AVAILABILITY_OF_MEDIUM(const char *drive, const char *label, const char *pool, const char *job,
                                     char *msg, TraceContext trace)
{
    MediaMessage message;
    const Found found = medium_available(Drives(text_or_empty(drive)), text_or_empty(label),
                                         text_or_empty(pool), text_or_empty(job), &message, trace);
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, message.view());
    return found == Found::yes ? 1 : 0;
}
