// Writing a new label onto the medium in a drive.
#include <backup/drive.h>

#include <db/sql.h>
#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <tamba/config.h>

namespace {

// "-B <bytes>", or nothing: the blanks around it stay.
std::string block_option(const DriveProperties &drive)
{
    const std::string_view size = drive.block_size;
    return size.find_first_not_of('0') == size.npos ? "" : "-B " + std::string(size);
}

bool can_be_written(const DriveProperties &drive, const char *label, DriveMessage *msg)
{
    if (!can_be_commanded(drive, msg))
        return false;
    const std::string_view text = label;
    if (is_plain_word(text) && text.find(':') == text.npos && text.size() < TAMBA_LABEL_SIZE)
        return true;
    msg->format("drive %s: label \"%s\" cannot be written onto a medium", drive.drive_num, label);
    return false;
}

// The catalogue's row of a pool that is to be cloned; "" when the label's pool is none or the catalogue cannot say.
LabelText clone_pool(const char *label, TraceScope &scope)
{
    Rows rows("ClonePool", scope.context());
    LabelText pool, change;
    if (!rows.select(
            "select name, media_chg from media_pools where name=(select pool from media where label='%s')",
            SqlText(label).c_str())) {
        scope.note("WARNING: pool of %s is not known: %s", label, rows.message());
        return pool;
    }
    if (rows.empty())
        return pool;
    rows.text(1, "name", pool);
    rows.text(1, "media_chg", change);
    GlobalValue value;
    const bool cloned = read_global(format_string("gv_clone_%s", pool.c_str()).c_str(), &value);
    scope.note("pool %s media_chg %s %s", pool.c_str(), change.c_str(),
               cloned ? "is cloned" : "is not cloned");
    return cloned ? pool : LabelText();
}

// The clone of a medium is written behind what is on it: a medium of such a pool begins with a spare file.  The medium
// has its label already, so nothing that goes wrong here changes the result.
void write_spare(const DriveProperties &drive, const char *label, bool end_of_medium, TraceScope &scope)
{
    if (clone_pool(label, scope).empty())
        return;
    char ini[1024] = "", reason[256] = "";
    if (i_GET_ROOT_FOR_INI("TB_INI", ini, sizeof ini, reason, sizeof reason) != 1 || !is_plain_path(ini)) {
        scope.note("WARNING: no spare file, the ini file is not to be had: %s %s", ini, reason);
        return;
    }
    const SplitLabel split = split_label(label);
    const std::string command = format_string(
        end_of_medium ? "tb_tbs_interface backup_file -d %s %s -t %s:%d -f %s -s dummy -i SPARE-FOR-CLONE -T "
                        "%s -I cpio -L EOM"
                      : "tb_tbs_interface backup_file -d %s %s -t %s:%d -f %s -s dummy -i SPARE-FOR-CLONE -T "
                        "%s -I cpio -L SHARE",
        drive.device, block_option(drive).c_str(), split.pool.c_str(), split.number, ini, drive.timeout);
    const ProgramAnswer answer = run_on_host(drive.host, "backup_file", command, scope.context());
    if (!answer.success)
        scope.note("WARNING: spare file could not be written: %s", answer.text.c_str());
}

bool write_via_server(const DriveProperties &drive, const char *label, DriveMessage *reason,
                      TraceScope &scope)
{
    DbMessage text;
    const Found eom = DriveInEomState(drive, &text, scope.context());
    if (eom == Found::unreadable) {
        reason->assign(text.view());
        return false;
    }
    const bool end_of_medium = eom == Found::yes;
    const SplitLabel split = split_label(label);
    const char *const format =
        end_of_medium ? "tb_tbs_interface init -d %s %s -t %s:%d -i TAMBA-volume -r R -T %s -L EOM"
                      : "tb_tbs_interface init -d %s %s -t %s:%d -i TAMBA-volume -r R -T %s -L INQUIRE";
    const std::string command = format_string(format, drive.device, block_option(drive).c_str(),
                                              split.pool.c_str(), split.number, drive.timeout);
    scope.note("Cmd: %s execute at %s", command.c_str(), drive.host);
    const ProgramAnswer answer = run_on_host(drive.host, "init", command, scope.context());
    *reason = answer.text;
    if (answer.success)
        write_spare(drive, label, end_of_medium, scope);
    return answer.success;
}

bool write_via_ndmp(const DriveProperties &drive, const char *label, DriveMessage *reason, TraceScope &scope)
{
    const SplitLabel split = split_label(label);
    const std::string command = format_string(
        "tb_ndmp_interface init -d %s %s -t %s:%d -i TAMBA-volume -r R -T %s -S %s -L INQUIRE", drive.device,
        block_option(drive).c_str(), split.pool.c_str(), split.number, drive.timeout, drive.host);
    scope.note("Cmd: %s execute at %s", command.c_str(), drive.host);
    const ProgramAnswer answer = run_in_pipe(command, scope.context());
    if (!answer.started)
        report<Msg::kPipeNotOpened>(drive.drive_num, "INIT_VIA_NDMP", drive.device);
    *reason = answer.text;
    return answer.success;
}

} // namespace

bool INIT_VIA_NDMP(const DriveProperties &drive, const char *label, DriveMessage *msg, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ INIT_VIA_NDMP  drive %s  label %s", drive.drive_num, label);
    const bool done = can_be_written(drive, label, msg) && write_via_ndmp(drive, label, msg, scope);
    if (done)
        *msg = report<Msg::kDriveInitialised>(drive.drive_num, drive.drive_num, label);
    scope.leave(0, "--- INIT_VIA_NDMP returns %d  %s", done ? 1 : 0, msg->c_str());
    return done;
}

bool INIT_VIA_TBS(const DriveProperties &drive, const char *label, DriveMessage *msg, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ INIT_VIA_TBS  drive %s  label %s", drive.drive_num, label);
    DriveMessage reason;
    const bool done = can_be_written(drive, label, &reason) && write_via_server(drive, label, &reason, scope);
    if (done)
        *msg = report<Msg::kDriveInitialised>(drive.drive_num, drive.drive_num, label);
    else
        *msg = report<Msg::kDriveInitFailed>(drive.drive_num, drive.drive_num, reason.c_str());
    scope.leave(0, "--- INIT_VIA_TBS returns %d  %s", done ? 1 : 0, msg->c_str());
    return done;
}
