// The fourth act: the agent's logs become results, the backup day is closed, and a medium is used again.
#include <site/demo.h>
#include <site/demo_programs.h>

#include <db/rows.h>
#include <db/sql.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr const char *kDay = "2008-02-14", *kDatum = "2008-02-14 00:00:00", *kStop = "2008-02-15 05:30:00";
constexpr const char *kMedium = "DAILY00012";

// A job of the day: what its agent wrote, line by line behind the time stamp, and what that comes to.
struct Job {
    const char *what, *saveset, *task, *type;
    const char *listing; // "0": empty
    Lines log;
    char state;
};

const Job kGoodJob = {"ends well",
                      "SFhome0214",
                      "home",
                      "F",
                      "1",
                      {"tbc-3074: Info:    start [20080214220001]",
                       "tbc-3052: Info:     Items processed correctly: [4711]. Not processed or incorrectly "
                       "processed items: [0].",
                       "tbc-3007: Info:    Operation successful"},
                      '0'};

const Job kJobs[] = {
    kGoodJob,
    {"has warnings", "SDmail0214", "mail", "D", "1", {"tbc-2032: Warning: some files were open"}, '1'},
    {"saved nothing, and nothing had changed",
     "SIdocs0214",
     "docs",
     "I",
     "0",
     {"tbc-3007: Info:    Operation successful"},
     '1'},
    {"saved nothing at all",
     "SFbase0214",
     "base",
     "F",
     "0",
     {"tbc-3007: Info:    Operation successful"},
     '2'},
    {"was aborted", "SIwebs0214", "webs", "I", "1", {"tbc-1145: Error:   Operation aborted"}, '3'},
    {"lost its tape",
     "SFproj0214",
     "proj",
     "F",
     "1",
     {"tbc-3007: Info:    Operation successful",
      "tbc-1009: Error:   STOR failed: 2002: No space left on tape"},
     'E'},
    {"has no source",
     "SFgone0214",
     "gone",
     "F",
     "1",
     {"tbc-2030: Warning: invalid path /gone", "tbc-1001: Error:   nothing to do"},
     'X'},
};

bool run_sql(Stage &stage, const std::string &statement)
{
    char msg[TAMBA_DB_MSG_SIZE] = "";
    return iDB_ACCESS(statement.c_str(), msg, nullptr, stage.trace) == 1;
}

std::string first_value(Stage &stage, const std::string &query)
{
    const std::vector<SiteRow> rows = site_rows(stage.site, query);
    return rows.empty() ? "(no row)" : rows[0][0];
}

size_t started(const Stage &stage, const std::string &program)
{
    const Lines all = calls(stage.site);
    return static_cast<size_t>(std::count_if(
        all.begin(), all.end(), [&](const std::string &line) { return line.rfind(program, 0) == 0; }));
}

// ---- the logs -------------------------------------------------------------------------------------------------------

// What a backup program does with a log: it has it analysed and stores the result.
BackupLogResult store_result(Stage &stage, const Job &job)
{
    std::string text;
    for (const std::string &line : job.log)
        text += "2008-02-14 23:10:00: " + line + "\n";
    const std::string file = stage.site.path(std::string("lgc/") + (job.saveset + 2) + ".not");
    write_text(file, text);
    BackupLogResult result = {};
    std::snprintf(result.status, sizeof result.status, "%s", job.listing);
    i_ANALYSE_BACKUP_LOG(&result, job.saveset, file.c_str(), (std::string("/") + job.task).c_str(),
                         stage.trace);
    char msg[TAMBA_DB_MSG_SIZE];
    if (!execute_sql(msg, stage.trace,
                     "insert into results (saveset,task,datum,cnt,fdi_typ,state,msg,blocks) values "
                     "('%s','%s','%s',1,'%s','%s','%s',2048)",
                     job.saveset, job.task, kDatum, job.type, result.state, SqlText(result.message).c_str()))
        stage.report.check(false, std::string("the result is stored: ") + msg);
    return result;
}

void logs_become_results(Stage &stage)
{
    stage.report.step("The logs of the night become results",
                      "Seven savesets; what the agent wrote about each is condensed into one state and one "
                      "message.  A success never hides a failure or an empty listing.");
    for (const Job &job : kJobs) {
        const BackupLogResult result = store_result(stage, job);
        stage.report.field(job.task, {std::string(result.state) + "   " + result.message},
                           result.state[0] == '0' ? Tone::good : Tone::plain);
        stage.report.check(result.state[0] == job.state, std::string(job.saveset) + " " + job.what);
    }
    run_sql(stage, "insert into results (saveset,task,datum,fdi_typ,state) values ('D0214','new day','" +
                       std::string(kDatum) + "','N','a')");
}

// ---- the day --------------------------------------------------------------------------------------------------------

void set_calendar(Stage &stage)
{
    run_sql(stage, "delete from cal_sheets where 1=1");
    for (const char *row :
         {"'D0214','N','','a',0,0,'2008-02-14 18:00:00'", "'D0215','N','','w',0,0,'2008-02-15 18:00:00'",
          "'J0214','B','late daily','w',0,0,'2008-02-14 23:30:00'"})
        run_sql(stage, "insert into cal_sheets (id,ev_type,object,state,priority,suppress,start) values (" +
                           std::string(row) + ")");
    char value[TAMBA_GLBV_SIZE];
    std::snprintf(value, sizeof value, "%s", kDay);
    glbv("w", "gv_datum", value);
}

// Notifications so many more, and alarms, are waited for: they run in the background.
Difference check_day(Stage &stage, size_t notifications, size_t alarms)
{
    const size_t notified = started(stage, "tb_notify"), alarmed = started(stage, "tb_alarm");
    return show_call(stage, std::string("CHECK_IF_ALL_BACKUPS_DONE(\"") + kStop + "\")", [&] {
        CHECK_IF_ALL_BACKUPS_DONE(kStop, stage.trace);
        const bool all = wait_until([&] {
            return started(stage, "tb_notify") == notified + notifications &&
                   started(stage, "tb_alarm") == alarmed + alarms;
        });
        return std::string(all ? "1" : "0") + "   every program that it started has run";
    });
}

void day_waits(Stage &stage)
{
    stage.report.step(
        "The day is not complete while a job waits",
        "The job \"late\" has not run yet.  The check tells so in its trace, and nothing else.");
    set_calendar(stage);
    const Difference left = check_day(stage, 0, 0);
    stage.report.check(any_contains(left.trace, "there are still 1 waiting or executing jobs"),
                       "the trace names the job that is left");
    stage.report.check(left.protocol.empty() && left.calls.empty() &&
                           first_value(stage, "select state from cal_sheets where id='D0214'") == "a",
                       "the day is open");
}

// What the operator reads in the morning.
void show_summary(Stage &stage)
{
    Lines lines = {first_value(stage, "select msg from results where saveset='D0214'")};
    for (const SiteRow &row :
         site_rows(stage.site, std::string("select state, task, msg from results where datum='") + kDatum +
                                   "' and fdi_typ<>'N' order by state desc, task"))
        lines.push_back("  " + row[0] + "  " + row[1] + "  " + row[2]);
    stage.report.field("the day", lines);
}

void day_closes(Stage &stage)
{
    stage.report.step("The day is closed",
                      "The last job has run.  The worst result decides: a failure raises the alarm.");
    run_sql(stage, "update cal_sheets set state='0' where id='J0214'");
    const Difference left = check_day(stage, 2, 1);
    show_summary(stage);
    stage.report.check(
        any_contains(left.protocol, "E004-BACKUP") &&
            any_contains(left.protocol, "All: 7, Error: 3, Cancelled: 1, Warning: 2, Success: 1"),
        "E004-BACKUP with the totals");
    stage.report.check(any_contains(left.protocol, "Amount: 14336 (blocks)"), "and with the amount");
    stage.report.check(any_contains(left.calls, "tb_alarm BACKUP:") &&
                           any_contains(left.calls, "tb_notify ALL_JOBS_DONE"),
                       "alarm and notifications were started");
    stage.report.check(first_value(stage, "select state||end_time from cal_sheets where id='D0214'") ==
                           std::string("X") + kStop,
                       "the day is closed, with the state of its worst result");
}

void good_day(Stage &stage)
{
    stage.report.step("A day without failures", "The same day, had only its first job run: no alarm.");
    run_sql(stage, std::string("delete from results where datum='") + kDatum +
                       "' and task<>'home' and fdi_typ<>'N'");
    const Difference left = check_day(stage, 2, 0);
    show_summary(stage);
    stage.report.check(any_contains(left.protocol, "I013-BACKUP"), "I013-BACKUP, and nobody is woken up");
    stage.report.check(first_value(stage, "select state from results where saveset='D0214'") == "0",
                       "the day is stored as successful");
}

// ---- a medium is used again -------------------------------------------------------------------------------------------

// Files below the site, in three folders.
Lines files_left(const Stage &stage)
{
    Lines files;
    for (const char *folder : {"lis", "prepost", "lgc"}) {
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator(stage.site.path(folder), error))
            if (entry.path().extension() != ".lgc") // the library's own traces
                files.push_back(std::string(folder) + "/" + entry.path().filename().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void fill_medium(Stage &stage)
{
    for (const char *row : {"'SFhome0131','home','2008-01-31 00:00:00',1,'F','0',NULL,NULL",
                            "'SDmail0207','mail','2008-02-07 00:00:00',2,'D','0',NULL,NULL",
                            "'SFhome0207','home','2008-02-07 00:00:00',1,'F','0',NULL,'SFhome0131'",
                            "'SIdocs0207','docs','2008-02-07 00:00:00',1,'I','0','2',NULL"})
        run_sql(stage, "insert into results (saveset,task,datum,cnt,fdi_typ,state,saveset_exist,"
                       "original_saveset) values (" +
                           std::string(row) + ")");
    for (const char *saveset : {"SDmail0207", "SFhome0207", "SIdocs0207"})
        run_sql(stage, std::string("insert into result_lbls (saveset,label) values ('") + saveset + "','" +
                           kMedium + "')");
    for (const char *file :
         {"lis/home-20080131000000_001_full.lis", "lis/home-20080207000000_001_full.lis",
          "lis/home-20080207000000_0011_full.lis", "lis/mail-20080207000000_002_diff.lis",
          "lis/docs-20080207000000_001_incr.lis", "lis/home-20080214000000_001_full.lis",
          "prepost/pre_home-20080207000000_001.log", "prepost/pre_docs-20080207000000_001.log",
          "lgc/tbc_home0131.not", "lgc/tbc_mail0207.not", "lgc/tbc_docs0207.not"})
        write_text(stage.site.path(file), "of an older backup\n");
}

void medium_again(Stage &stage)
{
    stage.report.step(
        "A medium is used again",
        "DAILY00012 held three savesets of last week.  One was migrated: its data stay.  One was "
        "the last copy of an older backup: that goes, too.");
    fill_medium(stage);
    const Lines before = files_left(stage);
    show_call(stage, std::string("iDELETE_OLD_LIS(\"") + kMedium + "\", \"INIT:\", drive \"3\", 'n')",
              [&] { return std::to_string(iDELETE_OLD_LIS(kMedium, "INIT:", "3", 'n', stage.trace)); });
    const Lines after = files_left(stage);
    Lines gone;
    std::set_difference(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(gone));
    stage.report.field("files gone", gone);
    stage.report.check(
        gone == Lines{"lgc/tbc_home0131.not", "lgc/tbc_mail0207.not", "lis/home-20080131000000_001_full.lis",
                      "lis/home-20080207000000_001_full.lis", "lis/mail-20080207000000_002_diff.lis",
                      "prepost/pre_home-20080207000000_001.log"},
        "what belonged to the obsolete savesets is gone, look-alikes and the migrated one's stay");
    stage.report.check(first_value(stage, "select group_concat(saveset||' '||ifnull(saveset_exist,'')) from "
                                          "(select * from results where datum<'2008-02-14' and saveset in "
                                          "('SFhome0131','SDmail0207','SFhome0207','SIdocs0207'))") ==
                           "SIdocs0207 M",
                       "of their rows only the migrated one is left, and marked");
    stage.report.check(first_value(stage, std::string("select count(*) from result_lbls where label='") +
                                              kMedium + "'") == "0",
                       "the medium holds no saveset any more");
}

void listing_is_compressed(Stage &stage)
{
    stage.report.step("A listing is compressed, and read again",
                      "gzip keeps the listings of older backups small; who needs one gets it back.");
    const std::string file = "gv_rw_lis:home-20080214000000_001_full.lis";
    const std::string name = stage.site.path("lis/home-20080214000000_001_full.lis");
    const std::string text = read_text(name);
    show_call(stage, "COMPRESS_FILE(\"" + file + "\")", [&] {
        return std::string(COMPRESS_FILE(file.c_str(), stage.trace) == 0 ? "1" : "0") +
               "   gzip ended with 0";
    });
    stage.report.check(!fs::exists(name) && fs::exists(name + ".gz"), "only the compressed file is left");
    show_call(stage, "i_UNCOMPRESS_FILE(\"" + file + "\")",
              [&] { return std::to_string(i_UNCOMPRESS_FILE(file.c_str(), stage.trace)); });
    stage.report.check(!text.empty() && read_text(name) == text && !fs::exists(name + ".gz"),
                       "it reads as before");
}

} // namespace

void day_steps(Stage &stage)
{
    for (const auto step :
         {logs_become_results, day_waits, day_closes, good_day, medium_again, listing_is_compressed})
        step(stage);
}
