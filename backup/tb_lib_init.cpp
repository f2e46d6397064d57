// Preparing a medium: tb_init is run for a drive.
#include <backup/medium.h>
#include <foundation/glbv.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <process/semaphore_guard.h>
#include <tamba/process.h>

namespace {

using CommandLine = FixedText<256>;

// A label that is cut is another one.
bool is_whole_label(std::string_view label)
{
    return !label.empty() && label.size() < TAMBA_LABEL_SIZE;
}

// Runs tb_init and reads what it reported.  The variable may still hold the text of an earlier run, so the
// exit code counts as well.
bool run_init(const char *drive, bool is_label, const char *media_info, MediaMessage *msg, TraceScope &scope)
{
    FixedText<32> option;
    option.format("-d %s", drive);
    prot_message<Msg::kStartingInit>(option.c_str(), media_info);

    CommandLine command;
    command.format(is_label ? "tb_init -d %s -t %s -L backup" : "tb_init -d %s -m %s -L backup", drive,
                   media_info);
    scope.note("call %s", command.c_str());
    const int32_t status = start_system(command.c_str());

    FixedText<64> variable;
    variable.format("gv_init_msg_%s", drive);
    GlobalValue value;
    const bool reported = read_global(variable.c_str(), &value);
    msg->assign(value.view());
    scope.note("returned from tb_init - returned %d %s", status, msg->c_str());
    // A failing tb_init says why behind a "?"; anything else is of an earlier run, or nothing at all.
    if (status != 0 && (reported || value.view() == "???"))
        msg->format("tb_init ended with exit code %d", status);
    return status == 0 && reported && is_whole_label(value.view());
}

// The medium may have been prepared by somebody else while we waited for the semaphore.  tb_init runs all the
// same: it looks into the catalogue itself and answers with the label that counts now.
bool init_under_lock(const char *drive, const char *media_info, MediaMessage *msg, TraceScope &scope)
{
    FixedText<64> name, requester;
    name.format("ctrl_init_%s", drive);
    requester.format("RESTART_INIT %s", drive);
    scope.note("try to catch semaphor %s", name.c_str());
    SemaphoreGuard lock(name.c_str(), requester.c_str(), scope.context());
    if (!lock.held()) {
        msg->assign(lock.message());
        return false;
    }
    scope.note("catched semaphore %s", name.c_str());
    scope.note("may be a concurrent init finished meanwhile");
    scope.note("so get new label from DB");
    const bool is_label = split_label(media_info).is_label;
    scope.note(is_label ? "%s is a label" : "%s is a pool-name", media_info);
    return run_init(drive, is_label, media_info, msg, scope);
}

// What is cut would be another drive, another pool or another medium.
bool may_be_argument(std::string_view word, size_t size)
{
    return is_plain_word(word) && word.size() < size;
}

bool init_drive(const char *drive, const char *media_info, MediaMessage *msg, TraceScope &scope)
{
    if (*drive == '\0') {
        message_to<Msg::kNoDrivesForPool>(msg->data(), msg->capacity(), split_label(media_info).pool.c_str());
        return false;
    }
    if (!may_be_argument(drive, TAMBA_DRIVE_SIZE) || !may_be_argument(media_info, TAMBA_LABEL_SIZE)) {
        msg->format("tb_init is not started with drive %s and medium %s", drive, media_info);
        return false;
    }
    return init_under_lock(drive, media_info, msg, scope);
}

} // namespace

int32_t RESTART_INIT(const char *drive, const char *job, const char *media_info, char *msg,
                     TraceContext trace)
{
    const Drives first = Drives(text_or_empty(drive)).first();
    media_info = text_or_empty(media_info);
    TraceScope scope(trace, kTraceMain, "+++ RESTART_INIT Dn=%s  Job=%s  MedPool/Label=%s",
                     text_or_empty(drive), text_or_empty(job), media_info);
    scope.note("given drive number %s", first.c_str());
    MediaMessage message;
    const int32_t result = init_drive(first.c_str(), media_info, &message, scope) ? 1 : 0;
    copy_text(msg, TAMBA_MEDIA_MSG_SIZE, message.view());
    return scope.leave(result, "--- RESTART_INIT  returns %d, Dn=%s, msg=%s", result, first.c_str(),
                       message.c_str());
}
