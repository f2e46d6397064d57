// Fetching a medium for a backup: the one that is required, or another one that may be written.
#include <backup/medium.h>
#include <backup/volume.h>

namespace {

struct Fetch {
    LabelText required;
    Drives drive;
    const char *job;
    VolumeMessage loaded; // what is in the drive
    MediaMessage msg;
};

// How a medium that came is judged.  What cannot be found out is no reason to unload it, let alone to initialise it.
enum class Judgement { use, unload, fail };

Judgement fail(Fetch *fetch, std::string_view reason)
{
    fetch->msg.assign(message_format(Msg::kFetchFailed));
    fetch->msg.append(": ");
    fetch->msg.append(reason);
    return Judgement::fail;
}

// A pool's name would find any medium of the pool, and that one is not in the drive.
Found is_prepared(Fetch *fetch, MediaMessage *reason, TraceScope &scope)
{
    std::string label = fetch->loaded.c_str();
    reason->format("%s is no full label", label.c_str());
    if (!split_label(label).is_label)
        return Found::no;
    Drives drive = fetch->drive;
    return prepared_medium(&drive, &label, true, reason, scope.context());
}

Judgement judge_other(Fetch *fetch, TraceScope &scope)
{
    scope.note("Got media %s, requested media was %s", fetch->loaded.c_str(), fetch->required.c_str());
    MediaMessage reason;
    switch (is_prepared(fetch, &reason, scope)) {
    case Found::unreadable:
        return fail(fetch, reason.view());
    case Found::yes:
        scope.note("Media %s is prepared to use it.", fetch->loaded.c_str());
        return Judgement::use;
    case Found::no:
        break;
    }
    scope.note("Media %s is not prepared to use it: %s. Check, if we can initalize it", fetch->loaded.c_str(),
               reason.c_str());
    VolumeMessage label = fetch->loaded; // receives another label, or the reason
    switch (i_MAY_INIT_MEDIUM(fetch->required.c_str(), fetch->drive.c_str(), &label, scope.context())) {
    case Found::unreadable:
        return fail(fetch, label.view());
    case Found::no:
        return Judgement::unload;
    case Found::yes:
        break;
    }
    scope.note("Media %s was not requested but it's allowed to initialize it.", label.c_str());
    fetch->loaded = label;
    return Judgement::use;
}

Judgement request_volume(Fetch *fetch, TraceScope &scope)
{
    VolumeRequest request(fetch->required.c_str(), fetch->drive.c_str(), 'b');
    if (run_volume_request(&request, scope.context()) == kVolumeFailed) {
        scope.note("error media %s couldn't be loaded: %s", fetch->required.c_str(), request.message.c_str());
        return fail(fetch, request.message.view());
    }
    if (!request.doubt.empty()) {
        scope.note("nobody knows which media is loaded: %s", request.doubt.c_str());
        return fail(fetch, request.doubt.view());
    }
    fetch->loaded = request.message;
    if (fetch->loaded.view() != fetch->required.view())
        return judge_other(fetch, scope);
    scope.note("Got requested media %s", fetch->required.c_str());
    return Judgement::use;
}

void unload(const Fetch &fetch, TraceScope &scope)
{
    scope.note("media %s could not be initialised. Unload it.", fetch.loaded.c_str());
    DriveMessage answer;
    drive_handler("dismount", fetch.drive.c_str(), "UNLOAD", answer.data(), scope.context());
}

bool load_usable(Fetch *fetch, TraceScope &scope)
{
    while (gcInterrupt != 'y') {
        const Judgement judgement = request_volume(fetch, scope);
        if (judgement != Judgement::unload)
            return judgement == Judgement::use;
        unload(*fetch, scope);
    }
    scope.note("Interrupt signal flag set");
    message_to<Msg::kInterrupted>(fetch->msg.data(), fetch->msg.capacity());
    return false;
}

// A medium without a label, or with one that nobody knows, gets one of the required label's pool.
bool label_strange(Fetch *fetch, TraceScope &scope)
{
    if (fetch->loaded.view() != kUnknownTape && fetch->loaded.view() != kNoLabel)
        return true;
    const LabelText pool(pool_of_label(fetch->required.view()));
    MediaMessage reported;
    if (RESTART_INIT(fetch->drive.c_str(), "INIT", pool.c_str(), reported.data(), scope.context()) != 1) {
        fail(fetch, reported.view());
        return false;
    }
    scope.note(" label returned by init: %s", reported.c_str());
    fetch->loaded.assign(reported.view());
    return true;
}

// A pool's name, also one that is left of a label that was cut, would stand for another medium than the one in the drive.
bool is_full_label(const Fetch &fetch, MediaMessage *reason)
{
    reason->format("%s is no full label", fetch.loaded.c_str());
    return fetch.loaded.length() < TAMBA_LABEL_SIZE && split_label(fetch.loaded.view()).is_label;
}

// loaded becomes the label to write to.
bool take_over(Fetch *fetch, TraceScope &scope)
{
    scope.note("got media %s, requested media was %s", fetch->loaded.c_str(), fetch->required.c_str());
    if (!label_strange(fetch, scope))
        return false;
    if (fetch->loaded.view() == fetch->required.view()) {
        scope.detail("got requested media %s", fetch->required.c_str());
        return true;
    }
    scope.note("label was changed into %s", fetch->loaded.c_str());
    FixedText<TAMBA_DRIVE_SIZE> drive{fetch->drive.view()};
    LabelText label{fetch->loaded.view()};
    MediaMessage reason;
    if (!is_full_label(*fetch, &reason)) {
        fail(fetch, reason.view());
        return false;
    }
    if (i_CHECK_MEDIUM_FOR_BACKUP(drive.data(), label.data(), fetch->job, reason.data(), scope.context()) !=
        1) {
        fail(fetch, reason.view());
        return false;
    }
    fetch->loaded.assign(label.view());
    return true;
}

} // namespace

// Lock order: the fetching, then inside it the volume request, which is over before end of media and initialisation.
int32_t i_GET_BACKUP_MEDIUM(char *label, const char *drive_num, const char *job, char *msg,
                            TraceContext trace)
{
    Fetch fetch{LabelText(text_or_empty(label)),
                Drives(text_or_empty(drive_num)).first(),
                text_or_empty(job),
                {},
                {}};
    TraceScope scope(trace, kTraceMain, "+++ i_GET_BACKUP_MEDIUM  %s", fetch.required.c_str());
    post_message<Msg::kMediumRequired>(fetch.drive.c_str(), fetch.required.c_str());
    SemaphoreGuard lock(format_string("get_backup_medium_%s", fetch.drive.c_str()).c_str(),
                        format_string("i_GET_BACKUP_MEDIUM %s", fetch.required.c_str()).c_str(),
                        scope.context());
    bool done = false;
    if (!lock.held())
        fetch.msg.assign(lock.message());
    else if (load_usable(&fetch, scope))
        done = take_over(&fetch, scope);
    if (done)
        copy_text(label, TAMBA_LABEL_SIZE, fetch.loaded.view());
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, fetch.msg.view());
    return scope.leave(done ? 1 : 0, "--- i_GET_BACKUP_MEDIUM return %d", done ? 1 : 0);
}
