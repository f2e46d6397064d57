// The steps of one program.
#include <site/demo.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr const char *kJob = "nightly-backup";

// One call: what is asked for, what is seen.
struct Seen {
    Answer answer;
    Difference left;
};

// The trace without the catalogue's statements.
Lines without_statements(const Lines &trace)
{
    Lines lines;
    bool inside = false;
    for (const std::string &line : trace) {
        const std::string text = line.substr(std::min(line.find_first_not_of(' '), line.size()));
        if (text.rfind("+++ DB_ACCESS", 0) == 0)
            inside = true;
        if (!inside)
            lines.push_back(line);
        if (text.rfind("--- DB_ACCESS", 0) == 0)
            inside = false;
    }
    return lines;
}

Seen show_request(Stage &stage, const std::string &drive, const std::string &media_info,
                  bool statements = false)
{
    const Evidence before = look_at(stage.site, kDemoTrace);
    Seen seen;
    seen.answer = ask(drive, media_info, stage.trace);
    seen.left = difference(before, look_at(stage.site, kDemoTrace));

    Report &report = stage.report;
    report.field("call", {call_text(drive, media_info)}, Tone::strong);
    report.field("result", {answer_text(seen.answer)}, seen.answer.result == 1 ? Tone::good : Tone::bad);
    report.field("message", {seen.answer.msg});
    show_left_behind(report, seen.left);
    report.field("trace", statements || stage.full ? seen.left.trace : without_statements(seen.left.trace),
                 Tone::faint);
    return seen;
}

void check_answer(Stage &stage, const Seen &seen, int32_t result, const std::string &drive,
                  const std::string &label)
{
    stage.report.check(
        seen.answer.result == result && seen.answer.drive == drive && seen.answer.label == label,
        result == 1 ? "drive " + drive + " and medium " + label : "refused, arguments as they were");
}

void check_untouched(Stage &stage, const Seen &seen)
{
    stage.report.check(seen.left.calls.empty() && seen.left.catalogue.empty() && seen.left.protocol.empty(),
                       "no program was started, catalogue and protocol are as before");
}

void check_balanced(Stage &stage, const Seen &seen)
{
    int entries = 0, exits = 0;
    for (const std::string &line : seen.left.trace) {
        entries += line.find("+++ ") == line.find_first_not_of(' ') ? 1 : 0;
        exits += line.find("--- ") == line.find_first_not_of(' ') ? 1 : 0;
    }
    stage.report.check(entries > 0 && entries == exits, "every entry in the trace has its exit");
}

std::string first_value(const Site &site, const std::string &query)
{
    const std::vector<SiteRow> rows = site_rows(site, query);
    return rows.empty() ? "" : rows[0][0];
}

std::string global(const char *name)
{
    char value[TAMBA_GLBV_SIZE] = "";
    return glbv("r", name, value);
}

// ---- the steps ---------------------------------------------------------------------------------------------------

void prepared_medium(Stage &stage)
{
    stage.report.step(
        "A pool is given, and a prepared medium is found",
        "Drive 3, pool DAILY.  Of the two prepared media the one written last is continued; its "
        "neighbours are full, write-protected, closed or expired.");
    const Seen seen = show_request(stage, "3", "DAILY", true);
    check_answer(stage, seen, 1, "3", "DAILY00012");
    check_untouched(stage, seen);
    check_balanced(stage, seen);
}

void medium_in_other_loader(Stage &stage)
{
    stage.report.step(
        "The prepared medium is in another loader",
        "Drive 3 is served by loader 2, but WEEKLY00004 was carried into loader 1: it is closed, and "
        "tb_init prepares a new medium of the pool.");
    const Seen seen = show_request(stage, "3", "WEEKLY", true);
    check_answer(stage, seen, 1, "3", "WEEKLY00005");
    stage.report.check(first_value(stage.site, "select close_tape from media where label='WEEKLY00004'") ==
                           "y",
                       "WEEKLY00004 is closed");
    stage.report.check(seen.left.calls == Lines{"tb_init -d 3 -m WEEKLY -L backup"},
                       "tb_init ran once, for the pool");
    const std::string started = message_text<Msg::kStartingInit>("-d 3", "WEEKLY");
    stage.report.check(seen.left.protocol.size() == 1 &&
                           any_contains(seen.left.protocol, started.substr(0, 12)) &&
                           any_contains(seen.left.protocol, "]: " + started.substr(13)),
                       "the protocol announces it: I006-BACKUP");
    stage.report.check(global("gv_init_msg_3") == "WEEKLY00005", "the label came back through gv_init_msg_3");
    check_balanced(stage, seen);
}

void nothing_given(Stage &stage)
{
    stage.report.step("Neither medium, pool nor drive", "There is nothing to start from.");
    const Seen seen = show_request(stage, "", "");
    check_answer(stage, seen, 0, "", "");
    stage.report.check(seen.answer.msg == message_text<Msg::kLabelPoolDriveMissing>(),
                       "E004-TBC_COM in the set language");
    check_untouched(stage, seen);
    check_balanced(stage, seen);
}

void label_given(Stage &stage)
{
    stage.report.step("A label is given", "The older of the prepared media is asked for by name.");
    const Seen seen = show_request(stage, "3", "DAILY00011");
    check_answer(stage, seen, 1, "3", "DAILY00011");
    check_untouched(stage, seen);
}

void default_pool(Stage &stage)
{
    stage.report.step("Only a drive is given", "The drive's default pool stands in the catalogue.");
    const Seen seen = show_request(stage, "3", "");
    check_answer(stage, seen, 1, "3", "DAILY00012");
    check_untouched(stage, seen);
}

void no_default_pool(Stage &stage)
{
    stage.report.step("Only a drive is given, and it has no default pool", "Drive 4 stands on a desk.");
    const Seen seen = show_request(stage, "4", "");
    check_answer(stage, seen, 0, "4", "");
    stage.report.check(seen.answer.msg == "no default media-pool for drive 4 configured",
                       "the message names the drive");
    check_untouched(stage, seen);
}

void several_drives(Stage &stage)
{
    stage.report.step("A pool with several drives",
                      "Drives 1 and 2 serve MONTHLY; the medium to continue is in drive 2.");
    const Seen seen = show_request(stage, "", "MONTHLY");
    check_answer(stage, seen, 1, "2", "MONTHLY00007");
    stage.report.check(any_contains(seen.left.trace, "pool has drives 1,2"), "both drives were looked at");
    check_untouched(stage, seen);
}

void init_fails(Stage &stage)
{
    stage.report.step("No medium can be prepared",
                      "FRESH has no medium yet, and tb_init finds no tape in the drive.");
    const std::string script = script_path(stage.site, "tb_init", "fail");
    write_text(script, "no tape in the drive\n");
    const Seen seen = show_request(stage, "3", "FRESH");
    std::remove(script.c_str());
    check_answer(stage, seen, 0, "3", "FRESH");
    stage.report.check(seen.answer.msg == message_text<Msg::kInitFailed>(),
                       "the message in the set language");
    stage.report.check(seen.left.calls == Lines{"tb_init -d 3 -m FRESH -L backup"} &&
                           seen.left.catalogue.empty(),
                       "tb_init ran once and left no medium");
    stage.report.check(global("gv_init_msg_3") == "? no tape in the drive",
                       "the reason stands in gv_init_msg_3");
}

} // namespace

Answer ask(const std::string &drive, const std::string &media_info, const TraceContext &trace)
{
    char drive_num[TAMBA_DRIVE_SIZE], info[TAMBA_LABEL_SIZE], msg[TAMBA_MEDIA_MSG_SIZE] = "";
    std::snprintf(drive_num, sizeof drive_num, "%s", drive.c_str());
    std::snprintf(info, sizeof info, "%s", media_info.c_str());
    const int32_t result = i_CHECK_MEDIUM_FOR_BACKUP(drive_num, info, kJob, msg, trace);
    return {result, drive_num, info, msg};
}

std::string call_text(const std::string &drive, const std::string &media_info)
{
    return "i_CHECK_MEDIUM_FOR_BACKUP(drive \"" + drive + "\", medium \"" + media_info + "\", job \"" + kJob +
           "\")";
}

std::string answer_text(const Answer &answer)
{
    return std::to_string(answer.result) + "   drive \"" + answer.drive + "\", medium \"" + answer.label +
           "\"";
}

// Whoever waits asks the same again and again: equal lines in a row become one.
static Lines without_repeats(const Lines &lines)
{
    Lines shown;
    for (size_t at = 0, end = 0; at < lines.size(); at = end) {
        while (end < lines.size() && lines[end] == lines[at])
            ++end;
        shown.push_back(lines[at] + (end - at > 1 ? "   (" + std::to_string(end - at) + " times)" : ""));
    }
    return shown;
}

void show_left_behind(Report &report, const Difference &left)
{
    std::string unchanged;
    const auto show = [&](const char *name, const Lines &lines) {
        if (lines.empty())
            unchanged += (unchanged.empty() ? "" : ", ") + std::string(name);
        else
            report.field(name, without_repeats(lines));
    };
    show("programs", left.calls);
    show("catalogue", left.catalogue);
    show("protocol", left.protocol);
    show("info board", left.board);
    if (!unchanged.empty())
        report.field("untouched", {unchanged});
}

void one_program_steps(Stage &stage)
{
    for (const auto step : {prepared_medium, medium_in_other_loader, nothing_given, label_given, default_pool,
                            no_default_pool, several_drives, init_fails})
        step(stage);
}
