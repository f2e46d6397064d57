// Whether another medium than the requested one may be used: the site's switches, and the rule for known media.
#include <backup/medium.h>
#include <backup/volume.h>
#include <db/rows.h>
#include <db/sql.h>
#include <tamba/time_stamp.h>

namespace {

constexpr size_t kDateSize = 10; // YYYY-MM-DD
using DateText = FixedText<kDateSize + 1>;

struct Switch {
    const char *key;
    char GetVolumeStrategy::*field;
};
constexpr Switch kSwitches[] = {
    {"media_accept_empty", &GetVolumeStrategy::accept_empty},
    {"media_accept_spare", &GetVolumeStrategy::accept_spare},
    {"media_accept_eol", &GetVolumeStrategy::accept_eol},
};

// A doubled key is nobody's decision and changes nothing, like a missing one and a catalogue that cannot be read.
void read_switch(const Switch &site_switch, GetVolumeStrategy *strategy, DbMessage *reason, TraceScope &scope)
{
    Rows rows("FillStrat", scope.context());
    FixedText<16> value;
    if (!rows.select("select value from defaults where key='%s'", site_switch.key))
        reason->assign(rows.message());
    else if (rows.count() == 1 && rows.text(1, "value", value))
        strategy->*site_switch.field = *value.c_str();
}

// The requested label decides what its number looks like: five digits are answered by five digits.
bool from_same_pool(std::string_view requested, std::string_view loaded)
{
    return requested.size() == loaded.size() && requested.size() > kLabelNumberSize &&
           pool_of_label(requested) == pool_of_label(loaded) &&
           (!split_label(requested).is_label || split_label(loaded).is_label);
}

struct MediumRow {
    FixedText<8> sperrkz, init_flag, eom_state;
    DateText eol;
};

Found read_medium(const char *label, MediumRow *medium, VolumeMessage *reason, TraceScope &scope)
{
    Rows rows("PoolAndEol", scope.context());
    if (!rows.select("select sperrkz,init_flag,eol,eom_state from media where label='%s'",
                     SqlText(label).c_str())) {
        reason->assign(rows.message());
        return Found::unreadable;
    }
    reason->assign(kEmptyRecordList);
    const bool read = !rows.empty() && rows.text(1, "sperrkz", medium->sperrkz) &&
                      rows.text(1, "init_flag", medium->init_flag) && rows.text(1, "eol", medium->eol) &&
                      rows.text(1, "eom_state", medium->eom_state);
    return read ? Found::yes : Found::no;
}

Found read_retention(const char *pool, FixedText<16> *eol, VolumeMessage *reason, TraceScope &scope)
{
    scope.note("Check special case eol = -1 for pool %s", pool);
    Rows rows("PoolEol", scope.context());
    if (!rows.select("select eol from media_pools where name='%s'", SqlText(pool).c_str())) {
        reason->assign(rows.message());
        return Found::unreadable;
    }
    if (!rows.empty())
        rows.text(1, "eol", *eol);
    scope.note("eol for media pool: %s", eol->c_str());
    return rows.empty() ? Found::no : Found::yes;
}

DateText today()
{
    char stamp[TAMBA_TIME_SIZE] = ".";
    return DateText(time_get(stamp));
}

// Texts such as "" and "0" sort before every date as well, and would free the medium.
bool is_date(std::string_view text)
{
    if (text.size() != kDateSize)
        return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (i == 4 || i == 7 ? text[i] != '-' : !is_digit(text[i]))
            return false;
    return true;
}

// A flag as a trace shows it.
char letter_of(const FixedText<8> &flag)
{
    return flag.empty() ? ' ' : *flag.c_str();
}

// reason stays unless the catalogue could not be read.
Found may_be_overwritten(const MediumRow &medium, const char *pool, VolumeMessage *reason, TraceScope &scope)
{
    const DateText now = today();
    scope.note("INFO: eom_state: %c", letter_of(medium.eom_state));
    scope.note("Decision criteria: protect %c, init_flag %c, eol %s <?< today %s", letter_of(medium.sperrkz),
               letter_of(medium.init_flag), medium.eol.c_str(), now.c_str());
    FixedText<16> retention;
    const Found known = read_retention(pool, &retention, reason, scope);
    if (medium.sperrkz.view() != "+" || medium.init_flag.view() == "y")
        return Found::no;
    if (is_date(medium.eol.view()) && now.view() > medium.eol.view())
        return Found::yes;
    if (known == Found::unreadable)
        return known;
    return to_int32(retention.c_str()) == -1 ? Found::yes : Found::no;
}

// reason receives why the medium is not accepted.
Found check_medium(std::string_view requested, const char *loaded, VolumeMessage *reason, TraceScope &scope)
{
    if (!from_same_pool(requested, loaded)) {
        reason->assign("media not from same pool");
        return Found::no;
    }
    MediumRow medium;
    const Found known = read_medium(loaded, &medium, reason, scope);
    if (known != Found::yes)
        return known;
    const LabelText pool(pool_of_label(loaded));
    const Found accepted = may_be_overwritten(medium, pool.c_str(), reason, scope);
    if (accepted == Found::no)
        reason->format("don't accept %s", loaded);
    return accepted;
}

Found check_pool_and_eol(GetVolumeStrategy *strategy, VolumeMessage *label, TraceContext trace)
{
    const auto requested = field_text(strategy->requested_label);
    TraceScope scope(trace, kTraceMain, "+++ i_CHECK_POOL_AND_EOL  requested label:%s  loaded label:%s",
                     requested.c_str(), label->c_str());
    VolumeMessage reason;
    const Found accepted = check_medium(requested.view(), label->c_str(), &reason, scope);
    if (accepted == Found::yes) {
        scope.note("Label changed: Use label [%s] instead of label [%s]", label->c_str(), requested.c_str());
        use_other_label(strategy, label->c_str());
    } else {
        *label = reason;
    }
    scope.leave(0, "--- i_CHECK_POOL_AND_EOL  returns %d  msg: %s", accepted == Found::yes ? 1 : 0,
                label->c_str());
    return accepted;
}

Found refuse(VolumeMessage *label, const char *reason)
{
    label->assign(reason);
    return Found::no;
}

Found apply_rules(GetVolumeStrategy *strategy, int32_t state, VolumeMessage *label, TraceContext &trace)
{
    if (state == kUnreadable)
        return strategy->accept_empty == 'y' ? use_unknown_media(strategy, label, trace)
                                             : refuse(label, "accepting of strange media not allowed");
    if (label->view().find("SPARE") != std::string_view::npos)
        return strategy->accept_spare == 'y' ? catch_spare_media(strategy, label, trace)
                                             : refuse(label, "accepting of SPARE media not allowed");
    return strategy->accept_eol == 'y' ? check_pool_and_eol(strategy, label, trace)
                                       : refuse(label, "accepting of known media not allowed");
}

} // namespace

bool fill_strategy(GetVolumeStrategy *strategy, DbMessage *reason, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ i_FILL_STRATEGY");
    if (strategy)
        for (const Switch &site_switch : kSwitches)
            read_switch(site_switch, strategy, reason, scope);
    return scope.leave(strategy ? 1 : 0, "--- i_FILL_STRATEGY  returns %d", strategy ? 1 : 0) == 1;
}

Found try_change_label(GetVolumeStrategy *strategy, int32_t label_state, VolumeMessage *label,
                       TraceContext trace)
{
    const VolumeMessage loaded = *label;
    TraceScope scope(trace, kTraceMain, "+++ i_TRY_CHANGE_LABEL  status: %d, loaded label: %s", label_state,
                     loaded.c_str());
    const Found accepted = apply_rules(strategy, label_state, label, scope.context());
    scope.leave(0, "--- i_TRY_CHANGE_LABEL  returns %d  msg:%s  label:%s", accepted == Found::yes ? 1 : 0,
                label->c_str(), loaded.c_str());
    return accepted;
}

int32_t i_FILL_STRATEGY(GetVolumeStrategy *strategy, TraceContext trace)
{
    DbMessage reason; // what could not be read stays as it is
    return fill_strategy(strategy, &reason, trace) ? 1 : 0;
}

int32_t i_TRY_CHANGE_LABEL(GetVolumeStrategy *strategy, int32_t label_state, char *label, TraceContext trace)
{
    VolumeMessage text(text_or_empty(label));
    const bool accepted =
        strategy && label && try_change_label(strategy, label_state, &text, trace) == Found::yes;
    copy_text(label, TAMBA_VOLUME_MSG_SIZE, text.view());
    return accepted ? 1 : 0;
}

int32_t i_CHECK_POOL_AND_EOL(GetVolumeStrategy *strategy, char *label, TraceContext trace)
{
    return apply_rule(check_pool_and_eol, strategy, label, trace);
}
