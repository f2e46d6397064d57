// Volumes that no hand touches: a robot fetches the medium from its slot; a disk drive that acts as a changer gets its
// control file.
#include <backup/medium.h>
#include <backup/volume.h>
#include <db/rows.h>
#include <db/sql.h>
#include <tamba/remote.h>

namespace {

using SlotText = FixedText<64>;

// A virtual loader is told the label in the slot's place.
bool find_slot(VolumeRequest *request, SlotText *slot, TraceScope &scope)
{
    const char *const label = request->strategy.requested_label, *const drive = request->strategy.drive_num;
    const char *const loader = request->drive.loader_num;
    if (std::string_view(request->loader.ctrl).find("VIRT") != std::string_view::npos) {
        scope.note("TRY load label %s into drive %s via virtual loader", label, drive);
        slot->assign(label);
        return true;
    }
    scope.note("get slot number from media archive");
    Rows rows("GetVolSlot", scope.context());
    if (!rows.select("select lader,slot from media where label='%s'", SqlText(label).c_str())) {
        request->message.assign(rows.message());
        return false;
    }
    FixedText<TAMBA_DRIVE_SIZE> medium_loader;
    if (rows.empty() || !rows.text(1, "lader", medium_loader) || is_null(medium_loader.view()) ||
        medium_loader.view() != loader || !rows.text(1, "slot", *slot)) {
        message_to<Msg::kVolumeNotInLoader>(request->message.data(), request->message.capacity(), label,
                                            loader);
        return false;
    }
    scope.note("loader number=%s   slots=%s", medium_loader.c_str(), slot->c_str());
    scope.note("TRY load media from slot %s into drive %s via loader %s", slot->c_str(), drive,
               medium_loader.c_str());
    return true;
}

bool load(VolumeRequest *request, const SlotText &slot, TraceScope &scope)
{
    const char *const loader = request->drive.loader_num, *const drive = request->strategy.drive_num;
    DriveMessage answer; // empty: on entry it would name a log file
    if (loader_handler(loader, "L", drive, slot.c_str(), answer.data()) == 1) {
        scope.note("Loader action finished successfully: %s  %s  %s ", loader, drive, slot.c_str());
        return true;
    }
    scope.note("error from loader handler: %s", answer.c_str());
    request->message.assign(answer.view());
    if (answer.empty())
        request->message.format("tb_loader gave no reason (loader %s, drive %s, slot %s)", loader, drive,
                                slot.c_str());
    return false;
}

int32_t use_what_was_loaded(VolumeRequest *request, const SlotText &slot, TraceScope &scope)
{
    const char *const label = request->strategy.requested_label;
    switch (i_CHECK_LABEL(request, scope.context())) {
    case kLoaded:
        mount_volume(*request, "mount_for_read", label, scope.context());
        return kVolumeReady;
    case kMounted:
        return kVolumeReady;
    case kUnreadable:
    case kOtherLabel: {
        if (!request->doubt.empty())
            return kVolumeFailed;
        const VolumeMessage found = request->message;
        message_to<Msg::kVolumeWrongInSlot>(request->message.data(), request->message.capacity(), label,
                                            slot.c_str(), request->drive.loader_num, found.c_str());
        return kVolumeFailed;
    }
    }
    request->message.assign("invalid answer from CHECK_LABEL");
    return kVolumeFailed;
}

// Runs a command on the drive's host.
bool run_there(const DriveProperties &drive, const std::string &command, TraceScope &scope)
{
    char buffer[TB_REMOTE_CMD_SIZE]; // holds the outcome afterwards
    copy_text(buffer, sizeof buffer, command);
    if (command.size() < sizeof buffer && REMOTE_CMD(drive.host, buffer, 1, scope.context()) == 1)
        return true;
    scope.leave(0, "--- REWRITE_DISK_CHNG Error: RemoteCmd failed: %s", command.c_str());
    return false;
}

} // namespace

int32_t i_DOIT_WITH_DIRECT_ACCESS(VolumeRequest *request, TraceContext &trace)
{
    const char *const label = request->strategy.requested_label, *const drive = request->strategy.drive_num;
    const char *const ctrl = request->loader.ctrl;
    TraceScope scope(trace, kTraceMain, "+++ i_DOIT_WITH_DIRECT_ACCESS");
    prot_message<Msg::kLoadByRobot>(label, drive, request->drive.loader_num, ctrl);
    post_message<Msg::kVolumeRobotLoads>(drive, ctrl, label);
    SlotText slot;
    const bool loaded = find_slot(request, &slot, scope) && load(request, slot, scope);
    const int32_t result = loaded ? use_what_was_loaded(request, slot, scope) : kVolumeFailed;
    return scope.leave(result, "--- i_DOIT_WITH_DIRECT_ACCESS returns %d", result);
}

bool REWRITE_DISK_CHNG(const DriveProperties &drive, int32_t capacity, TraceContext &trace)
{
    TraceScope scope(trace, kTraceMain, "+++ REWRITE_DISK_CHNG");
    const std::string file = format_string("gv_rw_ini:%s", drive.device);
    scope.note("write TBS control file %s on tape server %s ; dir=%s  capacity=%d", file.c_str(), drive.host,
               drive.path, capacity);
    if (!is_plain_path(drive.device) || !is_plain_path(drive.path)) {
        scope.leave(0, "--- REWRITE_DISK_CHNG Error: no plain word: device %s or path %s", drive.device,
                    drive.path);
        return false;
    }
    if (!run_there(drive, format_string("tb_client -f usefile -m c -n %s -s %s", file.c_str(), drive.path),
                   scope) ||
        !run_there(drive,
                   format_string("tb_client -f usefile -m w -n %s -s %d", file.c_str(), capacity / 1024),
                   scope))
        return false;
    return scope.leave(1, "--- REWRITE_DISK_CHNG") == 1;
}
