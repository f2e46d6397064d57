// Ejecting the medium of a drive, and listing it.
#include <backup/drive.h>

#include <foundation/trace_scope.h>
#include <tamba/remote.h>

namespace {

constexpr const char kScriptEnding[] = ".cmd"; // of site scripts, on every host

ProgramAnswer unload_via_ndmp(const DriveProperties &drive, TraceScope &scope)
{
    const std::string command =
        format_string("tb_ndmp_interface unload -S %s -d %s", drive.host, drive.device);
    scope.note("UNLOAD command: %s ", command.c_str());
    const ProgramAnswer answer = run_in_pipe(command, scope.context());
    if (!answer.started)
        report<Msg::kPipeNotOpened>(drive.drive_num, "UNLOAD_VIA_NDMP", drive.device);
    return answer;
}

ProgramAnswer unload_via_server(const DriveProperties &drive, bool end_of_medium, TraceScope &scope)
{
    const std::string command = format_string(end_of_medium ? "tb_tbs_interface unload -d %s -L EOM"
                                                            : "tb_tbs_interface unload -d %s -L INQUIRE",
                                              drive.device);
    scope.note("UNLOAD command: %s ", command.c_str());
    return run_on_host(drive.host, "unload", command, scope.context());
}

// A site may have a script of its own that changes the disk.
void change_disk(const DriveProperties &drive, TraceScope &scope)
{
    const ProgramAnswer exists = run_on_host(
        drive.host, "usefile",
        format_string("tb_client -r -f usefile -m e -n gv_ro_bin:tb_os_diskchange%s", kScriptEnding),
        scope.context());
    if (!exists.success) {
        scope.note("No specific DISK CHANGE command found");
        return;
    }
    const ProgramAnswer changed = run_on_host(
        drive.host, "diskchange", format_string("tb_os_diskchange%s %s unload", kScriptEnding, drive.device),
        scope.context());
    scope.note("DISK CHANGE command: %s", changed.text.c_str());
}

bool unload_on_host(const DriveProperties &drive, DriveMessage *msg, TraceScope &scope)
{
    DbMessage text;
    const Found eom = DriveInEomState(drive, &text, scope.context());
    if (eom == Found::unreadable) {
        msg->assign(text.view());
        return false;
    }
    const ProgramAnswer answer = unload_via_server(drive, eom == Found::yes, scope);
    change_disk(drive, scope);
    *msg = answer.text;
    return answer.success;
}

// The name is a part of a file's name and of a node's.
bool names_file(std::string_view name)
{
    return is_plain_word(name) && name.find_first_of("/:") == name.npos && name.size() < 128;
}

} // namespace

bool unload_drive(const DriveProperties &drive, DriveMessage *msg, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ UNLOAD  drive %s", drive.drive_num);
    scope.note("Unloading drive %s", drive.drive_num);
    bool done = false;
    if (!can_be_commanded(drive, msg)) {
        done = false;
    } else if (is_ndmp(drive)) {
        const ProgramAnswer answer = unload_via_ndmp(drive, scope);
        done = answer.success;
        *msg = answer.text;
    } else {
        done = unload_on_host(drive, msg, scope);
    }
    scope.leave(0, "--- UNLOAD returns %d  %s", done ? 1 : 0, msg->c_str());
    return done;
}

bool list_medium(const DriveProperties &drive, const char *name, DriveMessage *msg, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ DIR  drive %s", drive.drive_num);
    bool done = false;
    if (!names_file(name)) {
        msg->format("drive %s: \"%s\" cannot be a part of a file's name", drive.drive_num, name);
    } else if (can_be_commanded(drive, msg)) {
        char cmd[TB_REMOTE_CMD_SIZE];
        format_text(cmd, sizeof cmd, "tb_tbs_interface dir -d %s", drive.device);
        scope.note("DIR command: %s   target-file:gv_rw_work:rsh_%s.tmp", cmd, name);
        done = REMOTE_CMD(format_string("%s/%s", drive.host, name).c_str(), cmd, 1, scope.context()) == 1;
        msg->assign(cmd);
    }
    scope.leave(0, "--- DIR returns %d  %s", done ? 1 : 0, msg->c_str());
    return done;
}
