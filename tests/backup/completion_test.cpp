// The end of the backup day: what results come to, when the day is closed, and what the operator is told.
#include "tests/backup/media_site.h"

#include <algorithm>

namespace {

constexpr const char *kDatum = "2008-02-14 00:00:00", *kStop = "2008-02-15 05:30:00";

class Completion : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        char value[TAMBA_GLBV_SIZE] = "2008-02-14 some more";
        glbv("w", "gv_datum", value);
        sql("delete from results; delete from cal_sheets;"
            "insert into cal_sheets (id,ev_type,state,start) values ('N14','N','a','2008-02-14 18:00:00'),"
            "('N13','N','a','2008-02-13 18:00:00'),('N15','N','w','2008-02-15 18:00:00');"
            "insert into results (saveset,datum,fdi_typ,state) values ('N14','2008-02-14 00:00:00','N','a'),"
            "('N13','2008-02-14 00:00:00','N','a');");
    }
    void add_result(const std::string &task, const std::string &state, const char *type = "F") const
    {
        sql("insert into results (saveset,task,datum,fdi_typ,state,blocks) values ('S" +
            std::to_string(++savesets) + "','" + task + "','" + kDatum + "','" + type + "'," + state +
            ",10)");
    }
    void add_event(const std::string &values) const
    {
        sql("insert into cal_sheets (id,ev_type,object,state,priority,suppress,start) values (" + values +
            ")");
    }
    // Runs the check, and waits until so many programs have told that they were started.
    Lines check(size_t programs)
    {
        CHECK_IF_ALL_BACKUPS_DONE(kStop, trace);
        for (int i = 0; i < 3000 && calls(site).size() < programs; ++i)
            wait_msec(10);
        Lines all = calls(site);
        std::sort(all.begin(), all.end());
        return all;
    }
    bool is_open() const
    {
        return value("select group_concat(state) from cal_sheets where ev_type='N'") == "a,a,w" &&
               value("select count(*) from results where fdi_typ='N' and state='a'") == "2";
    }
    mutable int savesets = 0;
};

TEST_F(Completion, ResultsAreCountedByTheirStatesAndTheWorstDecides)
{
    constexpr struct {
        const char *states;
        char worst;
        DayTotals totals; // all, error, cancelled, warning, success
        const char *names;
    } kDays[] = {
        {"", '0', {0, 0, 0, 0, 0}, ""},
        {"00", '0', {2, 0, 0, 0, 2}, ""},
        {"01", '1', {2, 0, 0, 1, 1}, ": t1/1"},
        {"aqw*N", '1', {5, 0, 0, 5, 0}, ": t0/a, t1/q, t2/w, t3/*, t4/*"},
        {"13", '3', {2, 0, 1, 1, 0}, ": t0/1, t1/3"},
        {"c0", '3', {2, 0, 1, 0, 1}, ": t0/c"},
        {"32", '2', {2, 1, 1, 0, 0}, ": t0/3, t1/2"},
        {"2X", 'X', {2, 2, 0, 0, 0}, ": t0/2, t1/X"},
        {"E0LR", 'X', {4, 3, 0, 0, 1}, ": t0/E, t2/L, t3/R"},
        {"?0", 'X', {2, 1, 0, 0, 1}, ": t0/?"},
        {"dd0", '0', {1, 0, 0, 0, 1}, ""},
    };
    for (const auto &day : kDays) {
        DB_REC_LIST rows = {};
        for (size_t i = 0; day.states[i]; ++i) {
            const std::string state = day.states[i] == 'N' ? "NULL" : std::string(1, day.states[i]);
            const std::string text = "|task=t" + std::to_string(i) + "|state=" + state + "|";
            ASSERT_EQ(i == 0 ? DB_SEL_FIRST(&rows, text.c_str(), trace)
                             : DB_SEL_ALLOC(&rows, text.c_str(), trace),
                      1);
        }
        char worst = '?', message[TAMBA_DAY_MSG_SIZE];
        DayTotals totals{};
        const auto count = static_cast<int32_t>(rows.count);
        EXPECT_EQ(i_CHECK_RESULTS_ROWS(&rows, count, "test", &worst, &totals, message, trace), 1);
        EXPECT_EQ(worst, day.worst) << day.states;
        EXPECT_EQ(std::memcmp(&totals, &day.totals, sizeof totals), 0) << day.states << ": " << message;
        char expected[TAMBA_DAY_MSG_SIZE];
        std::snprintf(expected, sizeof expected,
                      "%d backups: %d successful, %d with warnings, %d cancelled, %d with errors%s",
                      totals.all, totals.success, totals.warning, totals.cancelled, totals.error, day.names);
        EXPECT_STREQ(message, expected);
        for (const int32_t wrong : {-1, count + 1}) {
            EXPECT_EQ(i_CHECK_RESULTS_ROWS(&rows, wrong, "test", &worst, &totals, message, trace), 0);
            EXPECT_EQ(worst, 'X') << "rows that cannot be read are no success";
            EXPECT_EQ(totals.all, 0);
            EXPECT_STREQ(message, "results of the day could not be read");
        }
        DB_SEL_LOOP_RECORDS(&rows, 'd');
    }
}

TEST_F(Completion, TheDayMessageIsCutAndHoldsNothingThatAStatementCannot)
{
    DB_REC_LIST rows = {};
    DB_SEL_FIRST(&rows, "|task=a'b\"c=d%n|state=X|", trace);
    for (int i = 0; i < 100; ++i)
        DB_SEL_ALLOC(&rows, "|task=a rather long name of a job|state=X|", trace);
    char message[TAMBA_DAY_MSG_SIZE];
    ASSERT_EQ(i_CHECK_RESULTS_ROWS(&rows, 101, "test", nullptr, nullptr, message, trace), 1);
    const std::string text = message;
    EXPECT_EQ(text.size(), 511u);
    EXPECT_EQ(text.substr(508), "...");
    EXPECT_NE(text.find(": a b c d n/X, a rather"), std::string::npos) << text;
    DB_SEL_LOOP_RECORDS(&rows, 'd');
}

TEST_F(Completion, NothingIsClosedWhileAJobIsLeft)
{
    add_result("home", "'0'");
    const struct {
        const char *event, *line;
    } cases[] = {
        {"'J1','B','home daily','a',5,0,'2008-02-14 20:00:00'", "in state a is executing >> break"},
        {"'J1','G','group','q',5,0,'2008-02-14 20:00:00'", "in state q is executing >> break"},
        {"'J1','X','move','w',0,0,'2008-02-14 20:00:00'", "with prio 0 will always be executed >> break"},
        {"'J1','B','home daily','w',5,0,'2008-02-14 20:00:00'", "with prio 5 will be executed >> break"},
    };
    for (const auto &[event, line] : cases) {
        add_event(event);
        EXPECT_EQ(check(0), Lines{});
        EXPECT_TRUE(is_open()) << event;
        EXPECT_NE(trace_text().find(line), std::string::npos) << line;
        EXPECT_NE(trace_text().find("remaining rows 1"), std::string::npos);
        sql("delete from cal_sheets where id='J1'");
    }
    // The same object has run with a higher priority: 10 is more than 5, whatever their texts say.
    add_event("'J1','B','home daily','w',5,0,'2008-02-14 20:00:00'");
    add_event("'J2','B','home','0',10,0,'2008-02-14 19:00:00'");
    EXPECT_EQ(check(0), Lines{});
    EXPECT_TRUE(is_open()) << "only a call that finds no job closes the day";
    EXPECT_NE(trace_text().find("remaining rows 0"), std::string::npos);
    EXPECT_EQ(protocol(), "");
}

TEST_F(Completion, TheDayIsClosedWithTheStateOfItsWorstResult)
{
    const struct {
        const char *state, *message, *counts;
        size_t programs;
    } days[] = {{"'0'", "I013-BACKUP", "All: 1, Error: 0, Cancelled: 0, Warning: 0, Success: 1", 2},
                {"'1'", "W007-BACKUP", "All: 2, Error: 0, Cancelled: 0, Warning: 1, Success: 1", 2},
                {"'2'", "W007-BACKUP", "All: 3, Error: 1, Cancelled: 0, Warning: 1, Success: 1", 2},
                {"'X'", "E004-BACKUP", "All: 4, Error: 2, Cancelled: 0, Warning: 1, Success: 1", 3}};
    size_t amount = 0;
    for (const auto &day : days) {
        std::filesystem::remove(site.path("work/site/calls.log"));
        const size_t said = protocol().size();
        add_result("the ''where'' job", day.state);
        const Lines programs = check(day.programs);
        ASSERT_EQ(programs.size(), day.programs) << day.state;
        EXPECT_EQ(programs.back(), std::string("tb_notify BACKUP: \"") + day.counts + "\"");
        EXPECT_EQ(programs[day.programs - 2].rfind("tb_notify ALL_JOBS_DONE \"", 0), 0u)
            << "quotes cannot end it";
        if (day.programs == 3) {
            EXPECT_EQ(programs[0], std::string("tb_alarm BACKUP: \"") + day.counts + "\"");
        }
        const std::string text = protocol().substr(said);
        EXPECT_NE(text.find(day.message), std::string::npos) << text;
        EXPECT_NE(text.find(std::string("ALL_BACKUPS_DONE: ") + day.counts +
                            ", Amount: " + std::to_string(amount += 10) + " (blocks)"),
                  std::string::npos)
            << text;
        const std::string state(1, day.state[1]);
        EXPECT_EQ(value("select group_concat(state||stop_tim) from results where fdi_typ='N'"),
                  state + kStop + "," + state + kStop);
        EXPECT_EQ(value("select state||end_time from cal_sheets where id='N14'"), state + kStop);
        EXPECT_EQ(value("select state from cal_sheets where id='N13'"), "a") << "only the day that is last";
        EXPECT_EQ(value("select msg from cal_sheets where id='N14'"),
                  value("select msg from results where saveset='N14'"));
    }
}

TEST_F(Completion, AFailingUpdateStopsNothingElse)
{
    expect_complaints = true;
    add_result("home", "'X'");
    sql("create trigger no_results before update on results begin select raise(abort,'results are full'); "
        "end;");
    EXPECT_EQ(check(3).size(), 3u) << "alarm and notifications";
    EXPECT_NE(protocol().find("BACKUP: CHECK_IF_ALL_BACKUPS_DONE 1 with unexpected result: results are full"),
              std::string::npos)
        << protocol();
    EXPECT_EQ(value("select state from cal_sheets where id='N14'"), "X")
        << "the calendar is closed all the same";
    sql("drop trigger no_results; update cal_sheets set state='a' where id='N14';"
        "create trigger no_sheets before update on cal_sheets begin select raise(abort,'no'); end;");
    check(6);
    EXPECT_NE(protocol().find("BACKUP: CHECK_IF_ALL_BACKUPS_DONE 2 with unexpected result"),
              std::string::npos);
    EXPECT_EQ(value("select state from results where saveset='N14'"), "X");
}

TEST_F(Completion, ACatalogueThatCannotBeReadClosesNoDayAsGood)
{
    expect_complaints = true;
    add_result("home", "'0'");
    {
        const CatalogueLock lock(site);
        EXPECT_EQ(check(0), Lines{});
    }
    EXPECT_TRUE(is_open());
    EXPECT_NE(protocol().find("E018-DATABAS"), std::string::npos);
    sql("alter table cal_sheets rename to elsewhere");
    EXPECT_EQ(check(0), Lines{}) << "nobody knows whether jobs are left";
    EXPECT_EQ(value("select state from results where saveset='N14'"), "a");
    sql("alter table elsewhere rename to cal_sheets; alter table results rename column task to job");
    EXPECT_EQ(check(1), Lines{"tb_notify ALL_JOBS_DONE \"results of the day could not be read\""});
    EXPECT_EQ(value("select state from results where saveset='N14'"), "X") << "never a false success";
    EXPECT_EQ(protocol().find("I013-BACKUP"), std::string::npos);
}

} // namespace
