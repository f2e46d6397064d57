// The second act: a job is queued, a client host answers, a command runs there.
#include <site/demo.h>

#include <platform/files.h>
#include <platform/process.h>
#include <site/daemon.h>

#include <cstdio>
#include <memory>

namespace {

constexpr const char *kHost = "127.0.0.1"; // a client of the catalogue that is reached by its control daemon

// The daemon of the client host, and the site's configuration pointing to it.
std::unique_ptr<ControlDaemon> start_daemon(const Site &site)
{
    auto daemon = std::make_unique<ControlDaemon>();
    set_ini_value(site, "CTRLD_Port", std::to_string(daemon->port()));
    const std::string path = site.path("bin/tamba") + pl_path_list_separator() + pl_getenv("PATH");
    pl_setenv("PATH", path.c_str()); // where the daemon finds the host's programs
    return daemon;
}

void job_is_queued(Stage &stage)
{
    stage.report.step("A job is submitted and shown",
                      "The queue manager tb_qm keeps the queue \"night\"; the job runs tb_notify at ten.");
    char msg[TAMBA_QUE_MSG_SIZE] = "";
    const Difference left =
        show_call(stage, "que_init, que_start, que_submit, que_sho_job(\"night\", \"name\", \"daily\")", [&] {
            const bool queued =
                que_init("night", "serial", stage.trace) == 1 && que_start("night", stage.trace) == 1 &&
                que_submit(stage.trace, "night", "22:00", "2026-02-14", "daily/full", "p1", "tb_notify", 'A',
                           "-s", "full backup", static_cast<char *>(nullptr)) == 1;
            return std::to_string(queued ? que_sho_job("night", "name", "daily", msg, stage.trace) : 0) +
                   "   " + msg;
        });
    const std::string job = msg;
    stage.report.check(job.find("STATUS=SUCCESS MSG=daily 22:00 2026-02-14 p1 ") == 0 &&
                           job.find("tb_notify.exe -s full backup") != std::string::npos,
                       "the queue shows the job, its time and its program");
    stage.report.check(left.calls.size() == 4 && left.protocol.empty(),
                       "tb_qm ran four times, nothing went wrong");
}

void job_is_missing(Stage &stage)
{
    stage.report.step("A job that is not there, a queue that is not there",
                      "The first is an answer, the second a failure.");
    char msg[TAMBA_QUE_MSG_SIZE] = "";
    const Difference left =
        show_call(stage, "que_sho_job(\"night\", \"position\", \"7\"), que_start(\"day\")", [&] {
            const int32_t shown = que_sho_job("night", "position", "7", msg, stage.trace);
            return std::to_string(shown + que_start("day", stage.trace)) + "   " + msg;
        });
    stage.report.check(msg == message_text<Msg::kNoJobAtPosition>("7"), "the message in the set language");
    stage.report.check(left.protocol.size() == 1 && any_contains(left.protocol, "E008-BASICS") &&
                           any_contains(left.protocol, "no queue day"),
                       "the protocol names the command and tb_qm's reason: E008-BASICS");
}

void client_is_alive(Stage &stage)
{
    stage.report.step("Is the client alive?", "Its agent tbc is run through the control daemon of the host.");
    char msg[TAMBA_CLIENT_MSG_SIZE] = "";
    const Difference left = show_call(stage, std::string("alive_test_tbc(\"") + kHost + "\")", [&] {
        return std::to_string(alive_test_tbc(kHost, msg, stage.trace)) + "   " + msg;
    });
    stage.report.check(std::string(msg).find("VERSION: tbc ") == 0, "it answers with its version");
    stage.report.check(left.calls == Lines{"tbc"}, "one program ran, tbc");
}

void variable_of_the_host(Stage &stage)
{
    stage.report.step(
        "A variable of another host",
        "tb_client writes, reads and deletes it there; the answer comes back in a result file.");
    char value[TAMBA_GLBV_SIZE] = "tape 7";
    Lines values;
    const std::string name = std::string(kHost) + ":last_tape";
    const Difference left = show_call(stage, "master_glbv w, r, d, r (\"" + name + "\")", [&] {
        for (const char *function : {"w", "r", "d", "r"})
            values.emplace_back(master_glbv(function, name.c_str(), value));
        return "1   " + values[1] + ", then " + values[3];
    });
    stage.report.check(values == Lines{"tape 7", "tape 7", "tape 7", "???"},
                       "it is there, and gone after the delete");
    stage.report.check(left.calls.size() == 4 &&
                           any_contains(left.calls, "tb_client -r -f GLBVread -n last_tape"),
                       "tb_client ran four times");
}

void command_on_the_host(Stage &stage)
{
    stage.report.step("A command on another host",
                      "Its output comes back into a file, its exit code decides.");
    const std::string file = stage.site.path("hello.txt");
    char cmd[TB_REMOTE_CMD_SIZE] = "echo hello from the client",
         failing[TB_REMOTE_CMD_SIZE] = "echo STATUS=ERROR MSG=no tape& exit 3";
    int32_t results[2] = {};
    const Difference left =
        show_call(stage, std::string("REMOTE_CMD(\"") + kHost + "|" + file + "\", \"" + cmd + "\")", [&] {
            results[0] = REMOTE_CMD((std::string(kHost) + "|" + file).c_str(), cmd, 1, stage.trace);
            return std::to_string(results[0]) + "   " + cmd;
        });
    stage.report.field("output", lines_of(read_text(file)));
    stage.report.check(results[0] == 1 && lines_of(read_text(file)) == Lines{"hello from the client"},
                       "the file holds what the command printed");
    results[1] = REMOTE_CMD((std::string(kHost) + "|" + file).c_str(), failing, 1, stage.trace);
    stage.report.field("failing", {failing}, Tone::bad);
    stage.report.check(results[1] == 0 && std::string(failing).find("STATUS=ERROR MSG=no tape") == 0,
                       "a command that fails leaves its own line as the reason");
    stage.report.check(any_contains(left.protocol, "I003-BASICS"),
                       "a traced command stands in the protocol: I003-BASICS");
}

void host_does_not_answer(Stage &stage)
{
    stage.report.step("The daemon is gone", "Seven attempts, then the operator is told.");
    char msg[TAMBA_CLIENT_MSG_SIZE] = "";
    const Difference left = show_call(stage, std::string("alive_test_tbc(\"") + kHost + "\")", [&] {
        return std::to_string(alive_test_tbc(kHost, msg, stage.trace)) + "   " + msg;
    });
    stage.report.check(msg == message_text<Msg::kHostNotReachable>(kHost), "E020-HOSTS in the set language");
    stage.report.check(any_contains(left.trace, "retry alive test (6/5)"), "after six retries");
    stage.report.check(any_contains(left.protocol, "E020-HOSTS"), "and in the protocol");
}

} // namespace

void host_steps(Stage &stage)
{
    stage.report.title("Jobs and hosts", "control daemon on loopback");
    job_is_queued(stage);
    job_is_missing(stage);
    auto daemon = start_daemon(stage.site);
    client_is_alive(stage);
    variable_of_the_host(stage);
    command_on_the_host(stage);
    daemon.reset();
    host_does_not_answer(stage);
}
