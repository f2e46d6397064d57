// What a medium held is removed when it is used again.
#include <tamba/housekeeping.h>

#include <backup/drive.h>
#include <db/sql.h>
#include <foundation/file_sweep.h>
#include <foundation/trace_scope.h>
#include <tamba/time_stamp.h>

namespace {

constexpr char kNoRows[] = "INIT Select from results ";

using ColumnText = FixedText<4096>;

struct Saveset {
    ColumnText name, task, datum, cnt, copies, original;
};

Saveset saveset_of(const Rows &rows, int32_t row)
{
    Saveset saveset;
    rows.text(row, "saveset", saveset.name);
    rows.text(row, "task", saveset.task);
    rows.text(row, "datum", saveset.datum);
    rows.text(row, "cnt", saveset.cnt);
    rows.text(row, "saveset_exist", saveset.copies);
    rows.text(row, "original_saveset", saveset.original);
    return saveset;
}

// The mark 'M' of a saveset that was migrated before reads as 0: what a second medium of it holds is removed.
bool is_migrated(const Saveset &saveset)
{
    return to_int32(saveset.copies.c_str()) > 0;
}

// One cleanup.
struct Cleanup {
    const char *prefix;
    TraceContext &trace;
    FileSweep files{trace};
};

// word names the statement in the operator's report.
void run_statement(const char *word, const std::string &statement, TraceScope &scope)
{
    DbMessage msg;
    if (!execute_sql(msg.data(), scope.context(), "%s", statement.c_str()))
        trap_db_err(word, msg.c_str(), scope.context(), 0);
}

// ---- files ----------------------------------------------------------------------------------------------------------

// A part of a pattern that would make it match more, or lead into another directory, is left out with its pattern.
bool may_stand_in_pattern(std::string_view part)
{
    return !part.empty() && part.find_first_of("*?/\\:\"<>|") == part.npos;
}

void delete_files(const Saveset &saveset, const char *stamp, int32_t counter, Cleanup *cleanup)
{
    const auto remove = [&](bool allowed, const std::string &pattern) {
        if (allowed)
            cleanup->files.remove(pattern.c_str());
        else
            trace_at(cleanup->trace, kTraceMain, "no file is deleted for \"%s\"", pattern.c_str());
    };
    const char *const task = saveset.task.c_str();
    const bool has_job = may_stand_in_pattern(task) && may_stand_in_pattern(stamp);
    const std::string_view name = saveset.name.view();
    const std::string tail(name.substr(std::min<size_t>(name.size(), 2)));
    remove(has_job, format_string("gv_rw_lis:%s-%s_%03d_*.*", task, stamp, counter));
    remove(may_stand_in_pattern(tail), format_string("gv_rw_lgc:*%s*.*", tail.c_str()));
    remove(has_job, format_string("gv_rw_prepost:*%s-%s_%03d*.*", task, stamp, counter));
}

// Announces the cleanup of one job, and deletes its files unless they are to stay.
void clean_up_job(const Saveset &saveset, int32_t counter, bool keep_files, Cleanup *cleanup)
{
    trace_at(cleanup->trace, kTraceMain, "->  %s  %s  %s ", saveset.task.c_str(), saveset.datum.c_str(),
             saveset.cnt.c_str());
    ColumnText stamp = saveset.datum;
    cm_time_iso2stamp(stamp.data());
    prot_message<Msg::kJobCleanup>(cleanup->prefix, saveset.task.c_str(), stamp.c_str(), counter);
    if (!keep_files)
        delete_files(saveset, stamp.c_str(), counter, cleanup);
}

// ---- the original of migrated copies ----------------------------------------------------------------------------------

void clean_up_original(const char *original, Cleanup *cleanup)
{
    TraceScope scope(cleanup->trace, kTraceMain, "+++ DELETE_ORIGINAL_LIS %s", original);
    if (iCHECK_LAST_SAVESET(original, scope.context()) != 1) {
        scope.note("Not last copy of saveset");
        scope.leave(1, "--- DELETE_ORIGINAL_LIS");
        return;
    }
    scope.note("Last copy of saveset %s deleted, so remove original saveset too", original);
    prot_message<Msg::kOriginalCleanup>(original);
    const SqlText name(original);
    Rows rows("Original", scope.context());
    if (rows.find(
            kNoRows,
            "select saveset,task,datum,saveset_exist,original_saveset,cnt from results where saveset='%s'",
            name.c_str()) == Found::unreadable) { // its rows say which files go with them
        scope.leave(1, "--- DELETE_ORIGINAL_LIS");
        return;
    }
    for (int32_t row = 1; row <= rows.count(); ++row)
        clean_up_job(saveset_of(rows, row), rows.integer(row, "cnt"), false, cleanup);
    const std::string its_rows = format_string("saveset='%s'", name.c_str());
    run_statement("INIT delete from restore_results ", "delete from restore_results where " + its_rows,
                  scope);
    run_statement("INIT delete from restore_tasks", "delete from restore_tasks where " + its_rows, scope);
    run_statement("INIT delete from results ", "delete from results where " + its_rows, scope);
    scope.leave(1, "--- DELETE_ORIGINAL_LIS");
}

// ---- a medium -------------------------------------------------------------------------------------------------------

bool mark_as_migrated(const char *saveset, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ iUPDATE_MIGRATION_FLAG");
    DbMessage msg;
    const bool marked =
        execute_sql(msg.data(), trace, "update results set saveset_exist='M' where saveset='%s'",
                    SqlText(saveset, SqlText::update).c_str());
    if (!marked)
        trap_db_err("iUPDATE_MIGRATION_FLAG", msg.c_str(), trace, 0);
    scope.leave(1, "--- iUPDATE_MIGRATION_FLAG");
    return marked;
}

// False when a migrated saveset could not be marked: its row would be taken for one that can go.
bool clean_up_savesets(const Rows &rows, Cleanup *cleanup, TraceScope &scope)
{
    scope.note("found %s  rows  --> loop them now", rows.message());
    bool migrated = false, marked = true;
    int32_t counter = 0;
    for (int32_t row = 1; row <= rows.count(); ++row) {
        const Saveset saveset = saveset_of(rows, row);
        if (!is_null(saveset.cnt.view()))
            counter = to_int32(saveset.cnt.c_str());
        if (is_migrated(saveset)) {
            scope.note("Saveset %s is migrated", saveset.name.c_str());
            // The flag stays set for every later row: callers count on the files of a medium with migrated savesets.
            migrated = true;
            marked = mark_as_migrated(saveset.name.c_str(), scope.context()) && marked;
        }
        clean_up_job(saveset, counter, migrated, cleanup);
        if (is_null(saveset.original.view()))
            continue;
        scope.note("Delete files of original saveset: %s", saveset.original.c_str());
        clean_up_original(saveset.original.c_str(), cleanup);
    }
    return marked;
}

std::string savesets_of(const char *label, SqlText::Use use = SqlText::query)
{
    return format_string("saveset in ( select saveset from result_lbls where label='%s')",
                         SqlText(label, use).c_str());
}

// In this order: the others find the medium's savesets through its labels.
void remove_rows_of_medium(const char *label, TraceScope &scope)
{
    const std::string savesets = savesets_of(label);
    run_statement("INIT delete from results ",
                  "update results set state='d' where (saveset_exist is null or saveset_exist!='M') and " +
                      savesets_of(label, SqlText::update),
                  scope);
    run_statement("INIT delete from restore_results ", "delete from restore_results where " + savesets,
                  scope);
    run_statement("INIT delete from restore_tasks",
                  "delete from restore_tasks where eol!='0' and " + savesets, scope);
    run_statement("INIT delete from result_lbls ",
                  format_string("delete from result_lbls where label='%s'", SqlText(label).c_str()), scope);
    run_statement("INIT delete from results ", "delete from results where state='d'", scope);
}

} // namespace

int32_t iDELETE_OLD_LIS(const char *label, const char *prefix, const char *drive_num, char keep_rows,
                        TraceContext trace)
{
    label = text_or_empty(label);
    prefix = text_or_empty(prefix);
    TraceScope scope(trace, kTraceMain, "+++ DELETE_OLD_LIS");
    report<Msg::kMediumCleanup>(text_or_empty(drive_num), prefix, label);
    Cleanup cleanup{prefix, scope.context()};
    bool may_remove = false;
    {
        Rows rows("INIT", scope.context());
        const Found found = rows.find(
            kNoRows, "select saveset,task,datum,cnt,saveset_exist,original_saveset from results where %s",
            savesets_of(label).c_str());
        if (found != Found::unreadable)
            may_remove = clean_up_savesets(rows, &cleanup, scope) && keep_rows != 'y';
    }
    if (may_remove)
        remove_rows_of_medium(label, scope);
    return scope.leave(1, "--- DELETE_OLD_LIS ");
}

int32_t iDELETE_ORIG_LIS(const char *original_saveset, const char *prefix, TraceContext trace)
{
    Cleanup cleanup{text_or_empty(prefix), trace};
    clean_up_original(text_or_empty(original_saveset), &cleanup);
    return 1;
}

int32_t iCHECK_LAST_SAVESET(const char *original_saveset, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ CHECK_LAST_SAVESET");
    Rows rows("LastSaveset", scope.context());
    if (rows.find("CHECK_LAST_SAVESET", "select saveset from results where original_saveset='%s'",
                  SqlText(original_saveset).c_str()) != Found::unreadable)
        scope.note("found %s savesets", rows.message());
    return scope.leave(rows.count(), "--- CHECK_LAST_SAVESET");
}

int32_t iUPDATE_MIGRATION_FLAG(const char *saveset, TraceContext trace)
{
    mark_as_migrated(text_or_empty(saveset), trace);
    return 1;
}
