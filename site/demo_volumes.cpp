// The third act: the medium comes into the drive, by robot and by an operator.
#include <site/demo.h>

#include <platform/clock.h>
#include <platform/process.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>

namespace {

constexpr const char *kDesk = "4"; // a drive without a loader
constexpr const char *kNightly = "3";
constexpr const char *kWanted = "DESK00001";

// What happens on the site while a request waits; its pauses are shortened.
std::function<void(int pause)> g_meanwhile;
int g_pauses = 0;

void short_pause(uint32_t)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (g_meanwhile)
        g_meanwhile(++g_pauses);
    if (g_pauses > 5000)
        gcInterrupt = 'y'; // whatever goes wrong, the demo ends
}

struct Request {
    int32_t result = 0;
    std::string message;
    Difference left;
};

Request request(
    Stage &stage, const char *label, const char *drive, char mode,
    std::function<void(int)> meanwhile = [](int) {})
{
    g_meanwhile = std::move(meanwhile);
    g_pauses = 0;
    gcInterrupt = 'n';
    Request done;
    done.left = show_call(
        stage, std::string("i_GET_VOLUME(\"") + label + "\", drive \"" + drive + "\", '" + mode + "')", [&] {
            char message[TAMBA_VOLUME_MSG_SIZE] = "";
            done.result = i_GET_VOLUME(label, drive, mode, message, nullptr, stage.trace);
            done.message = message;
            return std::to_string(done.result) + "   " + done.message;
        });
    gcInterrupt = 'n';
    return done;
}

void check_in_drive(Stage &stage, const Request &done, const char *drive, const std::string &label)
{
    const std::vector<SiteRow> rows =
        site_rows(stage.site, std::string("select label from hw_drives where drive_num=") + drive);
    stage.report.check(done.result == 1 && done.message == label && rows[0][0] == label &&
                           medium_in_drive(stage.site, drive) == label,
                       label + " is in drive " + drive + ", and the catalogue knows it");
}

void check_refused(Stage &stage, const Request &done, const std::string &message)
{
    stage.report.check(done.result == 0 && done.message == message, "refused, and the reason is told");
    stage.report.check(done.left.catalogue.empty(), "the catalogue is as before");
}

size_t count(const Lines &lines, const std::string &part)
{
    size_t found = 0;
    for (const std::string &line : lines)
        found += line.find(part) != std::string::npos ? 1 : 0;
    return found;
}

void empty_desk(const Stage &stage)
{
    put_into_drive(stage.site, kDesk, "");
    site_sql(stage.site, std::string("update hw_drives set label=null where drive_num=") + kDesk);
}

// What the operator does when tb_notify calls him: each medium goes in as soon as the drive is empty.
void operator_brings(const Stage &stage, const Lines &media)
{
    std::string script;
    for (const std::string &medium : media)
        script += std::string(kDesk) + " " + medium + "\n";
    empty_desk(stage);
    write_text(script_path(stage.site, "tb_notify", "insert"), script);
}

void nobody_comes(const Stage &stage)
{
    empty_desk(stage);
    std::remove(script_path(stage.site, "tb_notify", "insert").c_str());
}

// The drives are served by this host, and the media server has nothing to say about end of media.
void arrange_drives(const Stage &stage)
{
    char own[256] = "", yes[TAMBA_GLBV_SIZE] = "y";
    pl_host_name(own, sizeof own);
    site_sql(stage.site, std::string("update clients set name='") + own + "' where client_id=1");
    glbv("w", "gv_tbs_without_eom_login", yes);
}

// ---- the steps ------------------------------------------------------------------------------------------------------

void fetched_for_backup(Stage &stage)
{
    stage.report.step("A backup's medium is fetched by the robot",
                      "The medium that was chosen in the first act lies in slot 2 of loader 2.");
    const Answer chosen = ask(kNightly, "DAILY", stage.trace);
    char label[TAMBA_LABEL_SIZE], msg[TAMBA_MEDIA_MSG_SIZE] = "";
    std::snprintf(label, sizeof label, "%s", chosen.label.c_str());
    int32_t result = 0;
    const Difference left =
        show_call(stage, "i_GET_BACKUP_MEDIUM(\"" + chosen.label + "\", drive \"3\")", [&] {
            result = i_GET_BACKUP_MEDIUM(label, kNightly, "nightly-backup", msg, stage.trace);
            return std::to_string(result) + "   " + label + msg;
        });
    check_in_drive(stage, {result, label, {}}, kNightly, "DAILY00012");
    stage.report.check(count(left.calls, "tb_loader L -l 2 -d 3 -s 2") == 1, "the robot was told the slot");
    stage.report.check(count(left.protocol, "I007-GETVOL") == 1 && count(left.protocol, "I002-GETVOL") == 1,
                       "the protocol tells the way and the end: I007 and I002-GETVOL");
}

void virtual_loader(Stage &stage)
{
    stage.report.step("A virtual loader",
                      "It is told the label; the medium in the drive was unloaded before.");
    char msg[TAMBA_DRIVE_MSG_SIZE] = "";
    site_sql(stage.site, "update hw_loaders set ctrl='VIRT-DIR' where loader_num=2");
    const int32_t unloaded = drive_handler("dismount", kNightly, "UNLOAD", msg, stage.trace);
    stage.report.field("before", {msg});
    const Request done = request(stage, "DAILY00011", kNightly, 'b');
    stage.report.check(unloaded == 1 && std::string(msg) == "dismounted DAILY00012 (unload)",
                       "the drive was empty");
    check_in_drive(stage, done, kNightly, "DAILY00011");
    stage.report.check(count(done.left.calls, "tb_loader L -l 2 -d 3 -s DAILY00011") == 1,
                       "the label stands in the slot's place");
}

void operator_inserts(Stage &stage)
{
    stage.report.step("An operator inserts the medium, after a wrong one",
                      "Drive 4 has no robot: tb_notify calls, and WEEKLY00004 is what comes first.");
    operator_brings(stage, {"WEEKLY00004", kWanted});
    const Request done = request(stage, kWanted, kDesk, 'b');
    Lines told;
    for (const std::string &line : done.left.trace)
        for (const char *part : {"Found label is", "Current pool"})
            if (line.find(part) != std::string::npos)
                told.push_back(line.substr(line.find_first_not_of(' ')));
    stage.report.field("trace", told, Tone::faint);
    check_in_drive(stage, done, kDesk, kWanted);
    stage.report.check(count(told, "Found label is WEEKLY00004 - expected label is DESK00001") == 1,
                       "the trace names what was found and what was expected");
    stage.report.check(count(done.left.calls, "tb_tbs_interface unload") == 1,
                       "the wrong one was ejected, once");
    stage.report.check(count(done.left.calls, "tb_notify GET_VOLUME") == 1, "the operator was called once");
}

void same_pool(Stage &stage)
{
    stage.report.step("Another medium of the pool",
                      "Its end of life has passed, and the site allows it for initialisations.");
    site_sql(stage.site,
             "insert into defaults (key, value) values ('media_accept_eol', 'y');"
             "insert into media (label, pool, kasstyp, eol) values ('DESK00002', 'DESK', 'LTO-TAPE', "
             "datetime('now', 'localtime', '-1 day'))");
    operator_brings(stage, {"DESK00002"});
    const Request done = request(stage, kWanted, kDesk, 'i');
    check_in_drive(stage, done, kDesk, "DESK00002");
    stage.report.check(count(done.left.protocol, "I004-GETVOL") == 1, "the change stands in the protocol");
}

void still_needed(Stage &stage)
{
    stage.report.step("Another medium of the pool that is still needed",
                      "Its end of life has not passed: it is ejected, whoever inserts it.");
    site_sql(stage.site,
             "update media set eol=datetime('now', 'localtime', '+1 day') where label='DESK00002'");
    operator_brings(stage, {"DESK00002", kWanted});
    const Request done = request(stage, kWanted, kDesk, 'i');
    check_in_drive(stage, done, kDesk, kWanted);
    stage.report.check(count(done.left.trace, "don't accept DESK00002") > 0, "DESK00002 was not accepted");
    stage.report.check(count(done.left.calls, "tb_tbs_interface unload") == 1, "and was ejected, once");
}

void without_label(Stage &stage)
{
    stage.report.step("A medium without a label", "The site allows it: tb_arch labels it for the pool.");
    site_sql(stage.site, "insert into defaults (key, value) values ('media_accept_empty', 'y')");
    operator_brings(stage, {"-"});
    const Request done = request(stage, kWanted, kDesk, 'i');
    check_in_drive(stage, done, kDesk, "DESK00003");
    stage.report.check(count(done.left.calls, "tb_arch intro -o nocheck -i over -d 4 -T LTO-TAPE -m DESK") ==
                           1,
                       "tb_arch ran once, for the pool");
}

void spare(Stage &stage)
{
    stage.report.step("A spare medium", "It is taken over into the pool, and its old entry goes.");
    site_sql(stage.site,
             "insert into defaults (key, value) values ('media_accept_spare', 'y');"
             "insert into media (label, pool, kasstyp) values ('SPARE00001', 'SPARE', 'LTO-TAPE')");
    operator_brings(stage, {"SPARE00001"});
    const Request done = request(stage, kWanted, kDesk, 'i');
    check_in_drive(stage, done, kDesk, "DESK00004");
    stage.report.check(any_contains(done.left.catalogue, "SPARE00001: gone"),
                       "SPARE00001 is no longer known");
    stage.report.check(count(done.left.protocol, "I006-GETVOL") == 1, "I006-GETVOL names both labels");
}

void alarm(Stage &stage)
{
    stage.report.step("Nobody comes", "After the fourth pass tb_alarm is called, once; then somebody comes.");
    set_ini_value(stage.site, "gv_timeout_for_online", "0");
    nobody_comes(stage);
    const Request done = request(stage, kWanted, kDesk, 'b', [&stage](int) {
        if (count(calls(stage.site), "tb_alarm GET_VOLUME") > 0)
            put_into_drive(stage.site, kDesk, kWanted);
    });
    check_in_drive(stage, done, kDesk, kWanted);
    stage.report.check(count(done.left.calls, "tb_alarm GET_VOLUME") == 1, "one alarm");
}

void interrupted(Stage &stage)
{
    stage.report.step("The program is interrupted", "The request ends at its next pass.");
    nobody_comes(stage);
    const Request done = request(stage, kWanted, kDesk, 'b', [](int pause) {
        if (pause == 3)
            gcInterrupt = 'y';
    });
    check_refused(stage, done, message_text<Msg::kInterrupted>());
}

void shut_down(Stage &stage)
{
    stage.report.step("The drive's group is shut down", "A request that waits for a medium ends.");
    nobody_comes(stage);
    SemaRecord shutdown{};
    std::snprintf(shutdown.name, sizeof shutdown.name, "shutdown_DESK");
    const Request done = request(stage, kWanted, kDesk, 'b', [&](int pause) {
        if (pause == 3)
            i_SEMA('+', &shutdown, stage.trace);
    });
    i_SEMA('-', &shutdown, stage.trace);
    check_refused(stage, done, message_text<Msg::kShutdownRuns>("DESK"));
    stage.report.check(count(done.left.protocol, "E001-GETVOL") == 1 && count(done.left.protocol, "DESK") > 0,
                       "E001-GETVOL gives the reason in the protocol");
}

} // namespace

void volume_steps(Stage &stage)
{
    stage.report.title("The medium comes into the drive", "robots and an operator; the pauses are shortened");
    arrange_drives(stage);
    pl_set_clock_hooks({nullptr, short_pause});
    for (const auto step : {fetched_for_backup, virtual_loader, operator_inserts, same_pool, still_needed,
                            without_label, spare, alarm, interrupted, shut_down})
        step(stage);
    pl_set_clock_hooks({});
}
