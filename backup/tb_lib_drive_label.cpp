// Reading the label of the medium in a drive.
#include <backup/drive.h>

#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <process/remote_cmd.h>

#include <algorithm>

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kLabelWord = "Tapelabel";
// Other code compares this text, too: it is the same in every language.
constexpr const char kNoTape[] = "No tape in drive";

std::string_view next_word(std::string_view *text)
{
    text->remove_prefix(std::min(text->find_first_not_of(kBlanks), text->size()));
    const std::string_view word = text->substr(0, text->find_first_of(kBlanks));
    text->remove_prefix(word.size());
    return word;
}

// "POOL:12" is how media servers write POOL00012.  "" for a label that is longer than labels are: without its end it would
// be another one.
LabelText label_of(std::string_view word)
{
    std::string label(word);
    const size_t colon = word.find(':');
    if (colon != word.npos && is_number(word.substr(colon + 1)) && word.size() - colon - 1 <= 5)
        label = format_string("%s%05d", label.substr(0, colon).c_str(), to_int32(label.c_str() + colon + 1));
    return label.size() < TAMBA_LABEL_SIZE ? LabelText(label) : LabelText();
}

bool holds_ignoring_case(std::string_view text, std::string_view part)
{
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
                       [](char a, char b) { return ascii_lower(a) == ascii_lower(b); }) != text.end();
}

// The message for the operator is the reason for the program, without its tag.
void reason_from(const DriveMessage &message, LabelReading *reading)
{
    const std::string_view text = message.view();
    reading->text.assign(text.substr(std::min(text.find_first_not_of(' ', kTagLength), text.size())));
}

// What the media server's code means.
void explain_code(const DriveProperties &drive, int32_t code, LabelReading *reading)
{
    switch (code) {
    case 1024:
        reading->may_pass = true;
        return reason_from(report<Msg::kServerStateNotAllowed>(drive.drive_num), reading);
    case 3003:
        return reason_from(report<Msg::kServerPipesDown>(drive.drive_num), reading);
    case 3019:
        return reason_from(report<Msg::kServerLoginFailed>(drive.drive_num), reading);
    default:
        report<Msg::kServerFoundNoLabel>(drive.drive_num);
        reading->text.assign(kNoLabel);
    }
}

// Why there is no label.  What is said of the drive counts before the codes: a medium that is not there must not pass for
// one without a label.
void explain_failure(const DriveProperties &drive, const ProgramAnswer &answer, LabelReading *reading)
{
    const std::string_view text = answer.text.view();
    if (answer.started && text.find(kNoDevice) != text.npos) {
        reading->text.assign(kNoDevice);
    } else if (answer.started && (holds_ignoring_case(text, "offline") || text.find(kNoTape) != text.npos)) {
        report<Msg::kDriveOffline>(drive.drive_num, drive.drive_num, answer.text.c_str());
        reading->text = answer.text;
    } else if (answer.code != 0) {
        explain_code(drive, answer.code, reading);
    } else {
        reading->text = answer.text;
        reading->may_pass = answer.started && !answer.tagged;
    }
}

void judge(const DriveProperties &drive, const ProgramAnswer &answer, LabelReading *reading,
           TraceScope &scope)
{
    if (!answer.success)
        return explain_failure(drive, answer, reading);
    reading->found = parse_label(answer.text.view(), reading);
    if (!reading->found) {
        scope.note("WARNING: Found a non valid label on media: %s", answer.text.c_str());
        reading->text = answer.text;
        return;
    }
    scope.note("SUCCESS found a label on tape: %s", reading->label.c_str());
    if (reading->worm)
        scope.note("ATTENTION: loaded media is a WORM media");
}

void read_via_ndmp(const DriveProperties &drive, LabelReading *reading, TraceScope &scope)
{
    const ProgramAnswer answer =
        run_in_pipe(format_string("tb_ndmp_interface getlabel -d %s -S %s -r R -T %s", drive.device,
                                  drive.host, drive.timeout),
                    scope.context());
    if (!answer.started)
        report<Msg::kPipeNotOpened>(drive.drive_num, "GET_LABEL_VIA_NDMP", drive.device);
    judge(drive, answer, reading, scope);
}

std::string server_command(const DriveProperties &drive, LabelPlace place, bool end_of_medium)
{
    if (end_of_medium)
        return format_string("tb_tbs_interface getlabel -d %s -r R -T %s -L EOM", drive.device,
                             drive.timeout);
    if (place == LabelPlace::trailer)
        return format_string("tb_tbs_interface getlabel -d %s -T %s -r E -L INQUIRE", drive.device,
                             drive.timeout);
    return format_string("tb_tbs_interface getlabel -d %s -r R -T %s -L INQUIRE", drive.device,
                         drive.timeout);
}

void read_via_server(const DriveProperties &drive, LabelPlace place, LabelReading *reading, TraceScope &scope)
{
    GlobalValue value;
    if (!read_global("gv_ro_tbs", &value))
        return reason_from(report<Msg::kServerNotDefined>(drive.drive_num), reading);
    DbMessage text;
    const Found eom = DriveInEomState(drive, &text, scope.context());
    if (eom == Found::unreadable)
        return reading->text.assign(text.view());
    const std::string command = server_command(drive, place, eom == Found::yes);
    if (!is_own_host(drive.host))
        return judge(drive, run_on_host(drive.host, "getlabel", command, scope.context()), reading, scope);
    const ProgramAnswer answer = run_in_pipe(command, scope.context());
    if (!answer.started)
        report<Msg::kPipeNotOpened>(drive.drive_num, "GET_LABEL_VIA_TBS", drive.device);
    judge(drive, answer, reading, scope);
}

} // namespace

bool parse_label(std::string_view text, LabelReading *reading)
{
    if (!text.starts_with(kLabelWord))
        return false;
    text.remove_prefix(kLabelWord.size());
    if (!text.empty() && text.front() != ':' && kBlanks.find(text.front()) == kBlanks.npos)
        return false;
    if (text.starts_with(':'))
        text.remove_prefix(1);
    reading->label = label_of(next_word(&text));
    for (std::string_view word = next_word(&text); !word.empty(); word = next_word(&text))
        reading->worm = reading->worm || word == "WORM";
    return !reading->label.empty();
}

LabelReading GET_LABEL(const DriveProperties &drive, LabelPlace place, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_GET_LABEL  drive %s  device %s  host %s", drive.drive_num,
                     drive.device, drive.host);
    LabelReading reading;
    if (can_be_commanded(drive, &reading.text)) {
        if (is_ndmp(drive))
            read_via_ndmp(drive, &reading, scope);
        else
            read_via_server(drive, place, &reading, scope);
    }
    if (reading.found)
        report<Msg::kDriveLabelRead>(drive.drive_num, reading.label.c_str(), drive.drive_num);
    else
        report<Msg::kDriveLabelNotRead>(drive.drive_num, drive.drive_num);
    scope.leave(0, "--- i_GET_LABEL returns %d: WormFlag %d, label %s", reading.found ? 1 : 0,
                reading.worm ? 1 : 0, reading.found ? reading.label.c_str() : reading.text.c_str());
    return reading;
}
