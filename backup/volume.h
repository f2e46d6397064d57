// Volume requests from inside: one request on its way, its steps, and what they share with the acceptance rules.
#pragma once

#include <backup/drive.h>
#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <process/semaphore_guard.h>
#include <tamba/volume.h>

#include <cstring>
#include <optional>
#include <string_view>

using VolumeMessage = FixedText<TAMBA_VOLUME_MSG_SIZE>;

constexpr size_t kLabelNumberSize = 5; // what a label has behind its pool's name
constexpr size_t kVolumeLabelSize = sizeof(GetVolumeStrategy::requested_label);
using VolumeLabel = FixedText<kVolumeLabelSize>;

// A label that the catalogue does not know.  So spelled, and the same in every language: programs compare it.
inline constexpr std::string_view kUnknownTape = "Unkown tape";

// Sets the drive's line of the info board to a message.
template <Msg id, class... Arguments> void post_message(const char *drive_num, Arguments... arguments)
{
    FixedText<512> text;
    message_to<id>(text.data(), sizeof text, arguments...);
    post(drive_num, text.c_str());
}

// The text of a record's field, also of a field that its caller filled to the last byte.
template <size_t Size> FixedText<Size + 1> field_text(const char (&field)[Size])
{
    return FixedText<Size + 1>(std::string_view(field, strnlen(field, Size)));
}

// The pool of a label; "" for a text that has no room for one.
inline std::string_view pool_of_label(std::string_view label)
{
    return label.size() < kLabelNumberSize ? std::string_view()
                                           : label.substr(0, label.size() - kLabelNumberSize);
}

// Results of a request.
enum VolumeResult : int32_t { kVolumeFailed = 0, kVolumeReady = 1, kVolumeBlank = 2, kVolumeForeign = 3 };

// One request.  message holds what the last label check found, from a failed step on the reason.
struct VolumeRequest {
    VolumeRequest(const char *label, const char *drive_num, char mode);

    GetVolumeStrategy strategy{};
    VolumeMessage label, drive_num; // as the caller wrote them
    DriveProperties drive{};
    LoaderProperties loader{};
    std::optional<SemaphoreGuard> lock;
    int32_t capacity = 0;
    int32_t worm = 0; // 1: the medium that was looked at last is write-once
    VolumeMessage message;

    // Why nobody knows what lies in the drive although the result is no failure, "" otherwise.  Programs get the
    // result; whoever would overwrite a medium because of it must not.
    VolumeMessage doubt;
};

// i_GET_VOLUME on a request.
int32_t run_volume_request(VolumeRequest *request, TraceContext trace);

// What lies in the drive.
enum LabelState : int32_t { kUnreadable = 0, kOtherLabel = 1, kLoaded = 2, kMounted = 3 };

// The steps.  Results are those of the request.
bool i_READ_DATABASE(VolumeRequest *request, TraceContext &trace);
LabelState i_CHECK_LABEL(VolumeRequest *request, TraceContext &trace);
int32_t i_DOIT_WITH_DIRECT_ACCESS(VolumeRequest *request, TraceContext &trace);
int32_t i_DOIT_MANUALLY(VolumeRequest *request, TraceContext &trace);
bool REWRITE_DISK_CHNG(const DriveProperties &drive, int32_t capacity, TraceContext &trace);

// Binds a medium to the request's drive.  That it may fail does not fail the request.
void mount_volume(const VolumeRequest &request, const char *command, const char *label, TraceContext &trace);

// ---- acceptance rules: what the exported functions do, for callers to whom a catalogue that cannot be read is no answer

// i_FILL_STRATEGY; reason receives the text of a query that failed, else it stays.
bool fill_strategy(GetVolumeStrategy *strategy, DbMessage *reason, TraceContext trace);
Found try_change_label(GetVolumeStrategy *strategy, int32_t label_state, VolumeMessage *label,
                       TraceContext trace);
Found use_unknown_media(GetVolumeStrategy *strategy, VolumeMessage *label, TraceContext trace);
Found catch_spare_media(GetVolumeStrategy *strategy, VolumeMessage *label, TraceContext trace);

// A rule's exported form.
int32_t apply_rule(Found (*rule)(GetVolumeStrategy *, VolumeMessage *, TraceContext),
                   GetVolumeStrategy *strategy, char *label, TraceContext &trace);

// Whether a medium that a backup did not ask for may be initialised.  loaded holds what was found in the drive and receives
// the label to use (a medium may come back with another one) or the reason.
Found i_MAY_INIT_MEDIUM(const char *required, const char *drive_num, VolumeMessage *loaded,
                        TraceContext trace);

// Ends an acceptance: I004-GETVOL in the protocol and on the drive's line, and mode 'd'.
void use_other_label(GetVolumeStrategy *strategy, const char *used);
