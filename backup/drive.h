// Drives from inside: one operation's view of a drive, and the steps that the drive handler is made of.
#pragma once

#include <backup/medium.h>
#include <db/rows.h>
#include <foundation/messages.h>
#include <process/result_lines.h>
#include <tamba/drive.h>

using DriveMessage = FixedText<TAMBA_DRIVE_MSG_SIZE>;

// Why a label could not be read, where other code compares the text: the same in every language.
inline constexpr std::string_view kNoLabel = "No label on tape";
inline constexpr std::string_view kNoDevice = "No such device";

// The properties readers; text receives the number of rows, or why nobody knows.
Found find_drive(int32_t drive_num, DriveProperties *drive, DbMessage *text, TraceContext &trace);
Found find_loader(const char *loader_num, LoaderProperties *loader, DbMessage *text, TraceContext &trace);

inline bool is_ndmp(const DriveProperties &drive)
{
    return std::string_view(drive.typ) == "NDMP";
}

// The number of a drive, -1 for a text that is none.
int32_t drive_number(std::string_view text);

// Whether a text consists of digits.
bool is_number(std::string_view text);

// False for a path that would not reach a program as one argument; "\" may stand in it, for hosts that need it.
bool is_plain_path(std::string_view path);

// False for a host that could not stand in a node argument, "host/file".
bool is_plain_host(std::string_view host);

// Sets the drive's line of the info board; that of slot 0 for a text that is no drive's number.
void post(const char *drive_num, const char *text);

// A message of a drive: into the protocol, onto the drive's line of the info board, and back to the caller.
template <Msg id, class... Arguments> DriveMessage report(const char *drive_num, Arguments... arguments)
{
    prot_message<id>(arguments...);
    DriveMessage text;
    message_to<id>(text.data(), TAMBA_DRIVE_MSG_SIZE, arguments...);
    post(drive_num, text.c_str());
    return text;
}

// ---- programs of a drive --------------------------------------------------------------------------------------------

// What a program printed: its result lines, and the first answer code of the media server in all of its output.
class ProgramOutput {
public:
    void take(std::string_view line);
    const ResultLines &result() const { return result_; }
    int32_t code() const; // 0 without one

private:
    ResultLines result_;
    bool complete_ = false; // no later result line counts
    uint32_t codes_ = 0;    // a bit for each
};

// What became of a program.
struct ProgramAnswer {
    bool started = false;
    bool success = false; // it ended well and said STATUS=SUCCESS
    bool tagged = false;  // it said something by the rules
    int32_t code = 0;
    DriveMessage text; // its message, without quotes around it, else why there is none
};

// False when something of the drive must not stand in a command line; msg then names it.
bool can_be_commanded(const DriveProperties &drive, DriveMessage *msg);

// Run a command and wait for its end: as a child of this process, or on the drive's host.  base names the result file.
ProgramAnswer run_in_pipe(const std::string &command, TraceContext &trace);
ProgramAnswer run_on_host(const char *host, const char *base, const std::string &command,
                          TraceContext &trace);

// ---- steps ----------------------------------------------------------------------------------------------------------

// Whether the drive's media server is at the end of a medium; it then has to be logged in to in another way.  A server
// that does not answer counts as no.  text: why the catalogue could not be read.
Found DriveInEomState(const DriveProperties &drive, DbMessage *text, TraceContext &trace);

// One reading of a label.
struct LabelReading {
    bool found = false;
    bool worm = false;     // write-once medium
    bool may_pass = false; // the failure can be gone in a few seconds
    LabelText label;
    DriveMessage text; // why there is no label
};

// Takes the label out of "Tapelabel: LABEL", and WORM from somewhere behind it.  False for any other text.
bool parse_label(std::string_view text, LabelReading *reading);

// From where the label is read: the header of the medium, or where the tape stands.
enum class LabelPlace { header, trailer };
LabelReading GET_LABEL(const DriveProperties &drive, LabelPlace place, TraceContext &trace);

// Write a new label onto the medium.  msg receives the answer of the drive handler.
bool INIT_VIA_NDMP(const DriveProperties &drive, const char *label, DriveMessage *msg, TraceContext &trace);
bool INIT_VIA_TBS(const DriveProperties &drive, const char *label, DriveMessage *msg, TraceContext &trace);

// Eject the medium; list its contents into the work file of this name.  msg receives the reason of a failure.
bool unload_drive(const DriveProperties &drive, DriveMessage *msg, TraceContext &trace);
bool list_medium(const DriveProperties &drive, const char *name, DriveMessage *msg, TraceContext &trace);

// The name under which a shutdown is looked for: the drive's group, or the drive's number when it has none.  False, with
// the catalogue's text, when nobody knows.
bool shutdown_group(const char *drive_num, std::string *group, DriveMessage *reason, TraceContext &trace);
