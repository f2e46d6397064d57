// What the results of a day come to.
#include <tamba/completion.h>

#include <db/records.h>
#include <db/sql.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>

#include <algorithm>

namespace {

enum class Count { success, warning, cancelled, error, none };

struct Class {
    Count count;
    int32_t rank; // the worse, the higher
    char state;   // the day's, when nothing is worse
};

constexpr char kNoState = '*';

// An empty listing is an error whose data can still be used; the other failures are one to the operator.
constexpr Class class_of(char state)
{
    switch (state) {
    case '0':
        return {Count::success, 0, '0'};
    case '1':
    case 'a': // not finished
    case 'q':
    case 'w':
    case kNoState:
        return {Count::warning, 1, '1'};
    case '3':
    case 'c':
        return {Count::cancelled, 2, '3'};
    case '2':
        return {Count::error, 3, '2'};
    case 'd': // marked for deletion
        return {Count::none, 0, '0'};
    default:
        return {Count::error, 4, 'X'};
    }
}

struct Day {
    Class worst = class_of('0');
    DayTotals totals = {};
    std::string bad; // "task/state, task/state"
};

void count(Day *day, Count what)
{
    DayTotals &totals = day->totals;
    switch (what) {
    case Count::success:
        ++totals.success;
        break;
    case Count::warning:
        ++totals.warning;
        break;
    case Count::cancelled:
        ++totals.cancelled;
        break;
    case Count::error:
        ++totals.error;
        break;
    case Count::none:
        return;
    }
    ++totals.all;
}

// The message stands in an update, in a record, in a command's quotes and in traces.
std::string clean(std::string text)
{
    for (char &c : text)
        if (std::string_view("'\"=|%\r\n").find(c) != std::string_view::npos)
            c = ' ';
    return text;
}

bool take_row(Day *day, const DB_REC_LIST *rows, int32_t row, TraceScope &scope)
{
    char task[TAMBA_DAY_MSG_SIZE], state[TAMBA_DB_MSG_SIZE];
    DbMessage reason;
    if (!get_value_n(rows, row, "task", task, sizeof task, reason.data(), scope.context()) ||
        !get_value_n(rows, row, "state", state, sizeof state, reason.data(), scope.context()))
        return false;
    const char letter = is_null(state) ? kNoState : *state;
    scope.detail("task %s state %c", task, letter);
    const Class found = class_of(letter);
    count(day, found.count);
    if (found.rank > day->worst.rank)
        day->worst = found;
    if (found.count != Count::none && found.count != Count::success && day->bad.size() < TAMBA_DAY_MSG_SIZE)
        day->bad += (day->bad.empty() ? "" : ", ") + std::string(task) + '/' + letter;
    return true;
}

std::string message_of(const Day &day)
{
    const DayTotals &totals = day.totals;
    char text[TAMBA_DAY_MSG_SIZE];
    message_to<Msg::kDayTotals>(text, sizeof text, totals.all, totals.success, totals.warning,
                                totals.cancelled, totals.error);
    std::string message = text;
    if (!day.bad.empty())
        message += ": " + clean(day.bad);
    if (message.size() >= TAMBA_DAY_MSG_SIZE)
        message.replace(TAMBA_DAY_MSG_SIZE - 4, message.npos, "...");
    return message;
}

} // namespace

int32_t i_CHECK_RESULTS_ROWS(DB_REC_LIST *rows, int32_t row_count, const char *caller, char *highest_state,
                             DayTotals *totals, char *message, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ CHECK_RESULTS_ROWS  %s  rows=%d", text_or_empty(caller),
                     row_count);
    Day day;
    bool read = row_count >= 0 && static_cast<uint32_t>(row_count) <= (rows ? rows->count : 0);
    for (int32_t row = 1; read && row <= row_count; ++row)
        read = take_row(&day, rows, row, scope);
    if (!read)
        day = {class_of('X'), {}, {}};
    const std::string text = read ? message_of(day) : message_format(Msg::kDayUnread);
    copy_text(message, TAMBA_DAY_MSG_SIZE, text);
    if (highest_state)
        *highest_state = day.worst.state;
    if (totals)
        *totals = day.totals;
    return scope.leave(read ? 1 : 0, "--- CHECK_RESULTS_ROWS returns %d  highest %c  %s", read ? 1 : 0,
                       day.worst.state, text.c_str());
}
