// Logs of the client agent: whatever stands in them, a failure is never taken for a success.
#include <fuzz/target.h>

#include <tamba/joblog.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr char kStamp[] = "2008-02-14 10:30:00: tbc-";

std::string line_of(const char *code_and_text)
{
    return "\n" + std::string(kStamp) + code_and_text + "\n";
}

bool holds(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

template <size_t Size> bool terminated(const char (&text)[Size])
{
    return std::memchr(text, '\0', Size) != nullptr;
}

// The state of a backup with this log.
char judge_backup(const std::string &log, const std::string &saveset)
{
    const std::string file = work_folder() + "fuzz.not";
    write_file(file, log);
    BackupLogResult result{};
    result.status[0] = saveset.empty() || saveset[0] != '0' ? '4' : '0';
    const int32_t good =
        i_ANALYSE_BACKUP_LOG(&result, saveset.c_str(), file.c_str(), "/data", TraceContext{});
    std::remove((work_folder() + "fuzz.sgm").c_str());
    const char state = result.state[0];
    promise(terminated(result.status) && terminated(result.message) && terminated(result.state) &&
                terminated(result.ndmp_info),
            "every text has its end");
    promise(state != '\0' && result.state[1] == '\0' && holds("0123XELR", result.state), "a state is known");
    promise(good == (state <= '2' ? 1 : 0), "only a good end is a good result");
    const std::string front = std::string(result.status) + "/" + saveset;
    promise(front.substr(0, sizeof result.message - 1).starts_with(std::string_view(result.message)) ||
                std::string_view(result.message).starts_with(front),
            "a message begins with the status and the saveset");
    return state;
}

// The status of a restore with this protocol.
char judge_restore(const std::string &log, bool overwrite)
{
    const std::string file = work_folder() + "fuzz.prot";
    write_file(file, log);
    Buffer status(TAMBA_JOBLOG_STATUS_SIZE), message(overwrite ? "" : "not_overwrite", TAMBA_JOBLOG_MSG_SIZE);
    const int32_t judged =
        i_ANALYSE_RESTORE_LOG(file.c_str(), "AF1", "10:30", status.data(), message.data(), TraceContext{});
    promise(status.terminated() && message.terminated(), "every text has its end");
    promise(std::strlen(status.data()) == 1 && holds("01Xc", status.data()), "a status is known");
    promise(judged == (*status.data() == 'c' ? 0 : 1),
            "a protocol that was read is judged, but for an abort");
    promise(*message.data() != '\0', "there is a message");
    return *status.data();
}

} // namespace

// First line the saveset, then the log.
FUZZ_TARGET(job_log)
{
    auto [saveset, log] = halves(input);
    saveset = saveset.c_str();
    const char state = judge_backup(log, saveset);
    promise(state > '2' || holds(log, "-3007:") || holds(log, "-2032:"), "no success that nothing speaks of");
    const std::string failure = line_of("1023: Error:   Disk full"), end = line_of("3007: Info:    ok");
    promise(judge_backup(log + failure, saveset) > '2', "a failure at the end is one");
    promise(judge_backup(log + failure + end, saveset) > '2', "a good end does not hide a failure");

    const bool overwrite = saveset.empty();
    const char status = judge_restore(log, overwrite);
    promise(status != '0' || holds(log, "-3007") || holds(log, "-2032"), "no success that nothing speaks of");
    promise(status != '0' || holds(log, "Items processed"), "no success without a count");
    const std::string run = log + line_of("3036: Welcome"),
                      items = line_of("3052: Info:     Items processed correctly: "
                                      "[5]. Not processed or incorrectly "
                                      "processed Items: [0].");
    promise(judge_restore(run + items + end, overwrite) == '0', "former runs do not count");
    promise(judge_restore(run + items + failure + end, overwrite) == 'X', "the first failure is one");
    promise(judge_restore(run + end, overwrite) == 'X', "a restore of nothing is none");
}
