// Labels, pools and drive groups.
#include <backup/medium.h>
#include <db/sql.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>

#include <algorithm>

namespace {

constexpr size_t kNumberDigits = 5; // of a label

bool all_digits(std::string_view text)
{
    for (const char c : text)
        if (!is_digit(c))
            return false;
    return true;
}

// What of a list of drives fits a buffer, whole numbers only: half a number would name another drive.
std::string_view fitting(std::string_view drives, size_t size)
{
    return drives.size() < size ? drives : drives.substr(0, drives.rfind(',', size - 2) + 1);
}

TraceScope enter_drive_group(const char *pool, const char *drive, TraceContext &trace)
{
    if (*pool == '\0' && *drive == '\0')
        return TraceScope(trace, kTraceMain,
                          "+++ i_GET_DRIVE_GROUP ERROR: Called with empty media_pool and empty drive_group");
    return TraceScope(trace, kTraceMain, "+++ i_GET_DRIVE_GROUP %s", *pool != '\0' ? pool : drive);
}

Found find_drive_group(Rows *rows, const char *pool, const char *drive)
{
    constexpr char kWho[] = "i_GET_DRIVE_GROUP: select from drive_groups";
    if (*pool != '\0')
        return rows->find(kWho,
                          "select grp_name from drive_groups, media_pools where "
                          "drive_groups.grp_id=media_pools.drive_grp and media_pools.name='%s'",
                          SqlText(pool).c_str());
    return rows->find(kWho,
                      "select grp_name from drive_groups, hw_drives where "
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
    return !word.empty() && std::string_view("#~-").find(word.front()) == word.npos;
}

int32_t i_SPLIT_LABEL(const char *text, char *pool, int32_t *number)
{
    const SplitLabel split = split_label(text_or_empty(text));
    copy_text(pool, TAMBA_LABEL_SIZE, split.pool);
    if (number)
        *number = split.number;
    return split.is_label ? 1 : 0;
}

Found drives_of_pool(const char *pool, std::string *list, MediaMessage *msg, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_GET_DRIVES_OF_POOL  %s", pool);
    Rows rows("DrivesPool", scope.context());
    const Found found = rows.find("i_GET_DRIVES_OF_POOL: select from hw_drives",
                                  "select drive_num from hw_drives where grp_id="
                                  "(select drive_grp from media_pools where name='%s')",
                                  SqlText(pool).c_str());
    for (int32_t row = 1; row <= rows.count(); ++row) {
        FixedText<TAMBA_DRIVE_SIZE> drive;
        rows.text(row, "drive_num", drive);
        list->append(drive.view()).append(",");
    }
    if (found == Found::no) {
        message_to<Msg::kNoDrivesForPool>(msg->data(), msg->capacity(), pool);
        prot_message<Msg::kNoDrivesForPool>(pool);
    } else {
        msg->assign(found == Found::unreadable ? rows.message() : "");
    }
    scope.leave(rows.count(), "--- i_GET_DRIVES_OF_POOL returns %d Drives:%s   msg:%s", rows.count(),
                list->c_str(), msg->c_str());
    return found;
}

int32_t i_GET_DRIVES_OF_POOL(const char *pool, char *drives_out, TraceContext trace)
{
    std::string list;
    MediaMessage msg;
    drives_of_pool(text_or_empty(pool), &list, &msg, trace);
    copy_text(drives_out, TAMBA_DRIVE_LIST_SIZE, fitting(list, TAMBA_DRIVE_LIST_SIZE));
    return static_cast<int32_t>(std::count(list.begin(), list.end(), ','));
}

Found drive_group(const char *pool, const char *drive_num, std::string *group, int32_t *count,
                  MediaMessage *msg, TraceContext &trace)
{
    const Drives drive = Drives(drive_num).first();
    TraceScope scope = enter_drive_group(pool, drive.c_str(), trace);
    Rows rows("DriveGroup", scope.context());
    FixedText<TAMBA_GROUP_SIZE> name;
    Found found = Found::no;
    if (*pool != '\0' || !drive.none())
        found = find_drive_group(&rows, pool, drive.c_str());
    if (found == Found::yes)
        rows.text(1, "grp_name", name);
    *group = is_null(name.view()) ? "" : name.c_str();
    *count = rows.count();
    msg->assign(found == Found::unreadable ? rows.message() : "");
    scope.leave(rows.count(), "--- i_GET_DRIVE_GROUP: %s (%d rows)", group->c_str(), rows.count());
    return found;
}

int32_t i_GET_DRIVE_GROUP(const char *media_pool, const char *drive_num, char *grp_name_out,
                          TraceContext trace)
{
    std::string group;
    MediaMessage msg;
    int32_t rows = 0;
    drive_group(text_or_empty(media_pool), text_or_empty(drive_num), &group, &rows, &msg, trace);
    copy_text(grp_name_out, TAMBA_GROUP_SIZE, group);
    return rows;
}
