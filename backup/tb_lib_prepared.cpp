// Prepared media: which one continues the backup, and whether it can be written right now.
#include <backup/medium.h>
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/glbv.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <tamba/time_stamp.h>

namespace {

FixedText<TAMBA_STAMP_SIZE> now_stamp()
{
    char stamp[TAMBA_TIME_SIZE] = ".";
    return FixedText<TAMBA_STAMP_SIZE>(time_get(stamp));
}

// Only the first row of the answer is used.  SQLite is told so: it then stops at the first entry of the
// index, whereas a pool with thousands of prepared media would be copied row by row.  The other catalogues
// keep the plain statement, not all of them know the word.
const char *first_row_only()
{
    GlobalValue type;
    return read_global("gv_db_type", &type) && type.view() == "sqlite" ? " limit 1" : "";
}

using Clause = FixedText<512>;

Clause media_clause(const char *media_info, bool is_label)
{
    Clause clause;
    clause.format(is_label ? " label='%s'" : " pool='%s'", SqlText(media_info).c_str());
    return clause;
}

// Nothing for any drive.  drive holds digits and commas.  A single drive stands for every drive of its device
// name: one device can be configured for several hosts.
Clause drive_clause(const DriveList &drive)
{
    Clause clause;
    if (is_drive_list(drive.view()))
        clause.format(" and drive_num in (%s)", drive.c_str());
    else if (!drive.empty())
        clause.format(" and drive_num in (select drive_num from hw_drives where name="
                      "(select name from hw_drives where drive_num=%s))",
                      drive.c_str());
    return clause;
}

// End of life is tested the other way round than when media are searched for overwriting: a prepared medium
// got its date when it was initialised for this backup chain, and serves it until then.
bool select_prepared(Rows *rows, const char *now, const DriveList &drive, const char *media_info,
                     bool is_label)
{
    return rows->select(
        "select label,drive_num from media where eom_state!='y' and (close_tape!='y' or close_tape is NULL) "
        "and sperrkz!='-' and init_flag!='y' and eol > '%s' and%s%s order by sichtag desc, folgekass desc%s",
        now, media_clause(media_info, is_label).c_str(), drive_clause(drive).c_str(), first_row_only());
}

struct FoundMedium {
    bool found = false;
    LabelText label;
    DriveText drive;
};

FoundMedium newest_prepared(const DriveList &drive, const char *media_info, bool is_label, MediaMessage *msg,
                            TraceScope &scope)
{
    FoundMedium medium;
    message_to<Msg::kMediumAndDriveConflict>(msg->data(), msg->size(), media_info, drive.c_str());
    const auto now = now_stamp();
    scope.note("now: %s", now.c_str());
    if (!drive.empty() && !is_number_list(drive.view()))
        return medium; // no drive has such a number, and the statement takes it without quotes
    Rows rows("PrepMedia", scope.context());
    if (!select_prepared(&rows, now.c_str(), drive, media_info, is_label)) {
        trap_db_err("GET_PREPARED_MEDIA", rows.message(), scope.context(), 0);
        msg->assign(rows.message());
        return medium;
    }
    if (rows.empty())
        return medium;
    msg->assign("");
    medium.found = true;
    rows.text(1, "label", medium.label);
    rows.text(1, "drive_num", medium.drive);
    scope.note("got label %s dn %s", medium.label.c_str(), medium.drive.c_str());
    return medium;
}

// What the catalogue says of a medium's usability.
struct MediumState {
    FixedText<8> eom_state, sperrkz, init_flag, close_tape;
    DriveText lader;
};

bool read_state(const char *label, MediumState *state, TraceScope &scope)
{
    Rows rows("MediaState", scope.context());
    if (!rows.select("select eom_state,sperrkz,init_flag,close_tape,lader from media where label='%s'",
                     SqlText(label).c_str()) ||
        rows.empty())
        return false;
    rows.text(1, "eom_state", state->eom_state);
    rows.text(1, "sperrkz", state->sperrkz);
    rows.text(1, "init_flag", state->init_flag);
    rows.text(1, "close_tape", state->close_tape);
    rows.text(1, "lader", state->lader);
    scope.note("eom_state %s, write-protect %s, init_flag %s, close_tape %s, loader %s",
               state->eom_state.c_str(), state->sperrkz.c_str(), state->init_flag.c_str(),
               state->close_tape.c_str(), state->lader.c_str());
    return true;
}

bool read_loader(const char *drive, DriveText *loader, TraceScope &scope)
{
    Rows rows("DriveLoad", scope.context());
    if (!rows.select("select loader_num from hw_drives where drive_num='%s'", SqlText(drive).c_str()) ||
        rows.empty())
        return false;
    rows.text(1, "loader_num", *loader);
    scope.note("loader for drive %s is %s", drive, loader->c_str());
    return true;
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

bool is_available(const char *drive, const char *label, MediaMessage *msg, TraceScope &scope)
{
    DriveText loader;
    MediumState state;
    msg->format("label %s is not available", label);
    if (!read_loader(drive, &loader, scope) || !read_state(label, &state, scope))
        return false;
    if (!is_no_loader(loader.view()) && state.lader.view() != loader.view()) {
        scope.note("we do not use prepared media which are not any longer in loader of drive %s <> %s",
                   loader.c_str(), state.lader.c_str());
        msg->format("label %s is not available in loader %s", label, loader.c_str());
        return false;
    }
    if (!is_usable(label, state, msg))
        return false;
    msg->format("label %s is available", label);
    return true;
}

} // namespace

int32_t GET_PREPARED_MEDIA(char *drive, char *media_info, int32_t is_label, char *msg, TraceContext trace)
{
    const DriveList wanted(without_trailing_comma(text_or_empty(drive)));
    const LabelText info(text_or_empty(media_info));
    TraceScope scope(trace, kTraceMain, "+++ i_GET_PREPARED_MEDIA  Dn=%s  MedInfo=%s:%d %s", wanted.c_str(),
                     info.c_str(), is_label, is_label ? "is a label" : "is a pool");
    MediaMessage message;
    DriveList used = wanted;
    LabelText label = info;
    const FoundMedium medium = newest_prepared(wanted, info.c_str(), is_label != 0, &message, scope);
    if (medium.found) {
        label = medium.label;
        const bool any_of_several = wanted.empty() || is_drive_list(wanted.view());
        if (any_of_several && !is_null(medium.drive.view()))
            used.assign(medium.drive.view());
        copy_text(media_info, TAMBA_LABEL_SIZE, label.view());
        if (any_of_several)
            copy_text(drive, TAMBA_DRIVE_SIZE, used.view());
    }
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, message.view());
    return scope.leave(medium.found ? 1 : 0, "--- iGET_PREPARED_MEDIA returns=%d -> dn=%s label=%s  msg=%s",
                       medium.found ? 1 : 0, used.c_str(), label.c_str(), message.c_str());
}

int32_t CHECK_AVAILABILITY_OF_MEDIUM(const char *drive, const char *label, const char *pool, const char *job,
                                     char *msg, TraceContext trace)
{
    const LabelText medium(text_or_empty(label));
    TraceScope scope(trace, kTraceMain,
                     "+++ i_CHECK_AVAILABILITY_OF_MEDIUM for label %s; dn=%s pool=%s; job=%s", medium.c_str(),
                     text_or_empty(drive), text_or_empty(pool), text_or_empty(job));
    MediaMessage message;
    const int32_t result = is_available(text_or_empty(drive), medium.c_str(), &message, scope) ? 1 : 0;
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, message.view());
    return scope.leave(result, "--- i_CHECK_AVAILABILITY_OF_MEDIUM returns %d  msg:%s", result,
                       message.c_str());
}
