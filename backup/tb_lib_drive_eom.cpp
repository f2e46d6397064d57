// Is a drive's media server at the end of a medium?
#include <backup/drive.h>

#include <db/sql.h>
#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <platform/process.h>
#include <tamba/process.h>

#include <atomic>
#include <cstdio>

namespace {

std::atomic<bool> g_server_lost{false};

// The answer that tb_client left under an id, which nobody else reads.
GlobalValue take_answer(const char *name, const std::string &id)
{
    GlobalValue value;
    glbv("R", format_string(name, id.c_str()).c_str(), value.data());
    return value;
}

void drop_answers(const std::string &id)
{
    take_answer("gv_client_msg_%s", id);
    take_answer("gv_client_sts_%s", id);
}

bool is_success(const GlobalValue &status)
{
    return status.view().starts_with('+') || status.view() == "SUCCESS";
}

// Asks the server for the drive's performance line.  False when it does not answer.
bool ask_server(const DriveProperties &drive, int32_t server, GlobalValue *line, TraceContext &trace)
{
    const std::string id = format_string("%s_%d", drive.drive_num, static_cast<int>(pl_process_id()));
    drop_answers(id); // of a process of this number that was killed
    const int32_t code = start_exe(format_string("tb_client -i %s -c %s -f perform -d %s -s %d", id.c_str(),
                                                 drive.host, drive.device, server)
                                       .c_str(),
                                   trace);
    *line = take_answer("gv_client_msg_%s", id);
    const GlobalValue status = take_answer("gv_client_sts_%s", id);
    if (code == 0 && is_success(status)) {
        if (g_server_lost.exchange(false))
            report<Msg::kTapeServerBack>(drive.drive_num, drive.host);
        return true;
    }
    g_server_lost = true;
    report<Msg::kTapeServerLost>(drive.drive_num, drive.host);
    return false;
}

bool changes_media(const char *line)
{
    char state[64] = "";
    return std::sscanf(line, "%*d %*d STATUS: %63s THROUGHPUT: %*s GB/h %*s %*s", state) == 1 &&
           std::string_view(state) == "CHANGING_MEDIA";
}

Found find_state(const DriveProperties &drive, DbMessage *text, TraceContext &trace)
{
    GlobalValue value;
    if (read_global("gv_tbs_without_eom_login", &value))
        return Found::no;
    Rows rows("DriveEom", trace);
    if (!rows.select("select device,tbs_nr from hw_drives where drive_num=%s", drive.drive_num)) {
        text->assign(rows.message());
        return Found::unreadable;
    }
    GlobalValue line;
    if (rows.empty() || !ask_server(drive, rows.integer(1, "tbs_nr"), &line, trace))
        return Found::no;
    return changes_media(line.c_str()) ? Found::yes : Found::no;
}

} // namespace

Found DriveInEomState(const DriveProperties &drive, DbMessage *text, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ DriveInEomState: drive %s", drive.drive_num);
    const Found found = find_state(drive, text, scope.context());
    if (found == Found::unreadable)
        scope.leave(0, "--- DriveInEomState: drive %s database error: %s", drive.drive_num, text->c_str());
    else
        scope.leave(0, "--- DriveInEomState: drive %s %s", drive.drive_num,
                    found == Found::yes ? "is in state EOM" : "is not in state EOM");
    return found;
}
