// The choice of the oldest medium that may be overwritten.  A wrong choice destroys a backup: whatever is unknown
// about a medium protects it.
#include <backup/medium.h>
#include <db/rows.h>
#include <db/sql.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <process/semaphore_guard.h>
#include <tamba/eol.h>
#include <tamba/time_stamp.h>

#include <string>

namespace {

constexpr char kTestRetention[] = "-1"; // of a pool whose media are used in turn
constexpr size_t kSkippedSize = 256;

struct Search {
    int32_t drive = 0;
    FixedText<16> drive_text; // the same number in the form in which the catalogue holds it
    std::string pool;
    bool reserves = false;
    bool ignores_eol = false;
    FixedText<32> list_name;
    FixedText<32> loader; // "" when the drive has none
    int32_t today = 0;    // YYYYMMDD
    FixedText<kSkippedSize> skipped;
    MediaMessage result; // label or reason
};

enum class Verdict { choose, skip, stop, fail };

bool set_error(Search *search, const char *prefix, const char *reason)
{
    search->result.format("%s %s", prefix, reason);
    return false;
}

// YYYYMMDD of a text that begins with YYYY-MM-DD; -1 for any other.
int32_t day_number(std::string_view date)
{
    constexpr std::string_view form = "9999-99-99";
    if (date.size() < form.size())
        return -1;
    int32_t number = 0;
    for (size_t i = 0; i < form.size(); ++i) {
        if (form[i] == '9' ? !is_digit(date[i]) : date[i] != form[i])
            return -1;
        if (form[i] == '9')
            number = number * 10 + (date[i] - '0');
    }
    return number;
}

void take_today(Search *search, TraceScope &scope)
{
    constexpr size_t date_length = 8;
    scope.note("get current date as long int");
    FixedText<TAMBA_TIME_SIZE> now("I");
    time_get(now.data());
    const FixedText<date_length + 1> today(now.view());
    scope.note("actual day: %s", today.c_str());
    search->today = to_int32(today.c_str());
}

// ---- pool and drive --------------------------------------------------------------------------------------------

bool take_retention(Search *search, TraceScope &scope)
{
    Rows rows(search->list_name.c_str(), scope.context());
    if (!rows.select(
            "select eol from media_pools where name='%s' and drive_grp=(select grp_id from hw_drives "
            "where drive_num=%d)",
            SqlText(search->pool.c_str()).c_str(), search->drive))
        return set_error(search, "? GET_OLDEST :", rows.message());
    if (rows.empty()) {
        search->result.format("GET_OLDEST: mediapool %s not usable with drive %d", search->pool.c_str(),
                              search->drive);
        return false;
    }
    FixedText<32> retention;
    rows.text(1, "eol", retention);
    search->ignores_eol = retention.view() == kTestRetention; // as a text: "-1 day" is no test pool
    const int32_t days = to_int32(retention.c_str());
    if (search->ignores_eol) {
        scope.note("ATTENTION: mediapool for test purposes bcs. eol = %d", days);
        scope.note("Media will be overwritten round robin without any eol check!");
    } else {
        scope.note("EOL for given mediapool: %d", days);
    }
    return true;
}

bool take_loader(Search *search, TraceScope &scope)
{
    Rows rows(search->list_name.c_str(), scope.context());
    if (!rows.select("select loader_num from hw_drives where drive_num='%s'", search->drive_text.c_str())) {
        const std::string statement = format_string(
            "GET_OLDEST: select loader_num from hw_drives where drive_num='%s'", search->drive_text.c_str());
        trap_db_err(statement.c_str(), rows.message(), scope.context(), 0);
        return set_error(search, "GET_OLDEST:", rows.message());
    }
    if (rows.empty())
        return true;
    rows.text(1, "loader_num", search->loader);
    if (is_no_loader(search->loader.view()))
        search->loader.assign("");
    if (search->loader.empty() || is_number_list(search->loader.view())) // stands unquoted in a statement
        return true;
    search->result.format("GET_OLDEST: loader %s of drive %d is no number", search->loader.c_str(),
                          search->drive);
    return false;
}

// ---- candidates ------------------------------------------------------------------------------------------------

// All of them, or as many as the statement's last words allow.
bool select_candidates(Rows *rows, Search *search, const std::string &last_words)
{
    const SqlText pool(search->pool.c_str());
    const bool done =
        search->loader.empty()
            ? rows->select("select label, eol, drive_num from media where pool='%s' and ( sperrkz='+' and "
                           "init_flag<>'y' ) order by eol,id%s",
                           pool.c_str(), last_words.c_str())
            : rows->select("select label, eol, drive_num from media where pool='%s' and ( sperrkz='+' and "
                           "init_flag<>'y' ) and lader=%s  order by eol,id%s",
                           pool.c_str(), search->loader.c_str(), last_words.c_str());
    return done || set_error(search, "GET_OLDEST:", rows->message());
}

// ---- one candidate ---------------------------------------------------------------------------------------------

struct Candidate {
    MediaMessage label;
    FixedText<64> eol;
    FixedText<32> drive;
};

// Whether the medium's end of life has passed.  One that cannot be read protects this medium only: the order of
// the rows does not tell where its date lies.
Verdict judge_eol(const Search &search, const Candidate &candidate, TraceScope &scope)
{
    if (search.ignores_eol || candidate.eol.view() == "NULL")
        return Verdict::choose;
    DbMessage value(candidate.eol.view());
    iDB_ACCESS("DATE_TAMBA", value.data(), nullptr, scope.context());
    const int32_t day = day_number(value.view());
    if (day < 0) {
        scope.note("volume %s has an EOL that cannot be read: %s", candidate.label.c_str(),
                   candidate.eol.c_str());
        return Verdict::skip;
    }
    if (search.today > day)
        return Verdict::choose;
    scope.note("found volume %s has EOL restriction", candidate.label.c_str());
    return Verdict::stop;
}

void skip_loaded(Search *search, const Candidate &candidate)
{
    message_to<Msg::kMediaLoadedElsewhere>(search->result.data(), MediaMessage::capacity(),
                                           search->pool.c_str());
    FixedText<kSkippedSize + 1> entry; // one more than the list holds: what was cut does not fit
    entry.format("%s%s -> %s", search->skipped.empty() ? "" : " ", candidate.label.c_str(),
                 candidate.drive.c_str());
    if (search->skipped.length() + entry.length() < kSkippedSize)
        search->skipped.append(entry.view());
}

// The catalogue remembers the drive that saw a medium last; only the loader knows where it is now.
Verdict judge_place(Search *search, const Candidate &candidate, TraceScope &scope)
{
    if (is_null(candidate.drive.view()) || candidate.drive.view() == search->drive_text.view())
        return Verdict::choose;
    scope.note("check if requested media is loaded in another drive");
    Rows rows(search->list_name.c_str(), scope.context());
    if (!rows.select("select number from loader_contents where object='drive' and lbl='%s' and number!=( "
                     "select loader_drive from hw_drives where drive_num='%s' )",
                     SqlText(candidate.label.c_str()).c_str(), search->drive_text.c_str())) {
        set_error(search, "? GET_OLDEST :", rows.message());
        return Verdict::fail;
    }
    if (rows.empty())
        return Verdict::choose;
    FixedText<32> number;
    rows.text(1, "number", number);
    scope.note("volume %s is yet loaded in another drive %s", candidate.label.c_str(), number.c_str());
    skip_loaded(search, candidate);
    return Verdict::skip;
}

Verdict judge(Search *search, const Rows &rows, int32_t row, Candidate *candidate, TraceScope &scope)
{
    const bool whole = rows.text(row, "label", candidate->label) && rows.text(row, "eol", candidate->eol) &&
                       rows.text(row, "drive_num", candidate->drive);
    scope.note("Label=%s  EOL=%s  Drive_num=%s", candidate->label.c_str(), candidate->eol.c_str(),
               candidate->drive.c_str());
    if (!whole || candidate->label.empty())
        return Verdict::skip;
    const Verdict verdict = judge_eol(*search, *candidate, scope);
    return verdict == Verdict::choose ? judge_place(search, *candidate, scope) : verdict;
}

// ---- the choice ------------------------------------------------------------------------------------------------

Verdict walk(Search *search, const Rows &rows, TraceScope &scope)
{
    search->skipped.assign("");
    message_to<Msg::kMediaNotExpired>(search->result.data(), MediaMessage::capacity(), search->pool.c_str());
    scope.note("Looping all %s rows found in DB:media ; szDn=%s", rows.message(), search->drive_text.c_str());
    for (int32_t row = 1; row <= rows.count(); ++row) {
        Candidate candidate;
        const Verdict verdict = judge(search, rows, row, &candidate, scope);
        if (verdict == Verdict::choose)
            search->result = candidate.label;
        if (verdict != Verdict::skip)
            return verdict;
    }
    return Verdict::skip;
}

// The first candidates are mostly enough, whereas a pool may hold a hundred thousand.  When all of the first must be
// passed over, all there are are looked at, from the first on: in one query, because between two the order could
// change.
Verdict choose(Search *search, TraceScope &scope)
{
    constexpr int32_t kFirstLook = 64;
    const std::string limit = at_most(kFirstLook);
    Rows rows(search->list_name.c_str(), scope.context());
    if (!select_candidates(&rows, search, limit))
        return Verdict::fail;
    if (rows.empty()) {
        message_to<Msg::kNoMediaOfPool>(search->result.data(), MediaMessage::capacity(),
                                        search->pool.c_str());
        return Verdict::fail;
    }
    const Verdict verdict = walk(search, rows, scope);
    if (verdict != Verdict::skip || limit.empty() || rows.count() < kFirstLook)
        return verdict;
    return select_candidates(&rows, search, "") ? walk(search, rows, scope) : Verdict::fail;
}

void reserve(const Search &search, TraceScope &scope)
{
    const char *const label = search.result.c_str();
    scope.note("lock label %s in archive", label);
    DbMessage reason;
    if (!execute_sql(reason.data(), scope.context(), "update media set init_flag='y' where label='%s'",
                     SqlText(label, SqlText::update).c_str()))
        trap_db_err("GET_OLDEST: update media set init_flag", reason.c_str(), scope.context(), 0);
}

void report_skipped(const Search &search, TraceScope &scope)
{
    scope.note("error: all eol free media are loaded in other drives ( %s)", search.skipped.c_str());
    FixedText<256> format(message_format(Msg::kMediaLoadedElsewhere));
    format.append(" ( %s)");
    PROT(format.c_str(), search.pool.c_str(), search.skipped.c_str());
}

bool run(Search *search, TraceScope &scope)
{
    FixedText<TAMBA_SEMA_REQUESTER_SIZE> requester;
    requester.format("ARCH_GET_OLDEST %s", search->drive_text.c_str());
    SemaphoreGuard lock("get_oldest", requester.c_str(), scope.context());
    if (!lock.held()) {
        search->result.assign(lock.message());
        return false;
    }
    take_today(search, scope);
    if (!take_retention(search, scope) || !take_loader(search, scope))
        return false;
    const Verdict verdict = choose(search, scope);
    if (verdict == Verdict::choose) {
        scope.note("found oldest label %s", search->result.c_str());
        if (search->reserves)
            reserve(*search, scope);
        return true;
    }
    if (verdict == Verdict::skip && !search->skipped.empty())
        report_skipped(*search, scope);
    if (verdict == Verdict::stop || (verdict == Verdict::skip && search->skipped.empty())) {
        scope.note("error: all media with eol restriction");
        message_to<Msg::kMediaNotExpired>(search->result.data(), MediaMessage::capacity(),
                                          search->pool.c_str());
    }
    return false;
}

} // namespace

int32_t ARCH_GET_OLDEST(const char *drive_num, const char *pool, char *result, TraceContext trace)
{
    const std::string_view whole_pool = text_or_empty(pool);
    Search search;
    search.drive = to_int32(text_or_empty(drive_num));
    search.drive_text.format("%d", search.drive);
    search.reserves = whole_pool.find("/X") != std::string_view::npos;
    search.pool = search.reserves ? whole_pool.substr(0, whole_pool.find('/')) : whole_pool;
    search.list_name.format("oldest_%d", search.drive);
    TraceScope scope(trace, kTraceMain, "+++ ZDL ARCH_GET_OLDEST in %s   dn=%s  pool=%s", kLibraryVersion,
                     text_or_empty(drive_num), search.pool.c_str());
    const int32_t found = run(&search, scope) ? 1 : 0;
    copy_text(result, TAMBA_MEDIA_MSG_SIZE, search.result.view());
    return scope.leave(found, "--- ZDL ARCH_GET_OLDEST  returns %d %s: %s", found, search.pool.c_str(),
                       search.result.c_str());
}
