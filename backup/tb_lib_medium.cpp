// The road of a backup that asks for a medium: which drive, which medium, and a new one if need be.
#include <backup/medium.h>
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <process/semaphore_guard.h>

namespace {

// One request on its way.  drive is a number, a list of numbers (the drives of the pool), or empty;
// media_info is what a medium is looked for with: a label or a pool.
struct MediumRequest {
    DriveList drive;
    LabelText media_info;
    LabelText pool;
    bool is_label = false;
    const char *job;
    MediaMessage msg;
};

bool take_default_pool(MediumRequest *request, TraceScope &scope)
{
    const char *drive = request->drive.c_str();
    scope.note("no media-info is given");
    if (request->drive.empty()) {
        message_to<Msg::kLabelPoolDriveMissing>(request->msg.data(), request->msg.size());
        scope.note("not even a drive number was given => %s", request->msg.c_str());
        return false;
    }
    scope.note("try to get media pool with given drive number %s", drive);
    Rows rows("DefaultPool", scope.context());
    if (!rows.select("select value from defaults where key='pool %s'", SqlText(drive).c_str()))
        trap_db_err("i_CHECK_MEDIUM_FOR_BACKUP: select from defaults", rows.message(), scope.context(), 0);
    LabelText pool;
    if (rows.empty() || !rows.text(1, "value", pool) || is_null(pool.view())) {
        request->msg.format("no default media-pool for drive %s configured", drive);
        return false;
    }
    request->pool = pool;
    request->media_info = pool;
    scope.note("now we use default pool %s for drive %s", request->pool.c_str(), drive);
    return true;
}

bool take_media_info(MediumRequest *request, TraceScope &scope)
{
    if (request->media_info.empty())
        return take_default_pool(request, scope);
    scope.note("media-info %s is given", request->media_info.c_str());
    const SplitLabel split = split_label(request->media_info.view());
    request->is_label = split.is_label;
    request->pool = split.pool;
    scope.note(split.is_label ? "%s is a full label" : "%s is a pool-name", request->media_info.c_str());
    return true;
}

void take_drives(MediumRequest *request, TraceScope &scope)
{
    if (!request->drive.empty()) {
        scope.note("drive number is given %s", request->drive.c_str());
        return;
    }
    DriveList drives;
    const int32_t count = i_GET_DRIVES_OF_POOL(request->pool.c_str(), drives.data(), scope.context());
    request->drive.assign(without_trailing_comma(drives.view()));
    scope.note(count == 1 ? "no drive is given - pool has drive %s"
                          : "no drive is given - pool has drives %s",
               request->drive.c_str());
}

bool is_available(MediumRequest *request, TraceScope &scope)
{
    return CHECK_AVAILABILITY_OF_MEDIUM(request->drive.c_str(), request->media_info.c_str(),
                                        request->pool.c_str(), request->job, request->msg.data(),
                                        scope.context()) == 1;
}

void close_medium(const char *label, TraceScope &scope)
{
    DbMessage reason;
    if (!execute_sql(reason.data(), scope.context(), "update media set close_tape='y' where label='%s'",
                     SqlText(label, SqlText::update).c_str()))
        scope.note("WARNING: update media set close_tape='y' failed: %s", reason.c_str());
}

// Runs tb_init for a label or a pool; the request then holds the drive and the label that it reported.
bool initialise(MediumRequest *request, const LabelText &media_info, TraceScope &scope)
{
    const DriveText drive(first_drive(request->drive.view()));
    if (RESTART_INIT(drive.c_str(), request->job, media_info.c_str(), request->msg.data(), scope.context()) !=
        1)
        return false;
    request->drive.assign(drive.view());
    request->media_info.assign(request->msg.view());
    return true;
}

// A prepared medium was found.  One that cannot be had, e.g. because it was carried into another loader, is
// closed, so that nobody finds it again, and a new one of its pool takes its place.
bool use_prepared(MediumRequest *request, TraceScope &scope)
{
    if (is_available(request, scope))
        return true;
    const LabelText prepared = request->media_info;
    close_medium(prepared.c_str(), scope);
    if (initialise(request, request->pool, scope))
        return true;
    message_to<Msg::kMediumNotAvailable>(request->msg.data(), request->msg.size(), prepared.c_str());
    return false;
}

bool use_new(MediumRequest *request, TraceScope &scope)
{
    const LabelText wanted = request->media_info;
    if (initialise(request, wanted, scope))
        return true;
    message_to<Msg::kInitFailed>(request->msg.data(), request->msg.size());
    return false;
}

// The media server holds the same semaphore while it handles end of medium on the drive.  Lock order: end of
// media before initialisation, which is taken inside.
bool choose(MediumRequest *request, char *drive_num, TraceScope &scope)
{
    FixedText<64> name, requester;
    name.format("tbs_eom_%s", text_or_empty(drive_num));
    requester.format("i_CHECK_MEDIUM_FOR_BACKUP %s", text_or_empty(drive_num));
    scope.note("Check if EOM is running - wait for semaphore %s", name.c_str());
    bool chosen = false;
    {
        SemaphoreGuard lock(name.c_str(), requester.c_str(), scope.context());
        if (!lock.held()) {
            request->msg.assign(lock.message());
            return false;
        }
        const bool prepared =
            GET_PREPARED_MEDIA(request->drive.data(), request->media_info.data(), request->is_label,
                               request->msg.data(), scope.context()) == 1;
        if (prepared) // the caller learns the drive even if its medium cannot be had
            copy_text(drive_num, TAMBA_DRIVE_SIZE, request->drive.view());
        chosen = prepared ? use_prepared(request, scope) : use_new(request, scope);
    }
    scope.note("Semaphore %s has been released", name.c_str());
    return chosen;
}

} // namespace

int32_t i_CHECK_MEDIUM_FOR_BACKUP(char *drive_num, char *media_info, const char *job, char *msg,
                                  TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_CHECK_MEDIUM_FOR_BACKUP  Dn=%s  MedInfo=%s",
                     text_or_empty(drive_num), text_or_empty(media_info));
    MediumRequest request;
    request.drive.assign(text_or_empty(drive_num));
    request.media_info.assign(text_or_empty(media_info));
    request.job = text_or_empty(job);

    bool chosen = take_media_info(&request, scope);
    if (chosen) {
        take_drives(&request, scope);
        chosen = choose(&request, drive_num, scope);
    }
    if (chosen) {
        copy_text(drive_num, TAMBA_DRIVE_SIZE, request.drive.view());
        copy_text(media_info, TAMBA_LABEL_SIZE, request.media_info.view());
    }
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, request.msg.view());
    return scope.leave(chosen ? 1 : 0, "--- i_CHECK_MEDIUM_FOR_BACKUP returns %d drive=%s  label=%s  msg=%s",
                       chosen ? 1 : 0, text_or_empty(drive_num), text_or_empty(media_info),
                       request.msg.c_str());
}
