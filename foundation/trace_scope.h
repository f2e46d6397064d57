// The trace from inside: one object per traced function, and the library's own lines.
#pragma once

#include <tamba/trace.h>

// Lowest trace level at which a line is written.
enum TraceLevel : int32_t {
    kTraceMain = 1,   // entry and exit, decisions, failures
    kTraceDetail = 2, // values
    kTraceFine = 3,   // every step
};

inline bool traces(const TraceContext &context, TraceLevel level)
{
    return context.level >= level;
}

// Writes a line when the context's level reaches the given one.
void trace_at(TraceContext &context, TraceLevel level, const char *format, ...) TAMBA_PRINTF(3, 4);

// Entry and exit lines of a function.  The constructor writes the "+++" line, leave() the "---" line, both or
// neither: the nesting depth of the process stays balanced on every path.
//
//   int32_t i_CHECK_CAPACITIES(const char *drive_typ, const char *media_typ, TraceContext trace)
//   {
//       TraceScope scope(trace, kTraceMain, "+++ ZDL CHECK_CAPACITIES  drivetyp:%s", drive_typ);
//       const int32_t capacity = capacity_of(drive_typ, media_typ, scope.context());
//       return scope.leave(capacity, "--- ZDL CHECK_CAPACITIES returns %d", capacity);
//   }
class TraceScope {
public:
    // format begins with "+++".  context outlives the scope; it is the function's own copy.
    TraceScope(TraceContext &context, TraceLevel level, const char *format, ...) TAMBA_PRINTF(4, 5);
    ~TraceScope() // a path that did not leave closes the nesting with a bare "---"
    {
        if (active_ && !left_)
            abandon();
    }
    TraceScope(const TraceScope &) = delete;
    TraceScope &operator=(const TraceScope &) = delete;

    // format begins with "---".  Returns result.
    int32_t leave(int32_t result, const char *format, ...) TAMBA_PRINTF(3, 4);

    void note(const char *format, ...) TAMBA_PRINTF(2, 3);   // level 1
    void detail(const char *format, ...) TAMBA_PRINTF(2, 3); // level 2
    void fine(const char *format, ...) TAMBA_PRINTF(2, 3);   // level 3

    TraceContext &context() { return context_; }

private:
    void abandon();

    TraceContext &context_;
    const bool active_;
    bool left_ = false;
};

// A line in the library's own context (functions that are handed none), when its level is above 1.  The
// finished text is written as it is: unlike trace() it does not interpret "%" again, so that commands, SQL
// and paths may hold it.
void own_trace(const char *format, ...) TAMBA_PRINTF(1, 2);

// Entry and exit lines of a function that is handed no context.
class OwnTraceScope {
public:
    explicit OwnTraceScope(const char *format, ...) TAMBA_PRINTF(2, 3);
    ~OwnTraceScope();
    OwnTraceScope(const OwnTraceScope &) = delete;
    OwnTraceScope &operator=(const OwnTraceScope &) = delete;
    int32_t leave(int32_t result, const char *format, ...) TAMBA_PRINTF(3, 4);

private:
    const bool active_;
    bool left_ = false;
};

// A copy of the library's own context, for functions that are handed none and switch to a module of their
// own.
TraceContext own_context();

// Present nesting depth of the process; tests check that it returns to 0.
int32_t trace_depth();
