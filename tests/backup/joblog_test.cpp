#include "tests/support/test_site.h"

#include <foundation/ini.h>
#include <foundation/text.h>
#include <platform/fault.h>

#include <algorithm>
#include <cstring>
#include <set>

namespace {

using namespace std::string_literals;

constexpr char kPlain[] = "2008-02-14 10:30:00: tbc-", kShifted[] = "2008-02-14 10:30:00 tbc-",
               kExchange[] = "2008-02-14 10:30:00: TBC_MSEX-";

// A log from short lines that end with ";": "1023 text" is a message of that code; "m" in front gives it the
// columns of an Exchange agent, "s" a stamp without its colon, "=" stands in front of a line as it is.
// "3052 5 2" counts items.  Without a ";" at its end the log is cut there.
std::string log_of(std::string_view lines)
{
    std::string log;
    for (size_t end; !lines.empty(); lines.remove_prefix(end)) {
        end = std::min(lines.find(';'), lines.size() - 1) + 1;
        std::string text(lines.substr(0, end));
        std::replace(text.begin(), text.end(), ';', '\n');
        const char form = text[0];
        text.erase(0, is_digit(form) ? 0 : 1);
        if (text.starts_with("3052 ") && is_digit(text[5])) {
            text.insert(text.find_last_not_of("\r\n") + 1, "].");
            text.replace(text.find(' ', 5), 1, "]. Not processed or incorrectly processed Items: [");
            text.insert(5, "Items processed correctly: [");
        }
        if (form != '=')
            text = (form == 's'   ? kShifted
                    : form == 'm' ? kExchange
                                  : kPlain) +
                   text.substr(0, 4) + (text[0] == '1' ? ": Error:  " : ": Info:   ") + text.substr(4);
        log += text;
    }
    return log;
}

class JobLog : public TestSite {
protected:
    // The state and what stands in the message behind status and saveset.
    std::string backup(const std::string &saveset, const std::string &source, const std::string &file)
    {
        pl_fault_arm(fault, PL_DISK_FULL);
        const int32_t done =
            i_ANALYSE_BACKUP_LOG(&result, saveset.c_str(), file.c_str(), source.c_str(), context(level));
        pl_fault_arm(0, PL_OK);
        EXPECT_LT(strnlen(result.message, sizeof result.message), sizeof result.message);
        EXPECT_EQ(done, holds("012", result.state) ? 1 : 0) << result.state;
        const std::string front = result.status + "/"s + saveset, message = result.message;
        EXPECT_EQ(message.substr(0, front.size()), front.substr(0, message.size()));
        return result.state + message.substr(std::min(front.size(), message.size()));
    }
    std::string analysed(const std::string &log, const char *status = "4", const std::string &saveset = "AF1")
    {
        write("work/AF1.not", log_of(log));
        result = {"", "", "", "", -7, -7};
        std::strcpy(result.status, status);
        const std::string outcome = backup(saveset, "/data", path("work/AF1.not"));
        EXPECT_STREQ(result.status, outcome[0] == '3' ? "3" : status);
        return outcome;
    }
    // The result, the status and the message.
    std::string restore(const std::string &file, const char *mode = "") const
    {
        char status[TAMBA_JOBLOG_STATUS_SIZE], message[TAMBA_JOBLOG_MSG_SIZE + 8];
        std::memset(message, '#', sizeof message);
        std::strcpy(message, mode);
        pl_fault_arm(fault, PL_DISK_FULL);
        const int32_t done =
            i_ANALYSE_RESTORE_LOG(file.c_str(), "AF1", "10:30", status, message, context(level));
        pl_fault_arm(0, PL_OK);
        EXPECT_EQ(std::string(message + TAMBA_JOBLOG_MSG_SIZE, 8), "########");
        return std::to_string(done) + " " + status + " " + message;
    }
    std::string restored(const std::string &log, const char *mode = "") const
    {
        write("work/job.prot", log_of(log));
        return restore(path("work/job.prot"), mode);
    }
    int32_t level = 0, fault = 0; // the call of the seam that fails
    BackupLogResult result{};
};

constexpr char kGood[] = "0//successful without warnings", kWarned[] = "1//Warnings see backup protocol",
               kNoEnd[] = "X/TBC logging without final state message", kFull[] = "X// Error:   full",
               kGui[] = "3//Aborted by GUI", kNoSource[] = "X//Backup source /data does not exist.",
               kEmpty[] = "2//empty LIS", kEmptyWarned[] = "2//Warnings see backup protocol: empty LIS";

TEST_F(JobLog, ABackupIsGoodOnlyWhenNothingInItsLogSaysOtherwise)
{
    const std::string longest(510, 'x'), gap(74, '.'), zero(1, '\0'),
        tape = "2001: Invalid Tape ID.", busy = "1024: TBS is not in allowed state for this command.",
        sent = " Data sent: 553 STOR.";
    // clang-format off
    const struct { std::string log, expected; const char *status = "4", *saveset = "AF1"; } cases[] = {
        // How it ended.
        {"3036 Welcome;3007;", kGood}, {"2032;", kWarned}, {"", kNoEnd}, {"3007;2032;", kGood},
        {"2032;3007;", kWarned}, {"3007;1023 full;", kFull}, {"1023 full;3007;", kFull}, {"3007;1145;", kGui},
        {"1023 x;1000 full;", kFull}, {"3036 x;3005;2000;4999;0007;9999;", kNoEnd}, {"1023 full;1145;", kGui},
        {"3007;3053 x;", "X//Operation failed"}, {"1145;1023 full;", kGui}, {"1145;3007;", kGui},
        {"1028;3007;", kGui}, {"1028;1023 full;", kFull}, {"1023 full;1028;", kGui},
        {"1023 after -1145: x;", kGui},
        // Forms of lines.
        {"3007;1023 full", kFull}, {"=2008-02-14 10:30:00: tbc-3007", kNoEnd}, {"3007\r;1023 full\r;", kFull},
        {"=2008-02-14 10:30:00: tbc-3OO7: x;", kNoEnd}, {"=2008-02-14 10:30:00: tbc-3007 x;", kNoEnd},
        {"m2032;m3007;", kWarned}, {"m3007;m1023 x;", "X//1023: Error:   x"}, {"m3007;", kGood},
        {"3007;1023 x at TBC_MSEX-1;", kGood}, {"s3007;", kGood},
        {"3007;s1023 full;", kFull}, {"=2008-02-14 10:30:0 tbc-3007: x;", kNoEnd},
        {"3007;=" + longest + log_of("1023 full"), kFull}, {"3007;1023 full" + zero + " x;", kFull},
        {"3007;=" + longest.substr(9) + log_of("1023 x"), kGood}, {"3007;=" + zero + ";1023 full;", kFull},
        // A tape without its trailer.
        {"3007;1007" + sent + " 2010: x;", kGood}, {"3007;s1007" + sent + " 2010: x;", kGood},
        {"1007" + sent + " 2010: x;", kNoEnd}, {"3007;1007" + sent, "X// Error:  " + sent},
        {"3007;1007 Data sent: 2010: x;", "X// Error:   Data sent: 2010: x"},
        {"3007;1007 Transfer: 553 STOR. 2010: x;", "X// Error:   Transfer: 553 STOR. 2010: x"},
        // Why it failed.
        {"3007;1009 425 2002: No;", "E//2002: No"}, {"1010 530 Who?;", "L//530 Who?"}, {"2030;3007;", kGood},
        {"1009 connect() failed" + gap + "refused;", "R//refused"}, {"1010 connect() failed;", "R//"},
        {"s1009 connect() failed" + gap + "refused;", "R//refused"}, {"1009 " + tape, "R// Error:   " + tape},
        {"1010 " + busy, "R// Error:   " + busy}, {"1009 x;", "X//Error:   x"}, {"2030;", kNoEnd},
        {"1009 1011: Tapemark detected.", "R// Error:   1011: Tapemark detected."},
        {"1009 x;1010 530 y;", "X//Error:   x"}, {"1023 " + tape + ";1009 x;", "X//Error:   x"},
        {"1009 x;1023 " + tape, "R// Error:   " + tape}, {"1023 " + tape, "R// Error:   " + tape},
        {"2030;2030;1023 full;", kNoSource}, {"2030;1023 " + tape, kNoSource},
        {"2030;1009 x;1023 y;", "X//Error:   x"},
        // An empty listing.
        {"3007;", kEmpty, "0"}, {"3007;", "1//empty LIS", "0", "AI1"}, {"3007;", kEmpty, "0", "I"},
        {"3007;2032;", "1//empty LIS", "0", "AD1"}, {"3007;", kEmpty, "0", ""}, {"3007;", kEmpty, "0", "Ai1"},
        {"2032;", kEmptyWarned, "0"}, {"2032;", kWarned, "0", "AI1"}, {"2032;", kWarned, "0", "AD1"},
        {"3007;1023 full;", kFull, "0", "AI1"}, {"3036 x;", kNoEnd, "0", "AI1"}, {"1145;", kGui, "0"},
        {"3007;", kGood, ""},
        // When it began.
        {"3074 at [20080214103000] x;3007;", "0/20080214103000/successful without warnings"},
        {"s3074 [2008021410300099];1023 full;", "X/20080214103000/ Error:   full"},
        {"3074 [1];3074 [2;3074 none;1145;", "3/2/Aborted by GUI"}, {"3074 2008;3007;", kGood},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(analysed(c.log, c.status, c.saveset), c.expected) << log_of(c.log) << c.status << c.saveset;
}

TEST_F(JobLog, CountsAndTextsAreTakenOutOfTheLog)
{
    level = 3;
    // clang-format off
    const struct { const char *log; int32_t processed, not_processed; const char *traced; } cases[] = {
        {"3052 12 -3;", 12, -3, "Processed Items=12   Not Processed Items=-3\n"},
        {"m3052 5 6;", 5, 6, "Items=5 "}, {"s3052 8 9;", 8, 9, "Items=8 "}, {"3007;", -7, -7, "bckSts=0"},
        {"3052 5 6;3052 7 0;", 7, 0, "Items=7 "}, {"3052 none;", -7, -7, "    format error in line: 2008-"},
        {"3052 Items;", -7, -7, "    sscanf format error in line: 2008-"},
        {"3052 Items processed correctly: [ 5].Not  x[6];", 5, -7, "    sscanf format error in line: 2008-"},
        {"3052 4294967296 -99999999999999999999;", INT32_MAX, INT32_MIN, "Items=2147483647 "},
    };
    // clang-format on
    for (const auto &c : cases) {
        write("lgc/test.lgc", "");
        analysed(c.log);
        EXPECT_EQ(result.processed_items, c.processed) << c.log;
        EXPECT_EQ(result.not_processed_items, c.not_processed) << c.log;
        EXPECT_TRUE(holds(trace_text(), c.traced));
    }
    analysed("3074 x[1;3999 level 0;3999 level 1\r;3998 /a;=odd, and longer than a code, surely;2030;s3998 "
             "/b;3007");
    EXPECT_STREQ(result.ndmp_info, "level 1");
    EXPECT_EQ(read("work/AF1.sgm"), "#/a\n#/b\n");
    for (const char *line :
         {"+++ ANALYSE_BACKUP_LOG  saveset=AF1  NOT-file=", "TbcStart=1", "line: odd, and longer",
          "not in tbc format: ode, s", "pathes: 1", "AF1.sgm (ok)", "msg=4/AF1/1/successful"})
        EXPECT_TRUE(holds(trace_text(), line));
}

TEST_F(JobLog, ABackupWhoseNextMediumFailedIsBrokenOffWithoutALookAtItsLog)
{
    write("work/AF1.not", log_of("3998 /a;3007;"));
    for (const std::string value : {"BREAK", "BREAKS", "break"}) {
        set_global("gv_tbs_eom_3", value.c_str());
        result = {"4", "gv_tbs_eom_3", "", "", 0, 0};
        const bool broken = value == "BREAK";
        EXPECT_EQ(backup("AF1", "", "gv_rw_work:AF1.not"),
                  broken ? "X/Media initialisation for following tape failed" : kGood);
        EXPECT_EQ(global("gv_tbs_eom_3").substr(0, 6), broken ? "???" : value);
        EXPECT_EQ(exists("work/AF1.sgm"), !broken);
    }
}

TEST_F(JobLog, ALogOrProtocolThatCannotBeReadIsAFailure)
{
    for (const std::string &name : {path("work/missing"), path("work"), ""s, std::string(2000, 'n')}) {
        result = {"4", "", "", "", 0, 0};
        EXPECT_EQ(backup("AF1", "", name), "X" + ("/Could not open TBC logging file " + name).substr(0, 506));
        const std::string told = "Failure: Protocol file " + name + " could not be opened for append";
        EXPECT_EQ(restore(name), "0 X " + told.substr(0, TAMBA_JOBLOG_MSG_SIZE - 1));
    }
    EXPECT_EQ(i_ANALYSE_BACKUP_LOG(&result, nullptr, nullptr, nullptr, context(1)), 0);
    EXPECT_STREQ(result.message, "4//Could not open TBC logging file ");
}

TEST_F(JobLog, TextsOfAnyLengthAreCutInsideTheirBuffers)
{
    const std::string name = "AF" + std::string(2000, 'n');
    EXPECT_EQ(analysed("3007;", "4", name), "0");
    EXPECT_EQ(analysed("3999 " + name + ";2030;1023 x;", "1234567890123456789"), kNoSource);
    EXPECT_EQ(result.ndmp_info, name.substr(0, 470));
    EXPECT_EQ(backup("AF1", name, path("work/AF1.not")), "X" + ("//Backup source " + name).substr(0, 488));
    std::memset(&result, 'x', sizeof result); // no text has an end
    EXPECT_EQ(backup(name, "", path("work/AF1.not")), "X");
    EXPECT_EQ(std::strlen(result.message), sizeof result.message - 1);
}

TEST_F(JobLog, TextsComeInTheLanguageOfTheSite)
{
    std::string ini = read("ini/tb.ini");
    write("ini/tb.ini", ini.replace(ini.find("lang=en"), 7, "lang=de"));
    IniFile::forget_recent();
    TraceContext trace = context(0);
    v_set_log_main("test.lgc", "TEST", &trace);
    EXPECT_EQ(analysed("3007;"), "0//erfolgreich ohne Warnungen");
    EXPECT_EQ(analysed("2032;", "0"), "2//Warnungen siehe Sicherungsprotokoll: leeres LIS");
    EXPECT_EQ(analysed("1145;"), "3//Abbruch durch GUI");
    EXPECT_EQ(analysed("2030;1023 x;"), "X//Sicherungsquelle /data existiert nicht");
    EXPECT_EQ(restored("3007;3052 1 0;"), "1 0 R\374cksicherung war erfolgreich");
}

TEST_F(JobLog, ARestoreIsJudgedByItsLastRun)
{
    const std::string longest(255, 'x'),
        sql = "=On TAMBA MS SQL Server;", fine = "3007;3052 5 0;", was = "Restore was successful",
        nearly = was + " with warnings - see protocol", done = "1 0 " + was,
        was_not = "Restore was not successful.", none = "1 X Restore failed. No data has been restored!",
        reason = was_not + " 2008-02-14 10:30:00: tbc-1023: Error:   full", some = "1 1 " + nearly,
        bad = "1 X " + was_not, full = "1 X " + reason, tape = "1 X Changing media failed. " + was_not,
        there = "1 1 All files already existing at target and overwrite is not allowed - so nothing copied",
        quit = "0 c Restore was aborted by user - up to now copied files will remain.";
    // clang-format off
    // noted: the line in the protocol, where it is not the message.
    const struct { std::string log, expected, noted = ""; const char *mode = ""; } cases[] = {
        // How it ended.
        {"3036 x;3005;" + fine, done}, {"3052 5 0;2032;", done}, {"", none, was_not}, {"3007;", none, was},
        {"3036 x;3005;3052 5 0;", bad}, {fine + "1023 full;", done}, {"3052 5 0;1023 full;3007;", full},
        {"1023 full;" + fine, none, reason}, {"3052 5 0;3005;1023 x;", some}, {"3005;1023 x;", none, nearly},
        {"3052 5 0;=2008-02-14 10:30:00: tbc-1;", bad + " 2008-02-14 10:30:00: tbc-1"},
        {"3052 5 0;1023 Unsuccessful tape change;", tape}, {fine + "1145;", quit, was},
        {"3052 5 0;3005;1010 Unsuccessful tape change;", tape}, {"3052 5 0;1023 full;1145;", full},
        {"1145;3052 5 0;1023 full;3007;", quit, reason}, {"3021;3021;" + fine, some, was},
        {"3007;3021;", some, was}, {"3021;3052 5 0;", bad},
        // Several runs.
        {"3036 x;" + fine + "3036 x;3052 5 0;1023 full;", full}, {"3036 x;1023 full;3036 x;" + fine, done},
        {"3036 x;" + fine + "3036 x;", none, was_not}, {"3021;3052 0 1;1145;3036 x;" + fine, done},
        {"3036 x;" + fine + "3036 x;" + fine + "3036 x;3007;", none, was},
        // Counts.
        {"3007;3052 5 2;", some, was}, {"3007;3052 0 2;", none, was}, {"3007;3052 5 4294967296;", some, was},
        {"3007;3052 0 2;", there, was, "not_overwrite"}, {"3007;3052 1 2;", some, was, "not_overwrite"},
        {"3007;3052 0 2;", none, was, "not_overwrite "}, {"3007;3052 Items processed correctly: [5].", done},
        {"3007;=2008-02-14 10:30:00: tbc-3052:  Info:Items processed correctly: [5]", done},
        {sql + "3007;3052 0 2;", done}, {sql + "3007;", none, was}, {sql + "3007;3052 5 2;", done},
        {sql + "3036 x;3007;3052 0 2;", none, was}, {"3036 TAMBA MS SQL Server;3007;3052 0 2;", none, was},
        {"m3000 TAMBA MS SQL Server;m3007;m3052 0 2;", none, was},
        // Forms of lines.
        {"3036 x\r;3007\r;3052 5 0\r;", done}, {"s3036 x;s3007;s3052 5 0;", done}, {"m3007;m3052 5 0;", done},
        {"m3052 5 0;m1023 x;m3007;", bad + " 2008-02-14 10:30:00: TBC_MSEX-1023: Error:   x"},
        {"3052 5 0;=2008-02-14 10:30:00: tbc-3007", done}, {"3052 5 0;=2008-02-14 10:30:00: tbc-300", bad},
        {"3052 5 0;1023 full", full}, {"3052 5 0;=" + longest + log_of("1023 full") + ";3007;", full},
        {"=" + longest.substr(9) + log_of("1023 x") + ";" + fine, done},
        {"3052 5 0;1023 full" + std::string(1, '\0') + " x;3007;", full},
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(restored(c.log, c.mode), c.expected) << log_of(c.log) << c.mode;
        std::string log = log_of(c.log) + "\n\nTBC-STATUS: ";
        std::erase(log, '\r');
        EXPECT_EQ(read("work/job.prot"), log + (c.noted.empty() ? c.expected.substr(4) : c.noted) + "\n");
    }
}

TEST_F(JobLog, AFaultOfTheSystemNeverLooksLikeSuccess)
{
    std::set<std::string> good, bad, restores;
    for (fault = 1; fault < 12; ++fault) {
        good.insert(analysed("3007;"));
        bad.insert(analysed("1009 530 x;"));
        const std::string outcome = *restores.insert(restored("3007;3052 5 0;")).first;
        EXPECT_EQ(outcome[0], holds(read("work/job.prot"), "TBC-STATUS: Restore was") ? '1' : '0');
    }
    const std::string unread = "X/Could not open TBC logging file " + path("work/AF1.not"),
                      unused = "0 X Failure: Protocol file " + path("work/job.prot") +
                               " could not be opened for append";
    EXPECT_EQ(good, (std::set<std::string>{unread, kGood}));
    EXPECT_EQ(bad, (std::set<std::string>{unread, "X// Error:   530 x", "L//530 x"}));
    EXPECT_EQ(restores, (std::set<std::string>{unused, "1 0 Restore was successful"}));
}

} // namespace
