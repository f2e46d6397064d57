// The drive handler: one entry for everything that is done with a drive.
#include <backup/drive.h>

#include <db/sql.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <tamba/time_stamp.h>

namespace {

constexpr const char kMountForRead[] = "mount_for_read";
constexpr int32_t kMostReadings = 3;
constexpr int32_t kReadingPause = 5; // seconds

// One command on its way.
struct DriveOperation {
    const char *command, *argument;
    DriveProperties drive;
    DriveMessage msg;
    TraceScope &scope;

    bool is(std::string_view word) const { return equal_ignoring_case(command, word); }
    bool is_mounted() const { return *drive.label != '?'; }
};

// null for none
bool write_mounted_label(DriveOperation *operation, const char *label)
{
    DbMessage reason;
    TraceContext &trace = operation->scope.context();
    const char *const drive = operation->drive.drive_num;
    const bool written =
        label
            ? execute_sql(reason.data(), trace, "update hw_drives set label='%s' where drive_num=%s",
                          SqlText(label, SqlText::update).c_str(), drive)
            : execute_sql(reason.data(), trace, "update hw_drives set label=null where drive_num=%s", drive);
    if (!written) // what was done with the medium is done
        trap_db_err("drive_handler: update hw_drives", reason.c_str(), trace, 0);
    return written;
}

// ---- get, inf -------------------------------------------------------------------------------------------------------

bool is_interrupted()
{
    return gcInterrupt == 'y';
}

LabelReading read_patiently(const DriveProperties &drive, LabelPlace place, TraceContext &trace)
{
    for (int32_t reading = 1;; ++reading) {
        LabelReading label = GET_LABEL(drive, place, trace);
        if (label.found || !label.may_pass || reading == kMostReadings || is_interrupted())
            return label;
        wait_sec(kReadingPause);
        if (is_interrupted())
            return label;
    }
}

int32_t answer_unreadable(DriveOperation *operation, const LabelReading &reading)
{
    const char *const drive = operation->drive.drive_num;
    if (reading.text.view() == kNoDevice)
        report<Msg::kDriveMissing>(drive, drive, "check SCSI");
    else
        report<Msg::kDriveReported>(drive, reading.text.c_str());
    operation->msg = reading.text; // alone: callers compare it
    return 0;
}

int32_t read_label(DriveOperation *operation, bool patiently)
{
    const DriveProperties &drive = operation->drive;
    if (operation->is_mounted()) {
        report<Msg::kDriveMounted>(drive.drive_num, drive.label, drive.drive_num);
        operation->msg.format("%s mounted 0 1", drive.label);
        return 1;
    }
    const LabelPlace place =
        equal_ignoring_case(operation->argument, "trailer") ? LabelPlace::trailer : LabelPlace::header;
    TraceContext &trace = operation->scope.context();
    const LabelReading reading =
        patiently ? read_patiently(drive, place, trace) : GET_LABEL(drive, place, trace);
    if (!reading.found)
        return answer_unreadable(operation, reading);
    operation->msg.format("%s unmounted 0 1 %s", reading.label.c_str(), reading.worm ? "WORM" : "");
    return 1;
}

int32_t get(DriveOperation *operation)
{
    operation->scope.note("WARNING: no retry if GET_LABEL returns with FAILURE");
    return read_label(operation, false);
}

int32_t inf(DriveOperation *operation)
{
    return read_label(operation, true);
}

// ---- ini ------------------------------------------------------------------------------------------------------------

int32_t refuse_mounted(DriveOperation *operation, const char *action)
{
    const DriveProperties &drive = operation->drive;
    operation->msg = report<Msg::kDriveActionRefused>(drive.drive_num, action, drive.drive_num, drive.label);
    return 0;
}

int32_t ini(DriveOperation *operation)
{
    if (operation->is_mounted())
        return refuse_mounted(operation, "INIT");
    const auto init = is_ndmp(operation->drive) ? INIT_VIA_NDMP : INIT_VIA_TBS;
    if (!init(operation->drive, operation->argument, &operation->msg, operation->scope.context()))
        return 0;
    write_mounted_label(operation, operation->argument);
    return 1;
}

// ---- mou ------------------------------------------------------------------------------------------------------------

int32_t mount_again(DriveOperation *operation)
{
    const DriveProperties &drive = operation->drive;
    if (*operation->argument != '\0' && std::string_view(operation->argument) != drive.label) {
        operation->scope.note("Mount %s not allowed: drive %s is already mounted with label %s",
                              operation->argument, drive.drive_num, drive.label);
        return refuse_mounted(operation, "MOUNT ");
    }
    report<Msg::kDriveMounted>(drive.drive_num, drive.label, drive.drive_num);
    operation->msg.assign("already mounted");
    return 1;
}

int32_t mount_label(DriveOperation *operation, const LabelText &label)
{
    const char *const drive = operation->drive.drive_num;
    if (*operation->argument != '\0' && label.view() != operation->argument) {
        report<Msg::kDriveWrongMedium>(drive, label.c_str(), drive);
        operation->msg.format("Wrong label %s", label.c_str());
        return 0;
    }
    report<Msg::kDriveMounted>(drive, label.c_str(), drive);
    operation->msg.format("%s mounted 0 1", label.c_str());
    write_mounted_label(operation, label.c_str());
    return 1;
}

int32_t mou(DriveOperation *operation)
{
    if (operation->is_mounted())
        return mount_again(operation);
    const LabelPlace place = operation->is(kMountForRead) ? LabelPlace::header : LabelPlace::trailer;
    TraceContext &trace = operation->scope.context();
    const LabelReading reading = GET_LABEL(operation->drive, place, trace);
    if (reading.found)
        return mount_label(operation, reading.label);
    if (std::string_view(operation->command) == "mount") {
        operation->scope.note("WARNING: retry mount with 'mount_for_read' to get label from header");
        return drive_handler(kMountForRead, operation->drive.drive_num, operation->argument,
                             operation->msg.data(), trace);
    }
    operation->msg = reading.text;
    return 0;
}

// ---- dis, dir -------------------------------------------------------------------------------------------------------

int32_t dis(DriveOperation *operation)
{
    const DriveProperties &drive = operation->drive;
    report<Msg::kDriveDismounted>(drive.drive_num, drive.label, drive.drive_num);
    write_mounted_label(operation, nullptr);
    operation->msg.format("dismounted %s", drive.label);
    if (!equal_ignoring_case(operation->argument, "UNLOAD"))
        return 1;
    operation->msg.append(" (unload)");
    DriveMessage reason;
    if (unload_drive(drive, &reason, operation->scope.context()))
        return 1;
    report<Msg::kDriveReported>(drive.drive_num, reason.c_str()); // the answer has no room for it
    return 0;
}

int32_t dir(DriveOperation *operation)
{
    const char *const drive = operation->drive.drive_num;
    const std::string name =
        *operation->argument != '\0' ? operation->argument : format_string("dir_%s", drive);
    report<Msg::kDriveAnalysing>(drive);
    const bool listed =
        list_medium(operation->drive, name.c_str(), &operation->msg, operation->scope.context());
    report<Msg::kDriveAnalysed>(drive);
    if (listed)
        operation->msg.format("data in file gv_rw_work:rsh_%s.tmp", name.c_str());
    return listed ? 1 : 0;
}

// ---- dispatch -------------------------------------------------------------------------------------------------------

using Step = int32_t (*)(DriveOperation *operation);

Step step_of(std::string_view command)
{
    constexpr struct {
        std::string_view word;
        Step step;
    } kCommands[] = {{"get", get}, {"inf", inf}, {"ini", ini}, {"mou", mou}, {"dis", dis}, {"dir", dir}};
    for (const auto &entry : kCommands)
        if (equal_ignoring_case(command.substr(0, 3), entry.word))
            return entry.step;
    return nullptr;
}

// A drive that the catalogue does not know; a catalogue that cannot be read knows nothing of that.
bool take_drive(const char *drive_num, DriveOperation *operation)
{
    const int32_t number = drive_number(drive_num);
    DbMessage text;
    const Found found =
        number < 0 ? Found::no : find_drive(number, &operation->drive, &text, operation->scope.context());
    if (found == Found::no)
        operation->msg = report<Msg::kDriveNotConfigured>(drive_num, drive_num);
    if (found == Found::unreadable) {
        trap_db_err("drive_handler: select from hw_drives", text.c_str(), operation->scope.context(), 0);
        operation->msg.assign(text.view());
    }
    return found == Found::yes;
}

int32_t carry_out(const char *drive_num, DriveOperation *operation)
{
    const Step step = step_of(operation->command);
    if (!step) {
        message_to<Msg::kDriveFunctionUnknown>(operation->msg.data(), TAMBA_DRIVE_MSG_SIZE,
                                               operation->command);
        return 0;
    }
    return take_drive(drive_num, operation) ? step(operation) : 0;
}

} // namespace

void post(const char *drive_num, const char *text)
{
    const int32_t number = drive_number(drive_num);
    info('M', number < 0 ? 0 : number, text);
}

int32_t drive_handler(const char *command, const char *drive_num, const char *argument, char *msg,
                      TraceContext trace)
{
    drive_num = text_or_empty(drive_num);
    TraceScope scope(trace, kTraceMain, "+++ ZDL DRIVE_HANDLER in %s  %s  %s ", kLibraryVersion,
                     text_or_empty(command), drive_num);
    DriveOperation operation{text_or_empty(command), text_or_empty(argument), {}, {}, scope};
    if (*operation.argument != '\0')
        scope.note("optional argument: %s ", operation.argument);
    const int32_t result = carry_out(drive_num, &operation);
    copy_text(msg, TAMBA_DRIVE_MSG_SIZE, operation.msg.view());
    return scope.leave(result, "--- ZDL DRIVE_HANDLER returns %d  msg:%s", result, operation.msg.c_str());
}
