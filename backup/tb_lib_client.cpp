// Client hosts: the alive test, the shutdown test.
#include <tamba/client.h>

#include <foundation/glbv.h>
#include <foundation/line_search.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <process/remote_cmd.h>
#include <process/semaphore_guard.h>
#include <tamba/semaphore.h>
#include <tamba/time_stamp.h>

#include <atomic>

namespace {

using ClientMessage = FixedText<TAMBA_CLIENT_MSG_SIZE>;

constexpr int32_t kNotReached = 253; // the control client's status
constexpr int32_t kMostRetries = 5;

std::string capture_file(const char *node)
{
    char stamp[TAMBA_TIME_SIZE] = "I";
    static std::atomic<unsigned> tests = 0; // threads of one process share the semaphore
    return format_string("%salive_%s_%s_%d_%u.tmp", global_or("gv_rw_work", "").c_str(), node,
                         time_get(stamp), static_cast<int>(pl_process_id()), ++tests);
}

// Runs the agent once.  Its own exit code must not be taken for the call's success.
int32_t ask_agent(const char *node, const std::string &capture, const TraceContext &trace)
{
    char command[TB_REMOTE_CMD_SIZE] = "tbc"; // holds a message after a failure
    int32_t status = 0;
    if (remote_cmd_status(format_string("%s|%s", node, capture.c_str()).c_str(), command, 1, &status,
                          trace) == 1)
        return 1;
    return status == kNotReached ? kNotReached : 0;
}

int32_t ask_patiently(const char *node, const std::string &capture, TraceScope &scope)
{
    TraceContext hidden = scope.context();
    v_set_log_main(hidden.path, "TB_ALIVE", &hidden); // many hosts, few of them interesting
    int32_t result = ask_agent(node, capture, hidden);
    // Tested before it is increased: six retries, and the last line says 6 of 5.
    for (int32_t retries = 0; result == kNotReached && retries <= kMostRetries;) {
        ++retries;
        scope.note("WARNING: retry alive test (%d/5)", retries);
        result = ask_agent(node, capture, hidden);
    }
    return result;
}

// Says what was found, of a host that does not answer also in the protocol.
ClientMessage report_outcome(const char *node, int32_t result, const std::string &capture, TraceScope &scope)
{
    ClientMessage msg;
    FixedText<TAMBA_PATTERN_SIZE> line;
    if (result == 1) {
        msg.assign("Node reachable");
        const bool found = find_line(capture.c_str(), "VERSION:^", &line);
        const size_t version = line.view().find("VERSION:");
        if (found && version != std::string_view::npos)
            msg.assign(line.view().substr(version));
        else
            msg.assign("Node reachable: no tbc version found");
    } else if (find_line(capture.c_str(), "tbc-3000:^", &line)) {
        msg.format("Node reachable; got %s", line.c_str());
    } else {
        scope.note("Node %s not reachable", node);
        prot_message<Msg::kHostNotReachable>(node);
        message_to<Msg::kHostNotReachable>(msg.data(), msg.capacity(), node);
    }
    return msg;
}

} // namespace

int32_t alive_test_tbc(const char *node, char *msg, TraceContext trace)
{
    node = text_or_empty(node);
    TraceScope scope(trace, kTraceMain, "+++ ALIVE_TEST_TBC  node %s", node);
    const std::string semaphore = format_string("alive_%s", node);
    SemaphoreGuard lock(semaphore.c_str(), format_string("ALIVE_TEST_TBC %s", node).c_str(), scope.context());
    int32_t result = 0;
    ClientMessage message;
    if (lock.held()) {
        const std::string capture = capture_file(node);
        result = ask_patiently(node, capture, scope);
        message = report_outcome(node, result, capture, scope);
        pl_remove(capture.c_str());
    } else {
        message.format("semaphore %s cannot be taken: %s", semaphore.c_str(), lock.message());
        prot_message<Msg::kHostNotReachable>(node);
    }
    copy_text(msg, TAMBA_CLIENT_MSG_SIZE, message.view());
    lock.release();
    return scope.leave(result, "--- ALIVE_TEST_TBC returns %d, msg: '%s', node %s %s, return: %d", result,
                       message.c_str(), node, result == 1 ? "is alive" : "is not reachable", result);
}

int32_t i_CHECK_SHUTDOWN_IN_PROGRESS(const char *drive_group, char *msg, TraceContext trace)
{
    drive_group = text_or_empty(drive_group);
    TraceScope scope(trace, kTraceMain, "+++ CHECK_SHUTDOWN_IN_PROGRESS: for drive %s", drive_group);
    scope.detail("check if semaphore shutdown_%s is set", drive_group);
    SemaRecord record = {};
    format_text(record.name, sizeof record.name, "shutdown_%s", drive_group);
    if (i_SEMA('?', &record, scope.context()) != 1)
        return scope.leave(0, "--- CHECK_SHUTDOWN_IN_PROGRESS: no shutdown in progress");
    message_to<Msg::kShutdownRuns>(msg, TAMBA_CLIENT_MSG_SIZE, drive_group);
    return scope.leave(1, "--- CHECK_SHUTDOWN_IN_PROGRESS: shutdown is in progress !!!");
}
