// A backup got a medium that it did not ask for: whether it may be initialised.
#include <backup/volume.h>

namespace {

Found forbid(VolumeMessage *reason)
{
    reason->assign("accepting of strange media not allowed");
    return Found::no;
}

} // namespace

Found i_MAY_INIT_MEDIUM(const char *required, const char *drive_num, VolumeMessage *loaded,
                        TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_MAY_INIT_MEDIUM  requested label:%s  loaded label:%s",
                     required, loaded->c_str());
    VolumeRequest rule(required, drive_num, 'i');
    const VolumeMessage found = *loaded;
    DbMessage reason;
    fill_strategy(&rule.strategy, &reason, scope.context());
    Found allowed = Found::unreadable;
    if (!reason.empty())
        loaded->assign(reason.view());
    else if (found.view() != kUnknownTape && found.view() != kNoLabel)
        allowed = try_change_label(&rule.strategy, kOtherLabel, loaded, scope.context());
    else if (rule.strategy.accept_empty == 'y') // nothing is run here: the caller has the medium initialised
        allowed = Found::yes;
    else
        allowed = forbid(loaded);
    scope.leave(0, "--- i_MAY_INIT_MEDIUM returns %d  msg:%s", allowed == Found::yes ? 1 : 0,
                loaded->c_str());
    return allowed;
}
