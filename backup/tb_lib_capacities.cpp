// Which medium type fits which drive type.
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <process/semaphore_guard.h>
#include <tamba/eol.h>

namespace {

// 0 the pair has no row, -1 nobody knows.
int32_t capacity_of(const char *drive_typ, const char *media_typ, TraceScope &scope)
{
    FixedText<TAMBA_SEMA_REQUESTER_SIZE> requester;
    requester.format("i_CHECK_CAPACITIES %s %s", drive_typ, media_typ);
    SemaphoreGuard lock("CheckCapac", requester.c_str(), scope.context());
    if (!lock.held())
        return -1;
    Rows rows("CheckCapac", scope.context());
    if (!rows.select("select kapaz_num from capacities where drive_typ='%s' and media_typ='%s'",
                     SqlText(drive_typ).c_str(), SqlText(media_typ).c_str()))
        return -1;
    return rows.empty() ? 0 : rows.integer(1, "kapaz_num");
}

} // namespace

int32_t i_CHECK_CAPACITIES(const char *drive_typ, const char *media_typ, TraceContext trace)
{
    drive_typ = text_or_empty(drive_typ);
    media_typ = text_or_empty(media_typ);
    TraceScope scope(trace, kTraceMain, "+++ ZDL CHECK_CAPACITIES in %s   drivetyp:%s  mediatyp:%s",
                     kLibraryVersion, drive_typ, media_typ);
    const int32_t capacity = capacity_of(drive_typ, media_typ, scope);
    return scope.leave(capacity, "--- ZDL CHECK_CAPACITIES returns %d", capacity);
}
