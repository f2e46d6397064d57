// What the catalogue says of drives and loaders.
#include <backup/drive.h>

#include <db/rows.h>
#include <db/sql.h>
#include <foundation/trace_scope.h>
#include <platform/process.h>

namespace {

constexpr const char kNothingMounted[] = "?";

// Takes the columns of a row over into a record.  A value that does not fit is not cut: a shorter device path is that of
// another device.
class RowTaker {
public:
    explicit RowTaker(const Rows &rows) : rows_(rows) {}

    template <size_t Size> RowTaker &take(const char *column, char (&field)[Size], const char *for_null = "")
    {
        FixedText<1024> value;
        rows_.text(1, column, value);
        if (value.length() >= Size && problem_.empty())
            problem_.format("the value of column %s is longer than %d characters: %s", column,
                            static_cast<int>(Size - 1), value.c_str());
        copy_text(field, Size, is_null(value.view()) ? for_null : value.view());
        return *this;
    }

    Found done(DbMessage *text) const
    {
        if (problem_.empty())
            return Found::yes;
        *text = problem_;
        return Found::unreadable;
    }

private:
    const Rows &rows_;
    DbMessage problem_;
};

// The outcome of a query for one row.
Found one_row(bool read, const Rows &rows, DbMessage *text)
{
    text->assign(rows.message());
    return !read ? Found::unreadable : rows.count() == 1 ? Found::yes : Found::no;
}

Found read_drive_row(int32_t drive_num, DriveProperties *drive, DbMessage *text, TraceContext &trace)
{
    Rows rows("DriveProps", trace);
    const bool read =
        rows.select("select device,name,typ,path,loader_num,client_id,label,block_size,timeout from "
                    "hw_drives where drive_num=%d",
                    drive_num);
    if (const Found outcome = one_row(read, rows, text); outcome != Found::yes)
        return outcome;
    format_text(drive->drive_num, sizeof drive->drive_num, "%d", drive_num);
    return RowTaker(rows)
        .take("device", drive->device)
        .take("name", drive->name)
        .take("typ", drive->typ)
        .take("path", drive->path)
        .take("loader_num", drive->loader_num, "NULL")
        .take("client_id", drive->client_id)
        .take("label", drive->label, kNothingMounted)
        .take("block_size", drive->block_size)
        .take("timeout", drive->timeout)
        .done(text);
}

Found read_host_row(DriveProperties *drive, DbMessage *text, TraceContext &trace)
{
    if (!is_number(drive->client_id)) {
        text->assign("0");
        return Found::no;
    }
    Rows rows("DriveHost", trace);
    const bool read =
        rows.select("select name,os,accessmode from clients where client_id=%s", drive->client_id);
    if (const Found outcome = one_row(read, rows, text); outcome != Found::yes)
        return outcome;
    return RowTaker(rows)
        .take("name", drive->host)
        .take("os", drive->os)
        .take("accessmode", drive->accessmode)
        .done(text);
}

void fill_defaults(int32_t drive_num, DriveProperties *drive, TraceScope &scope)
{
    if (*drive->timeout == '\0') {
        copy_text(drive->timeout, sizeof drive->timeout, "60");
        scope.note("took default timeout 60");
    }
    if (*drive->name != '\0')
        return;
    format_text(drive->name, sizeof drive->name, "Drive-%d", drive_num);
    DbMessage reason;
    if (!execute_sql(reason.data(), scope.context(), "update hw_drives set name='%s' where drive_num=%d",
                     drive->name, drive_num))
        scope.note("WARNING: name %s could not be written: %s", drive->name, reason.c_str());
}

Found read_shared(DriveProperties *drive, DbMessage *text, TraceContext &trace)
{
    Rows rows("DriveShare", trace);
    const bool read =
        rows.select("select count(name) from hw_drives where name='%s'", SqlText(drive->name).c_str());
    text->assign(rows.message());
    drive->shared = read && to_int32(rows.message()) > 1 ? 1 : 0;
    return read ? Found::yes : Found::unreadable;
}

Found read_drive(int32_t drive_num, DriveProperties *drive, DbMessage *text, TraceScope &scope)
{
    Found outcome = read_drive_row(drive_num, drive, text, scope.context());
    if (outcome == Found::yes)
        outcome = read_host_row(drive, text, scope.context());
    if (outcome == Found::yes) {
        fill_defaults(drive_num, drive, scope);
        outcome = read_shared(drive, text, scope.context());
    }
    return outcome;
}

// The host of a loader is for messages only: one that is not known is taken for this one.
Found read_loader_host(LoaderProperties *loader, DbMessage *text, TraceContext &trace)
{
    Rows rows("LoaderHost", trace);
    if (is_number(loader->client_id) &&
        !rows.select("select name,os,accessmode from clients where client_id=%s", loader->client_id)) {
        text->assign(rows.message());
        return Found::unreadable;
    }
    if (rows.count() == 1)
        return RowTaker(rows).take("name", loader->host).done(text);
    char own[256] = "";
    pl_host_name(own, sizeof own);
    copy_text(loader->host, sizeof loader->host, own);
    return Found::yes;
}

Found read_loader(const char *loader_num, LoaderProperties *loader, DbMessage *text, TraceContext &trace)
{
    if (!is_number(loader_num)) {
        text->assign("0");
        return Found::no;
    }
    Rows rows("LoaderProp", trace);
    const bool read = rows.select(
        "select loader_num,ctrl,typ,device,client_id from hw_loaders where loader_num=%s", loader_num);
    Found outcome = one_row(read, rows, text);
    if (outcome == Found::yes)
        outcome = RowTaker(rows)
                      .take("loader_num", loader->loader_num)
                      .take("ctrl", loader->ctrl)
                      .take("typ", loader->typ)
                      .take("device", loader->device)
                      .take("client_id", loader->client_id)
                      .done(text);
    return outcome == Found::yes ? read_loader_host(loader, text, trace) : outcome;
}

template <class Properties>
Found leave_reader(Found outcome, const char *function, Properties *properties, const DbMessage &text,
                   TraceScope &scope)
{
    if (outcome == Found::yes) {
        scope.leave(1, "--- %s  returns 1", function);
        return outcome;
    }
    *properties = {}; // half a record is none
    if (outcome == Found::no)
        scope.leave(0, "--- %s  returns 0  found %s rows", function, text.c_str());
    else
        scope.leave(0, "--- %s  returns 0  database error: %s ", function, text.c_str());
    return outcome;
}

} // namespace

bool is_number(std::string_view text)
{
    return is_number_list(text) && text.find(',') == text.npos;
}

int32_t drive_number(std::string_view text)
{
    constexpr size_t kMostDigits = 9; // fits 32 bits
    return is_number(text) && text.size() <= kMostDigits ? to_int32(std::string(text).c_str()) : -1;
}

Found find_drive(int32_t drive_num, DriveProperties *drive, DbMessage *text, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_GET_DRIVE_PROPERTIES  drive_num=%d", drive_num);
    *drive = {};
    return leave_reader(read_drive(drive_num, drive, text, scope), "i_GET_DRIVE_PROPERTIES", drive, *text,
                        scope);
}

Found find_loader(const char *loader_num, LoaderProperties *loader, DbMessage *text, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_GET_LOADER_PROPERTIES  loader_num=%s",
                     text_or_empty(loader_num));
    *loader = {};
    return leave_reader(read_loader(text_or_empty(loader_num), loader, text, scope.context()),
                        "i_GET_LOADER_PROPERTIES", loader, *text, scope);
}

int32_t i_GET_DRIVE_PROPERTIES(int32_t drive_num, DriveProperties *drive, TraceContext trace)
{
    DbMessage text;
    DriveProperties unwanted;
    return find_drive(drive_num, drive ? drive : &unwanted, &text, trace) == Found::yes ? 1 : 0;
}

int32_t i_GET_LOADER_PROPERTIES(const char *loader_num, LoaderProperties *loader, TraceContext trace)
{
    DbMessage text;
    LoaderProperties unwanted;
    return find_loader(loader_num, loader ? loader : &unwanted, &text, trace) == Found::yes ? 1 : 0;
}

int32_t GET_TAPE_SERVER(const char *drive_num, char *host, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ GET_TAPE_SERVER  drive_num=%s", text_or_empty(drive_num));
    DriveProperties drive = {};
    const int32_t number = drive_number(text_or_empty(drive_num));
    const int32_t result = number >= 0 ? i_GET_DRIVE_PROPERTIES(number, &drive, scope.context()) : 0;
    copy_text(host, TAMBA_HOST_SIZE, drive.host);
    return scope.leave(result, "--- GET_TAPE_SERVER returns %d  %s", result, drive.host);
}
