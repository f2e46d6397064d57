// Quotes in statements: repairing them, and making values safe to stand between them.
#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <tamba/db.h>

namespace {

constexpr char kAccent = '\264'; // acute accent of ISO 8859-1
constexpr size_t kDbStringSource = 511;

// The first ='  or = ' from a position on; returns the quote, null when there is none.
char *find_opening_quote(char *at)
{
    for (at = std::strchr(at, '='); at; at = std::strchr(at + 1, '=')) {
        char *const quote = at[1] == ' ' ? at + 2 : at + 1;
        if (*quote == '\'')
            return quote;
    }
    return nullptr;
}

// Where the value that begins at the opening quote has to be closed.  A plain search: a "=" inside the value
// counts.
char *find_limit(char *opening)
{
    if (char *const assignment = std::strchr(opening, '='))
        return assignment;
    if (char *const condition = std::strstr(opening, "where"))
        return condition;
    return opening + std::strlen(opening);
}

// The last quote before the limit closes the value, earlier ones become accents.  Returns how many quotes
// there were.
size_t repair_value(char *opening, char *next, TraceContext &trace)
{
    char *const limit = find_limit(opening);
    trace_at(trace, kTraceFine, "check until next item: %s", limit);
    size_t handled = 0;
    char *last = nullptr;
    for (char *quote = next; quote && quote < limit; quote = std::strchr(quote + 1, '\'')) {
        trace_at(trace, kTraceFine, "in while: change quote: %s", quote);
        *quote = kAccent;
        last = quote;
        ++handled;
    }
    if (last) {
        *last = '\'';
        trace_at(trace, kTraceFine, "reset last quote: %s", last);
    }
    return handled;
}

bool repair_assignments(char *sql, TraceContext &trace)
{
    bool changed = false;
    for (char *opening = find_opening_quote(sql); opening;) {
        trace_at(trace, kTraceFine, "found begin quote: %s", opening);
        size_t handled = 0;
        if (char *const next = std::strchr(opening + 1, '\'')) {
            trace_at(trace, kTraceFine, "found next quote: %s", next);
            handled = repair_value(opening, next, trace);
        }
        if (handled > 1) {
            trace_at(trace, kTraceMain, "Warning: CLEANUP_QUOTA: exchanged extra ' in SQL statement");
            changed = true;
        }
        opening = find_opening_quote(opening + 1 + handled);
    }
    return changed;
}

bool replace_double_quotes(char *sql, TraceContext &trace)
{
    bool changed = false, inside = false;
    for (; *sql != '\0'; ++sql) {
        if (*sql == '\'')
            inside = !inside;
        if (*sql != '"' || !inside)
            continue;
        *sql = '_';
        trace_at(trace, kTraceMain, "Warning: CLEANUP_QUOTA: removed extra \" in SQL statement");
        changed = true;
    }
    return changed;
}

} // namespace

int32_t CLEANUP_QUOTA(char *sql, TraceContext trace)
{
    if (!sql)
        return 1;
    const bool update = std::strncmp(sql, "update", 6) == 0;
    const bool assignments = update && repair_assignments(sql, trace);
    const bool double_quotes = replace_double_quotes(sql, trace);
    return assignments || double_quotes ? 0 : 1;
}

char *db_string(char *text, int32_t limit)
{
    if (!text)
        return text;
    const FixedText<kDbStringSource> source{std::string_view(text)};
    int32_t at = 0;
    for (const char *from = source.c_str(); *from != '\0' && at <= limit; ++from) {
        if (*from == '\'')
            text[at++] = '\'';
        text[at++] = *from == '"' ? ' ' : *from;
    }
    text[at] = '\0';
    if (at > 0 && text[at - 1] == '\\')
        text[at - 1] = ' ';
    return text;
}
