// Backup types: what the programs call the things that they back up.
#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <tamba/eol.h>

#include <iterator>

namespace {

constexpr const char *kBackupTypes[] = {
    "Path",
    "ABAS",
    "DB2_UDB",
    "Exchange Server",
    "Exchange Server 5.x",
    "Exchange Server Single Mailbox",
    "INFORMIX",
    "Lotus Notes",
    "MaxDB",
    "MS SQL Server",
    "MySQL",
    "NDMP",
    "GroupWise",
    "NetWare",
    "eDirectory",
    "OES Novell Directory",
    "ORACLE",
    "ORACLE7",
    "SAP/R3",
    "Postgresql",
    "SuSE Linux Openexchange Server",
    "Open-Exchange Server",
    "Scalix",
    "OpenLDAP",
    "unknown",
};
static_assert(std::size(kBackupTypes) == TAMBA_BACKUP_TYPE_UNKNOWN + 1);

} // namespace

const char *szBACKUP_TYPE(int32_t type)
{
    return kBackupTypes[type >= 0 && type < TAMBA_BACKUP_TYPE_UNKNOWN ? type : TAMBA_BACKUP_TYPE_UNKNOWN];
}

int32_t e_GET_BACKUP_TYPE(const char *name, TraceContext trace)
{
    name = text_or_empty(name);
    TraceScope scope(trace, kTraceDetail, "+++ GET_BACKUP_TYPE %s", name);
    int32_t type = 0;
    while (type < TAMBA_BACKUP_TYPE_UNKNOWN && !equal_ignoring_case(name, kBackupTypes[type]))
        ++type;
    if (type == TAMBA_BACKUP_TYPE_UNKNOWN) // also for the name "unknown" itself
        scope.detail("WARNING: unknown backup type >%s<", name);
    return scope.leave(type, "--- GET_BACKUP_TYPE");
}
