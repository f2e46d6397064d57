// Media without a label and spares: tb_arch labels them for the requested pool.  It overwrites what lies in the drive,
// so it is started only when everything that its command says is known.
#include <backup/medium.h>
#include <backup/volume.h>
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/glbv.h>
#include <process/semaphore_guard.h>
#include <tamba/process.h>

namespace {

using CommandLine = FixedText<512>;
using MediaType = FixedText<64>;

// What tb_arch is told.
struct Introduction {
    FixedText<sizeof(GetVolumeStrategy::drive_num) + 1> drive;
    MediaType type;
    LabelText pool;
};

Introduction introduction_for(const GetVolumeStrategy &strategy)
{
    Introduction intro;
    intro.drive.assign(Drives(field_text(strategy.drive_num).view()).view());
    intro.pool.assign(pool_of_label(field_text(strategy.requested_label).view()));
    return intro;
}

// The first row of the query that has just been made; a type may be too long for its place, but never cut.
Found take_type(const Rows &rows, const char *column, MediaType *type, VolumeMessage *reason)
{
    VolumeMessage value;
    if (rows.failed()) {
        reason->assign(rows.message());
        return Found::unreadable;
    }
    reason->assign(kEmptyRecordList);
    if (rows.empty() || !rows.text(1, column, value))
        return Found::no;
    reason->format("the media type %s is too long", value.c_str());
    type->assign(value.view());
    return type->view() == value.view() ? Found::yes : Found::no;
}

Found type_for_drive(Introduction *intro, VolumeMessage *reason, TraceScope &scope)
{
    const int32_t number = drive_number(intro->drive.view());
    if (number < 0) {
        reason->format("%s is no drive number", intro->drive.c_str());
        return Found::no;
    }
    Rows rows("UnknownMed", scope.context());
    rows.select(
        "select media_typ from capacities where drive_typ = (select typ from hw_drives where drive_num=%d)",
        number);
    return take_type(rows, "media_typ", &intro->type, reason);
}

Found type_of_spare(const char *label, Introduction *intro, VolumeMessage *reason, TraceScope &scope)
{
    Rows rows("SpareMedia", scope.context());
    rows.select("select kasstyp from media where label='%s'", SqlText(label).c_str());
    return take_type(rows, "kasstyp", &intro->type, reason);
}

// The command goes through the command interpreter.
bool may_be_told(const Introduction &intro, VolumeMessage *reason)
{
    const bool words = is_plain_word(intro.drive.view()) && is_plain_word(intro.type.view()) &&
                       !is_null(intro.type.view()) && is_plain_word(intro.pool.view());
    if (!words)
        reason->format("tb_arch is not started with drive %s, media type %s and pool %s", intro.drive.c_str(),
                       intro.type.c_str(), intro.pool.c_str());
    return words;
}

// What is known of the type, and no when the command must not be made of it.
Found may_introduce(Found type, const Introduction &intro, VolumeMessage *reason)
{
    return type == Found::yes && !may_be_told(intro, reason) ? Found::no : type;
}

CommandLine arch_command(const Introduction &intro)
{
    CommandLine command;
    command.format("tb_arch intro -o nocheck -i over -d %s -T %s -m %s", intro.drive.c_str(),
                   intro.type.c_str(), intro.pool.c_str());
    return command;
}

// label receives the new label, or the reason if tb_arch left one.  The variable has one place for all drives, and may
// still hold a label that nobody read.  unreadable: tb_arch was not asked, so that nothing is known of the medium.
Found run_arch(const char *command, VolumeMessage *label, TraceScope &scope)
{
    SemaphoreGuard lock("getvol_arch", command, scope.context());
    if (!lock.held()) {
        label->assign(lock.message());
        return Found::unreadable;
    }
    GlobalValue answer;
    glbv("d", "gv_arch_sts", answer.data());
    if (read_global("gv_arch_sts", &answer)) {
        label->assign("gv_arch_sts cannot be deleted");
        return Found::unreadable;
    }
    const int32_t code = start_system(command);
    glbv("R", "gv_arch_sts", answer.data());
    scope.note("tb_arch returned %d, gv_arch_sts: %s", code, answer.c_str());
    if (*answer.c_str() == '?')
        label->assign(answer.view());
    if (code != 0 || answer.empty() || *answer.c_str() == '?')
        return Found::no;
    label->assign(VolumeLabel(answer.view()).view());
    return Found::yes;
}

Found use_unknown(GetVolumeStrategy *strategy, VolumeMessage *label, TraceScope &scope)
{
    Introduction intro = introduction_for(*strategy);
    VolumeMessage reason;
    const Found known = may_introduce(type_for_drive(&intro, &reason, scope), intro, &reason);
    if (known != Found::yes) {
        *label = reason;
        return known;
    }
    prot_message<Msg::kUnknownMedium>(intro.type.c_str(), intro.pool.c_str());
    const CommandLine command = arch_command(intro);
    scope.note("CATCH_STRANGE_MEDIA: execute %s", command.c_str());
    if (const Found used = run_arch(command.c_str(), label, scope); used != Found::yes)
        return used;
    use_other_label(strategy, label->c_str());
    return Found::yes;
}

// The medium lives on under its new label.  When that is the old one, the row is the new medium's, also when the label
// does not fit a request and was cut.
void forget_spare(const char *spare, const char *used, TraceScope &scope)
{
    DbMessage reason;
    if (VolumeLabel(spare).view() != used &&
        execute_sql(reason.data(), scope.context(), "delete from media where label='%s'",
                    SqlText(spare).c_str()))
        prot_message<Msg::kSpareTakenOver>(spare, used);
}

Found catch_spare(GetVolumeStrategy *strategy, VolumeMessage *label, TraceScope &scope)
{
    Introduction intro = introduction_for(*strategy);
    const VolumeMessage spare = *label;
    VolumeMessage reason;
    const Found known = may_introduce(type_of_spare(spare.c_str(), &intro, &reason, scope), intro, &reason);
    if (known != Found::yes) {
        *label = reason;
        return known;
    }
    prot_message<Msg::kSpareMedium>(intro.type.c_str(), intro.pool.c_str());
    const CommandLine command = arch_command(intro);
    scope.note("CATCH_SPARE_MEDIA: execute %s", command.c_str());
    if (const Found used = run_arch(command.c_str(), label, scope); used != Found::yes)
        return used;
    use_other_label(strategy, label->c_str());
    forget_spare(spare.c_str(), label->c_str(), scope);
    return Found::yes;
}

} // namespace

void use_other_label(GetVolumeStrategy *strategy, const char *used)
{
    report<Msg::kOtherMediumUsed>(field_text(strategy->drive_num).c_str(), used,
                                  field_text(strategy->requested_label).c_str());
    strategy->mode = 'd';
}

int32_t apply_rule(Found (*rule)(GetVolumeStrategy *, VolumeMessage *, TraceContext),
                   GetVolumeStrategy *strategy, char *label, TraceContext &trace)
{
    VolumeMessage text(text_or_empty(label));
    const bool accepted = strategy && label && rule(strategy, &text, trace) == Found::yes;
    copy_text(label, TAMBA_VOLUME_MSG_SIZE, text.view());
    return accepted ? 1 : 0;
}

Found use_unknown_media(GetVolumeStrategy *strategy, VolumeMessage *label, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_USE_UNKNOWN_MEDIA  drive:%s  requested label:%s",
                     field_text(strategy->drive_num).c_str(), field_text(strategy->requested_label).c_str());
    const Found used = use_unknown(strategy, label, scope);
    scope.leave(0, "--- i_USE_UNKNOWN_MEDIA  returns %d  msg:%s", used == Found::yes ? 1 : 0, label->c_str());
    return used;
}

Found catch_spare_media(GetVolumeStrategy *strategy, VolumeMessage *label, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain,
                     "+++ i_CATCH_SPARE_MEDIA  drive:%s  requested label:%s  loaded label:%s",
                     field_text(strategy->drive_num).c_str(), field_text(strategy->requested_label).c_str(),
                     label->c_str());
    const Found used = catch_spare(strategy, label, scope);
    scope.leave(0, "--- i_CATCH_SPARE_MEDIA  returns %d  msg:%s", used == Found::yes ? 1 : 0, label->c_str());
    return used;
}

int32_t i_USE_UNKNOWN_MEDIA(GetVolumeStrategy *strategy, char *label, TraceContext trace)
{
    return apply_rule(use_unknown_media, strategy, label, trace);
}

int32_t i_CATCH_SPARE_MEDIA(GetVolumeStrategy *strategy, char *label, TraceContext trace)
{
    return apply_rule(catch_spare_media, strategy, label, trace);
}
