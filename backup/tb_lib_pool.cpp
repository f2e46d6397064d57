// Labels, pools and drive groups.
#include <backup/medium.h>
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>

namespace {

constexpr size_t kNumberDigits = 5; // of a label

bool all_digits(std::string_view text)
{
    for (const char c : text)
        if (!is_digit(c))
            return false;
    return true;
}

// Appends "drive," when it fits whole: half a number would name another drive.
void append_drive(DriveList *drives, std::string_view drive)
{
    if (drives->length() + drive.size() + 1 >= DriveList::size())
        return;
    drives->append(drive);
    drives->append(",");
}

TraceScope enter_drive_group(const char *pool, const char *drive, TraceContext &trace)
{
    if (*pool == '\0' && *drive == '\0')
        return TraceScope(trace, kTraceMain,
                          "+++ i_GET_DRIVE_GROUP ERROR: Called with empty media_pool and empty drive_group");
    return TraceScope(trace, kTraceMain, "+++ i_GET_DRIVE_GROUP %s", *pool != '\0' ? pool : drive);
}

bool select_drive_group(Rows *rows, const char *pool, const char *drive)
{
    if (*pool != '\0')
        return rows->select("select grp_name from drive_groups, media_pools where "
                            "drive_groups.grp_id=media_pools.drive_grp and media_pools.name='%s'",
                            SqlText(pool).c_str());
    return rows->select("select grp_name from drive_groups, hw_drives where "
                        "drive_groups.grp_id=hw_drives.grp_id and hw_drives.drive_num='%s'",
                        SqlText(drive).c_str());
}

} // namespace

SplitLabel split_label(std::string_view media_info)
{
    SplitLabel split;
    split.pool.assign(media_info);
    if (media_info.size() <= kNumberDigits)
        return split;
    const std::string_view digits = media_info.substr(media_info.size() - kNumberDigits);
    if (!all_digits(digits))
        return split;
    split.is_label = true;
    split.pool.assign(media_info.substr(0, media_info.size() - kNumberDigits));
    for (const char digit : digits)
        split.number = split.number * 10 + (digit - '0');
    return split;
}

bool is_drive_list(std::string_view drives)
{
    return drives.find(',') != std::string_view::npos;
}

std::string_view without_trailing_comma(std::string_view drives)
{
    while (!drives.empty() && drives.back() == ',')
        drives.remove_suffix(1);
    return drives;
}

std::string_view first_drive(std::string_view drives)
{
    return drives.substr(0, drives.find(','));
}

bool is_no_loader(std::string_view loader_num)
{
    return is_null(loader_num) || loader_num == "0";
}

bool is_plain_word(std::string_view word)
{
    constexpr std::string_view acted_on = "\"'`;&|<>$\\()*?[%^";
    for (const char c : word)
        if (static_cast<unsigned char>(c) <= ' ' || acted_on.find(c) != acted_on.npos)
            return false;
    return !word.empty() && word.front() != '#' && word.front() != '~';
}

int32_t i_SPLIT_LABEL(const char *text, char *pool, int32_t *number)
{
    const SplitLabel split = split_label(text_or_empty(text));
    copy_text(pool, TAMBA_LABEL_SIZE, split.pool.view());
    if (number)
        *number = split.number;
    return split.is_label ? 1 : 0;
}

int32_t i_GET_DRIVES_OF_POOL(const char *pool, char *drives_out, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_GET_DRIVES_OF_POOL  %s", text_or_empty(pool));
    DriveList drives;
    MediaMessage msg;
    Rows rows("DrivesPool", scope.context());
    if (!rows.select("select drive_num from hw_drives where grp_id=(select drive_grp from media_pools where "
                     "name='%s')",
                     SqlText(pool).c_str()))
        trap_db_err("i_GET_DRIVES_OF_POOL: select from hw_drives", rows.message(), scope.context(), 0);
    for (int32_t row = 1; row <= rows.count(); ++row) {
        DriveText drive;
        rows.text(row, "drive_num", drive);
        append_drive(&drives, drive.view());
    }
    if (rows.empty() && !rows.failed()) {
        message_to<Msg::kNoDrivesForPool>(msg.data(), msg.size(), text_or_empty(pool));
        prot_message<Msg::kNoDrivesForPool>(text_or_empty(pool));
    }
    copy_text(drives_out, TAMBA_DRIVE_LIST_SIZE, drives.view());
    return scope.leave(rows.count(), "--- i_GET_DRIVES_OF_POOL returns %d Drives:%s   msg:%s", rows.count(),
                       drives.c_str(), msg.c_str());
}

int32_t i_GET_DRIVE_GROUP(const char *media_pool, const char *drive_num, char *grp_name_out,
                          TraceContext trace)
{
    media_pool = text_or_empty(media_pool);
    drive_num = text_or_empty(drive_num);
    TraceScope scope = enter_drive_group(media_pool, drive_num, trace);
    Rows rows("DriveGroup", scope.context());
    FixedText<TAMBA_GROUP_SIZE> group;
    if (*media_pool != '\0' || *drive_num != '\0') {
        if (!select_drive_group(&rows, media_pool, drive_num))
            trap_db_err("i_GET_DRIVE_GROUP: select from drive_groups", rows.message(), scope.context(), 0);
        else if (!rows.empty())
            rows.text(1, "grp_name", group);
    }
    copy_text(grp_name_out, TAMBA_GROUP_SIZE, group.view());
    return scope.leave(rows.count(), "--- i_GET_DRIVE_GROUP: %s (%d rows)", group.c_str(), rows.count());
}
