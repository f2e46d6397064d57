// End of life of media: computed when they are written, moved on for backups that later ones depend on.
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/calendar.h>
#include <foundation/messages.h>
#include <foundation/time_stamp.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <process/semaphore_guard.h>
#include <tamba/eol.h>
#include <tamba/timing.h>

namespace {

using EolText = FixedText<TAMBA_EOL_SIZE>;
using ColumnText = FixedText<1024>;

constexpr size_t kIsoLength = 19; // of a display stamp

// ---- retention -----------------------------------------------------------------------------------------------

constexpr char kTestRetention[] = "-1";
constexpr char kDefaultRetention[] = "7";
using RetentionText = FixedText<32>;

// A count of days, or the mark of a test pool.  Any other text (NULL, a date) would end a medium's life today.
bool is_retention(std::string_view text)
{
    return text == kTestRetention || (is_number_list(text) && text.find(',') == std::string_view::npos);
}

bool read_retention(const char *id, const char *pool, RetentionText *retention, TraceScope &scope)
{
    Rows rows(id, scope.context());
    const Found found = rows.find("INIT select eol from media_pools",
                                  "select eol from media_pools where name='%s'", SqlText(pool).c_str());
    if (found == Found::unreadable)
        return false;
    if (found == Found::yes && rows.text(1, "eol", *retention) && is_retention(retention->view())) {
        scope.note("got eol: %s", retention->c_str());
        return true;
    }
    scope.note("ERROR: couldn't get eol for pool %s", pool);
    retention->assign(kDefaultRetention);
    scope.note("Set eol to default value: %s", retention->c_str());
    return true;
}

// Whether so many days lead out of the calendar.
bool is_for_ever(const RetentionText &retention)
{
    const std::tm now = local_time_now();
    const int64_t days_left =
        days_since_1970(9999, 364) - days_since_1970(int64_t{now.tm_year} + kBaseYear, now.tm_yday);
    return to_int32(retention.c_str()) >= days_left;
}

// By the clock on the wall: a retention of days ends at the time of day at which it began.
EolText end_after(const RetentionText &retention)
{
    if (is_for_ever(retention)) // the calculator would answer with a date that is near
        return EolText("9999-12-31 23:59:59");
    FixedText<TAMBA_TIME_SIZE> time;
    if (retention.view() == kTestRetention)
        time.assign("T");
    else
        time.format("D +%d", to_int32(retention.c_str()));
    time_get(time.data());
    return EolText(time.view().substr(0, kIsoLength));
}

// ---- the backups that a new one depends on ---------------------------------------------------------------------

struct Adjustment {
    const char *task;
    char fdi_type; // of the new backup
    EolText eol;   // its media's
    bool found_diff = false;
};

// Who asks, in the operator's report of a catalogue that cannot be read.
constexpr char kWho[] = "ADJUST_FDI_MEDIA_EOLS";

bool select_failed(TraceScope &scope)
{
    scope.note("select failed");
    return false;
}

// Newest first, a differential needs the full backup before it.  An incremental needs what was written since the
// newest differential, that differential, and the full backup before it.
bool depends_on(Adjustment *adjustment, const char *saveset, char type, TraceScope &scope)
{
    if (type == 'F')
        return true;
    if (adjustment->fdi_type == 'D') {
        scope.note("DIFF ignores saveset %s bcs. it was a '%c' backup", saveset, type);
        return false;
    }
    if (adjustment->found_diff) {
        scope.note("INCR ignores saveset %s typ %c bcs. first DIFF was yet found", saveset, type);
        return false;
    }
    adjustment->found_diff = type == 'D';
    if (adjustment->found_diff)
        scope.note("INCR found first DIFF %s", saveset);
    return true;
}

// Moves the end of life of one medium on, never back.
bool extend_medium(const Adjustment &adjustment, const char *label, TraceScope &scope)
{
    Rows rows("BACKUP_ADJ_FDI_MEDIA_EOLS3", scope.context());
    const Found found = rows.find(kWho, "select eol from media where label='%s'", SqlText(label).c_str());
    if (found == Found::unreadable)
        return select_failed(scope);
    if (found == Found::no) {
        scope.note("Label= %s   is no medium", label);
        return true;
    }
    ColumnText eol;
    rows.text(1, "eol", eol);
    scope.note("Label= %s   Eol= %s", label, eol.c_str());
    constexpr int32_t kNewIsLater = 2; // also than what is no date
    if (time_compare(eol.c_str(), adjustment.eol.c_str(), scope.context()) != kNewIsLater)
        return true;
    DbMessage reason;
    if (!execute_sql(reason.data(), scope.context(), "update media set eol='%s' where label='%s'",
                     adjustment.eol.c_str(), SqlText(label, SqlText::update).c_str())) {
        trap_db_err(kWho, reason.c_str(), scope.context(), 0);
        return false;
    }
    prot_message<Msg::kEolShifted>(adjustment.fdi_type, adjustment.task, label, eol.c_str(),
                                   adjustment.eol.c_str());
    return true;
}

bool extend_saveset(const Adjustment &adjustment, const char *saveset, TraceScope &scope)
{
    Rows rows("BACKUP_ADJ_FDI_MEDIA_EOLS2", scope.context());
    if (rows.find(kWho, "select label from result_lbls where saveset='%s'", SqlText(saveset).c_str()) ==
        Found::unreadable)
        return select_failed(scope);
    scope.note("*** Looping all labels of the saveset   %s  Rows", rows.message());
    for (int32_t row = 1; row <= rows.count(); ++row) {
        ColumnText label;
        rows.text(row, "label", label);
        if (!extend_medium(adjustment, label.c_str(), scope))
            return false;
    }
    return true;
}

bool extend_chain(Adjustment *adjustment, TraceScope &scope)
{
    Rows rows("BACKUP_ADJ_FDI_MEDIA_EOLS", scope.context());
    if (rows.find(kWho,
                  "select saveset,fdi_typ from results where task='%s' and (state='0' or state='1' or "
                  "state='2') order by stop_tim desc",
                  SqlText(adjustment->task).c_str()) == Found::unreadable)
        return select_failed(scope);
    scope.note("*** Looping all %s savesets until a FULL occurs", rows.message());
    for (int32_t row = 1; row <= rows.count(); ++row) {
        ColumnText saveset, fdi;
        rows.text(row, "saveset", saveset);
        rows.text(row, "fdi_typ", fdi);
        scope.note("saveset= %s  FDI= %s", saveset.c_str(), fdi.c_str());
        const char type = fdi.empty() ? ' ' : fdi.c_str()[0]; // of pairs like 'FC' the first letter decides
        if (!depends_on(adjustment, saveset.c_str(), type, scope))
            continue;
        if (!extend_saveset(*adjustment, saveset.c_str(), scope))
            return false;
        if (type == 'F') {
            scope.note("End looping savesets bcs. we processed basic FULL - saveset %s", saveset.c_str());
            break;
        }
    }
    return true;
}

// The new saveset's own media.  A failure is no reason to leave the older backups unprotected.
void set_own_media(const Adjustment &adjustment, const char *saveset, TraceScope &scope)
{
    constexpr char kUpdate[] =
        "update media set eol='%s' where label in (select label from result_lbls where saveset='%s')";
    const SqlText quoted(saveset, SqlText::update);
    scope.note("set new EOL: %s", format_string(kUpdate, adjustment.eol.c_str(), quoted.c_str()).c_str());
    DbMessage reason;
    if (!execute_sql(reason.data(), scope.context(), kUpdate, adjustment.eol.c_str(), quoted.c_str()))
        trap_db_err(kWho, reason.c_str(), scope.context(), 0);
}

bool adjust(Adjustment *adjustment, const char *media_pool, const char *saveset, TraceScope &scope)
{
    FixedText<TAMBA_SEMA_NAME_SIZE> name;
    FixedText<TAMBA_SEMA_REQUESTER_SIZE> requester;
    name.format("eol_med_%s", adjustment->task);
    requester.format("i_ADJUST_FDI_MEDIA_EOLS %s", adjustment->task);
    SemaphoreGuard lock(name.c_str(), requester.c_str(), scope.context());
    if (!lock.held())
        return false;
    cp_COMPUTE_EOL(name.c_str(), adjustment->eol.data(), media_pool, scope.context());
    if (is_null(adjustment->eol.view())) // a medium with such a date could be overwritten at once
        return false;
    set_own_media(*adjustment, saveset, scope);
    if (adjustment->fdi_type == 'D' || adjustment->fdi_type == 'I')
        return extend_chain(adjustment, scope);
    scope.note("FULL doesn't need adjusting");
    return true;
}

} // namespace

char *cp_COMPUTE_EOL(const char *id, char *eol_out, const char *media_pool, TraceContext trace)
{
    id = text_or_empty(id);
    media_pool = text_or_empty(media_pool);
    TraceScope scope(trace, kTraceMain, "+++ ZDL COMPUTE_EOL in %s  id:%s  media_pool:%s", kLibraryVersion,
                     id, media_pool);
    RetentionText retention;
    if (!read_retention(id, media_pool, &retention, scope)) {
        copy_text(eol_out, TAMBA_EOL_SIZE, "NULL");
        scope.leave(0, "--- COMPUTE_EOL");
        return eol_out;
    }
    const EolText eol = end_after(retention);
    scope.note("got time %s", eol.c_str());
    DbMessage value(eol.view());
    iDB_ACCESS("DATE_TIME_TAMBA", value.data(), nullptr, scope.context());
    copy_text(eol_out, TAMBA_EOL_SIZE, value.view());
    scope.leave(1, "--- COMPUTE_EOL %s", value.c_str());
    return eol_out;
}

int32_t i_ADJUST_FDI_MEDIA_EOLS(const char *task, const char *media_pool, const char *saveset, char fdi_type,
                                TraceContext trace)
{
    Adjustment adjustment{text_or_empty(task), fdi_type, {}};
    TraceScope scope(trace, kTraceMain, "+++ ADJUST_FDI_MEDIA_EOLS  %s", adjustment.task);
    const int32_t result =
        adjust(&adjustment, text_or_empty(media_pool), text_or_empty(saveset), scope) ? 1 : 0;
    return scope.leave(result, "--- ADJUST_FDI_MEDIA_EOLS returns %d", result);
}
