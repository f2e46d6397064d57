// Is the backup day complete?  Then it is closed.
#include <tamba/completion.h>

#include <db/rows.h>
#include <db/sql.h>
#include <foundation/glbv.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <tamba/process.h>

namespace {

constexpr char kWho[] = "CHECK_IF_ALL_BACKUPS_DONE"; // in the operator's report of a failing statement

// ---- jobs that are left ---------------------------------------------------------------------------------------------

struct Event {
    FixedText<256> id, state, priority, type;
    FixedText<4096> object;
};

// For a backup the job's name, which other runs of it share.
std::string object_key(const Event &event)
{
    const std::string object = event.object.c_str();
    if (event.type.view() != "B")
        return object;
    const size_t begin = std::min(object.find_first_not_of(' '), object.size());
    return object.substr(begin, object.find(' ', begin) - begin);
}

// Whether the same object has run with a higher priority since the day began.  A catalogue that does not tell counts as no.
bool has_run_before(const Event &event, TraceScope &scope)
{
    bool is_number = false;
    const int32_t number = to_int32(event.priority.c_str(), &is_number);
    Rows rows("HigherPrio", scope.context());
    return rows.find(kWho,
                     "select * from cal_sheets where object='%s' and priority > %s and start >= "
                     "(select max(start) from cal_sheets where ev_type='N' and state<>'w')",
                     SqlText(object_key(event).c_str()).c_str(),
                     is_number ? std::to_string(number).c_str() : "NULL") == Found::yes;
}

// False for an event that runs, or will.
bool is_suppressed(const Event &event, TraceScope &scope)
{
    const char *const type = event.type.c_str(), *const object = event.object.c_str(),
                      *const priority = event.priority.c_str(), *const state = event.state.c_str();
    scope.note("id= %s, state= %s, prio= %s, ev_type= %s, object= %s", event.id.c_str(), state, priority,
               type, object);
    if (event.state.view() == "a" || event.state.view() == "q") {
        scope.note("event %s object %s in state %s is executing >> break", type, object, state);
        return false;
    }
    if (event.priority.view() == "0") {
        scope.note("event %s object %s with prio 0 will always be executed >> break", type, object);
        return false;
    }
    if (!has_run_before(event, scope)) {
        scope.note("event %s object %s with prio %s will be executed >> break", type, object, priority);
        return false;
    }
    scope.note("event %s object %s with prio %s will not be executed bcs.", type, object, priority);
    scope.note("of same event with higher prio was yet done");
    return true;
}

// Only tells: even when every one is suppressed, the day is closed by a later call that finds none.
void report_jobs(const Rows &rows, TraceScope &scope)
{
    scope.note("there are still %i waiting or executing jobs", rows.count());
    scope.note("we check if this jobs are suppressed due to higher prio jobs");
    int32_t remaining = rows.count();
    for (int32_t row = 1; row <= rows.count(); ++row) {
        Event event;
        rows.text(row, "id", event.id);
        rows.text(row, "state", event.state);
        rows.text(row, "priority", event.priority);
        rows.text(row, "ev_type", event.type);
        rows.text(row, "object", event.object);
        if (!is_suppressed(event, scope))
            break;
        --remaining;
    }
    scope.note("remaining rows %d", remaining);
}

// Without a waiting new day no job counts as left, even if some wait: sites without a calendar of days rely on it.
Found jobs_left(TraceScope &scope)
{
    Rows rows("JobsLeft", scope.context());
    const Found left = rows.find(
        kWho, "select id, state, priority, ev_type, object from cal_sheets where state in ('a','q','w') and "
              "ev_type in ('B','X','G') and suppress=0 and start < (select min(start) from cal_sheets where "
              "ev_type='N' and state='w') order by state");
    if (left == Found::yes)
        report_jobs(rows, scope);
    return left;
}

// ---- the day --------------------------------------------------------------------------------------------------------

struct Day {
    DbMessage date; // as the catalogue writes it
    char state = 'X';
    DayTotals totals = {};
    char message[TAMBA_DAY_MSG_SIZE];
};

// False when nobody knows how the catalogue writes a date.
bool find_date(Day *day, TraceScope &scope)
{
    GlobalValue value;
    read_global("gv_datum", &value);
    day->date.assign(value.view().substr(0, 10));
    if (iDB_ACCESS("DATE", day->date.data(), nullptr, scope.context()) == 1)
        return true;
    trap_db_err(kWho, DbMessage(day->date).c_str(), scope.context(), 0);
    return false;
}

bool classify(Day *day, TraceScope &scope)
{
    Rows rows("ResultsOfDay", scope.context());
    const bool read =
        find_date(day, scope) &&
        rows.find(kWho,
                  "select task, state, msg from results where datum='%s' and fdi_typ in "
                  "('C','CC','CH','F','FC','FH','D','DC','DH','I','IC','IH','X') order by state desc",
                  SqlText(day->date.c_str()).c_str()) != Found::unreadable;
    return i_CHECK_RESULTS_ROWS(rows.list(), read ? rows.count() : -1, "ALL_JOBS_DONE", &day->state,
                                &day->totals, day->message, scope.context()) == 1;
}

std::string amount_of(const Day &day, TraceScope &scope)
{
    Rows rows("AmountOfDay", scope.context());
    const Found found =
        rows.find(kWho, "select sum(blocks) from results where datum='%s' and fdi_typ in ('C','F','D','I')",
                  SqlText(day.date.c_str()).c_str());
    return found == Found::unreadable ? "0" : rows.message();
}

void start(const char *program, const std::string &text, TraceScope &scope)
{
    iCREATE_ASYNC_SUBPROCESS(format_string("%s\"%s\"", program, text.c_str()).c_str(), scope.context());
}

// Says what the day came to: in the protocol, by the alarm and by the notification.
void announce(const Day &day, TraceScope &scope)
{
    scope.note("got highest state: %c", day.state);
    const std::string amount = amount_of(day, scope);
    const DayTotals &totals = day.totals;
    const std::string counts =
        format_string("All: %d, Error: %d, Cancelled: %d, Warning: %d, Success: %d", totals.all, totals.error,
                      totals.cancelled, totals.warning, totals.success);
    const std::string summary = format_string("%s, Amount: %s (blocks)", counts.c_str(), amount.c_str());
    constexpr char kTitle[] = "ALL_BACKUPS_DONE:";
    if (day.state == 'X') {
        start("tb_alarm BACKUP: ", counts, scope);
        prot_message<Msg::kDayFailed>(kTitle, summary.c_str());
    } else if (day.state == '0') {
        prot_message<Msg::kDayGood>(kTitle, summary.c_str());
    } else {
        prot_message<Msg::kDayWarned>(kTitle, summary.c_str());
    }
    start("tb_notify BACKUP: ", counts, scope);
}

void close_results(const Day &day, const SqlText &stop_time, const SqlText &date, TraceScope &scope)
{
    DbMessage msg;
    if (!execute_sql(msg.data(), scope.context(),
                     "update results set state='%c',msg='%s',stop_tim='%s' where datum='%s' and fdi_typ='N'",
                     day.state, day.message, stop_time.c_str(), date.c_str()))
        trap_db_err("BACKUP: CHECK_IF_ALL_BACKUPS_DONE 1", msg.c_str(), scope.context(), 0);
}

void close_calendar(const Day &day, const SqlText &stop_time, const SqlText &date, TraceScope &scope)
{
    DbMessage msg;
    if (!execute_sql(msg.data(), scope.context(),
                     "update cal_sheets set state='%c',msg='%s',end_time='%s' where id=(select max(saveset) "
                     "from results where datum='%s' and fdi_typ='N')",
                     day.state, day.message, stop_time.c_str(), date.c_str()))
        trap_db_err("BACKUP: CHECK_IF_ALL_BACKUPS_DONE 2", msg.c_str(), scope.context(), 0);
}

} // namespace

void CHECK_IF_ALL_BACKUPS_DONE(const char *stop_time, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ CHECK_IF_ALL_BACKUPS_DONE");
    Day day;
    *day.message = '\0';
    if (jobs_left(scope) == Found::no) {
        scope.note("all backups of tamba day are done");
        if (classify(&day, scope))
            announce(day, scope);
        const SqlText stop(stop_time, SqlText::update), date(day.date.c_str(), SqlText::update);
        close_results(day, stop, date, scope);
        start("tb_notify ALL_JOBS_DONE ", day.message, scope);
        close_calendar(day, stop, date, scope);
    }
    scope.leave(0, "--- CHECK_IF_ALL_BACKUPS_DONE %s", day.message);
}
