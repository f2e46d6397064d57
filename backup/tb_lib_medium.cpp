// The road of a backup that asks for a medium: which drive, which medium, and a new one if need be.
#include <backup/medium.h>
#include <db/sql.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <process/semaphore_guard.h>

namespace {

// One request on its way.  drives holds what was asked for, or the drives of the pool, and in the end the one to use;
// media_info is what a medium is looked for with, a label or a pool, and in the end the label.
struct MediumRequest {
    Drives drives;
    std::string media_info;
    const char *job;
    std::string pool = {};
    bool is_label = false;
    MediaMessage msg = {};
};

bool take_default_pool(MediumRequest *request, TraceScope &scope)
{
    const char *drive = request->drives.c_str();
    scope.note("no media-info is given");
    if (request->drives.none()) {
        message_to<Msg::kLabelPoolDriveMissing>(request->msg.data(), request->msg.capacity());
        scope.note("not even a drive number was given => %s", request->msg.c_str());
        return false;
    }
    scope.note("try to get media pool with given drive number %s", drive);
    Rows rows("DefaultPool", scope.context());
    const Found found = rows.find("i_CHECK_MEDIUM_FOR_BACKUP: select from defaults",
                                  "select value from defaults where key='pool %s'", SqlText(drive).c_str());
    FixedText<TAMBA_DB_MSG_SIZE> pool;
    if (found == Found::unreadable) {
        request->msg.assign(rows.message());
        return false;
    }
    if (found == Found::no || !rows.text(1, "value", pool) || is_null(pool.view())) {
        request->msg.format("no default media-pool for drive %s configured", drive);
        return false;
    }
    request->pool = request->media_info = pool.view();
    scope.note("now we use default pool %s for drive %s", pool.c_str(), drive);
    return true;
}

bool take_media_info(MediumRequest *request, TraceScope &scope)
{
    if (request->media_info.empty())
        return take_default_pool(request, scope);
    scope.note("media-info %s is given", request->media_info.c_str());
    const SplitLabel split = split_label(request->media_info);
    request->is_label = split.is_label;
    request->pool = split.pool;
    scope.note(split.is_label ? "%s is a full label" : "%s is a pool-name", request->media_info.c_str());
    return true;
}

// A pool without drives leaves every drive open: a medium of it may have its own.
bool take_drives(MediumRequest *request, TraceScope &scope)
{
    if (!request->drives.none()) {
        scope.note("drive number is given %s", request->drives.c_str());
        return true;
    }
    std::string list;
    if (drives_of_pool(request->pool.c_str(), &list, &request->msg, scope.context()) == Found::unreadable)
        return false;
    request->drives = Drives(list);
    scope.note(request->drives.none() || request->drives.several() ? "no drive is given - pool has drives %s"
                                                                   : "no drive is given - pool has drive %s",
               request->drives.c_str());
    return true;
}

void close_medium(const char *label, TraceScope &scope)
{
    DbMessage reason;
    if (!execute_sql(reason.data(), scope.context(), "update media set close_tape='y' where label='%s'",
                     SqlText(label, SqlText::update).c_str()))
        scope.note("WARNING: update media set close_tape='y' failed: %s", reason.c_str());
}

// Runs tb_init for a label or a pool; the request then holds the drive and the label that it reported.
bool initialise(MediumRequest *request, const std::string &media_info, TraceScope &scope)
{
    const Drives drive = request->drives.first();
    if (RESTART_INIT(drive.c_str(), request->job, media_info.c_str(), request->msg.data(), scope.context()) !=
        1)
        return false;
    request->drives = drive;
    request->media_info = request->msg.view();
    return true;
}

// A prepared medium was found.  One that cannot be had, e.g. because it was carried into another loader, is
// closed, so that nobody finds it again, and a new one of its pool takes its place.
bool use_prepared(MediumRequest *request, TraceScope &scope)
{
    const std::string prepared = request->media_info;
    const Found available = medium_available(request->drives, prepared, request->pool.c_str(), request->job,
                                             &request->msg, scope.context());
    if (available != Found::no)
        return available == Found::yes;
    close_medium(prepared.c_str(), scope);
    if (initialise(request, request->pool, scope))
        return true;
    message_to<Msg::kMediumNotAvailable>(request->msg.data(), request->msg.capacity(), prepared.c_str());
    return false;
}

bool use_new(MediumRequest *request, TraceScope &scope)
{
    const std::string wanted = request->media_info;
    if (initialise(request, wanted, scope))
        return true;
    message_to<Msg::kInitFailed>(request->msg.data(), request->msg.capacity());
    return false;
}

bool choose_under_lock(MediumRequest *request, char *drive_num, TraceScope &scope)
{
    const Found prepared = prepared_medium(&request->drives, &request->media_info, request->is_label,
                                           &request->msg, scope.context());
    if (prepared == Found::no)
        return use_new(request, scope);
    if (prepared == Found::unreadable)
        return false;
    // The caller learns the drive even if its medium cannot be had.
    copy_text(drive_num, TAMBA_DRIVE_SIZE, request->drives.view());
    return use_prepared(request, scope);
}

// The media server holds the same semaphore while it handles end of medium on the drive.  Lock order: end of
// media before initialisation, which is taken inside.
bool choose(MediumRequest *request, const Drives &asked, char *drive_num, TraceScope &scope)
{
    FixedText<64> name, requester;
    name.format("tbs_eom_%s", asked.c_str());
    requester.format("i_CHECK_MEDIUM_FOR_BACKUP %s", asked.c_str());
    scope.note("Check if EOM is running - wait for semaphore %s", name.c_str());
    SemaphoreGuard lock(name.c_str(), requester.c_str(), scope.context());
    if (!lock.held()) {
        request->msg.assign(lock.message());
        return false;
    }
    const bool chosen = choose_under_lock(request, drive_num, scope);
    lock.release();
    scope.note("Semaphore %s has been released", name.c_str());
    return chosen;
}

} // namespace

int32_t i_CHECK_MEDIUM_FOR_BACKUP(char *drive_num, char *media_info, const char *job, char *msg,
                                  TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_CHECK_MEDIUM_FOR_BACKUP  Dn=%s  MedInfo=%s",
                     text_or_empty(drive_num), text_or_empty(media_info));
    const Drives asked(text_or_empty(drive_num));
    MediumRequest request = {asked, text_or_empty(media_info), text_or_empty(job)};
    const bool chosen = take_media_info(&request, scope) && take_drives(&request, scope) &&
                        choose(&request, asked, drive_num, scope);
    if (chosen) {
        copy_text(drive_num, TAMBA_DRIVE_SIZE, request.drives.view());
        copy_text(media_info, TAMBA_LABEL_SIZE, request.media_info);
    }
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, request.msg.view());
    return scope.leave(chosen ? 1 : 0, "--- i_CHECK_MEDIUM_FOR_BACKUP returns %d drive=%s  label=%s  msg=%s",
                       chosen ? 1 : 0, text_or_empty(drive_num), text_or_empty(media_info),
                       request.msg.c_str());
}
