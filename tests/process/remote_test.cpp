// Commands on other hosts, by every way, on the simulated site.
#include "tests/backup/media_site.h"
#include "tests/support/child.h"

#include <platform/fault.h>
#include <platform/files.h>
#include <platform/process.h>
#include <site/daemon.h>

#include <cstring>

namespace {

namespace fs = std::filesystem;

class Remote : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        const std::string bin = site.path("bin/tamba");
        pl_setenv("PATH", (bin + pl_path_list_separator() + pl_getenv("PATH")).c_str());
        out = site.path("work/out.txt");
        err = site.path("work/err.txt");
    }
    void use_daemon(const ControlDaemon &daemon)
    {
        set_ini("CTRLD_Server", "CTRLD_Port", std::to_string(daemon.port()));
    }
    // The result, then the command buffer.
    std::string run(const std::string &node, const std::string &command, int32_t sync = 1)
    {
        char cmd[TB_REMOTE_CMD_SIZE];
        std::snprintf(cmd, sizeof cmd, "%s", command.c_str());
        const int32_t result = REMOTE_CMD(node.c_str(), cmd, sync, trace);
        return std::to_string(result) + " " + cmd;
    }
    std::string output() const { return file_text(out); }
    void answer(const char *program, const std::string &text)
    {
        ASSERT_TRUE(write_text(script_path(site, program, "answer"), text));
    }
    std::string out, err;
};

TEST_F(Remote, TheOwnHostRunsTheCommandItself)
{
    char own[256];
    ASSERT_TRUE(pl_host_name(own, sizeof own));
    std::string host = own;
    EXPECT_EQ(run(host + "|" + out, "echo hello"), "1 echo hello");
    EXPECT_EQ(run(std::string(uppercase(host.data())) + "|" + out, "echo again"), "1 echo again");
    EXPECT_EQ(lines_of(output()).size(), 2u) << "output is appended";
    EXPECT_EQ(run(host + "/id", "echo first").substr(0, 1), "1");
    EXPECT_EQ(run(host + "/id", "echo second").substr(0, 1), "1");
    EXPECT_EQ(lines_of(read_text(site.path("work/rsh_id.tmp"))).size(), 1u) << "an old file is deleted";
    EXPECT_EQ(run(host + "|" + out, "exit 3"), "0 the command ended with exit code 3");
    write_text(site.path("work/in.txt"), "from a file\n");
    char self[1024] = "";
    pl_program_path(self, sizeof self);
    EXPECT_EQ(run(host + "|" + out + "|" + err + "|" + site.path("work/in.txt"),
                  std::string(self) + " --child copy_input .")
                  .substr(0, 1),
              "1");
    EXPECT_NE(output().find("from a file"), std::string::npos);
    char buffer[64];
    EXPECT_EQ(HAL_REDIR("i", "o", "e", buffer, sizeof buffer), 12);
    EXPECT_STREQ(buffer, "1>>o 2>>e <i");
    EXPECT_EQ(HAL_REDIR("", "o", "o", buffer, sizeof buffer), 10);
    EXPECT_STREQ(buffer, "1>>o 2>>&1");
    EXPECT_EQ(HAL_REDIR(nullptr, "STDOUT", nullptr, buffer, sizeof buffer), 0);
    EXPECT_EQ(HAL_REDIR("", std::string(70, 'o').c_str(), "e", buffer, sizeof buffer), -1);
    EXPECT_NE(protocol().find("HAL_REDIR string overflow: ooo"), std::string::npos);
}

TEST_F(Remote, TheDaemonsStatusDecides)
{
    ControlDaemon daemon;
    use_daemon(daemon);
    EXPECT_EQ(run("localhost|" + out, "tbc"), "1 tbc");
    EXPECT_NE(output().find("VERSION: tbc"), std::string::npos);
    EXPECT_EQ(run("127.0.0.1|" + out, "echo one connection", 5), "1 echo one connection");
    EXPECT_NE(trace_text().find("PortOpt=-s"), std::string::npos);
    EXPECT_EQ(run("localhost|" + out + "|" + err, "echo STATUS=ERROR MSG=x 1>&2 & exit 9").substr(0, 20),
              "0 STATUS=ERROR MSG=x");
    const std::string old = "STATUS=of yesterday\nERROR: of yesterday\nnot allowed\n";
    write_text(out, old);
    EXPECT_EQ(run("localhost|" + out, "exit 9").substr(0, 40), "0 couldn't find error-text in returnfile");
    EXPECT_EQ(run("localhost|" + out, "echo ERROR: today& exit 201"), "0 ERROR: today");
    sql("update clients set access_options='-x 1' where name='localhost'");
    const DaemonBehaviour refuse = [](const DaemonCall &call) {
        daemon_send(call.first, "Xno permit\n\311");
    };
    ControlDaemon strict(refuse);
    use_daemon(strict);
    write_text(out, old);
    EXPECT_EQ(run("localhost|" + out, "tbc"), "0 ERROR: CTRLD reply: no permit")
        << "not the reason of yesterday";
    EXPECT_NE(protocol().find("RemoteCmd localhost > error: ERROR: CTRLD reply: no permit"),
              std::string::npos);
    EXPECT_NE(trace_text().find("PortOpt=\n"), std::string::npos) << "unknown options are dropped";
}

TEST_F(Remote, TheControlClientMayBeAProgramOfItsOwn)
{
    char yes[TAMBA_GLBV_SIZE] = "y";
    glbv("w", "gv_ctrlc_old", yes);
    answer("tb_ctrlc", "through\n");
    EXPECT_EQ(run("127.0.0.1|" + out, "x", 7), "1 x");
    EXPECT_EQ(lines_of(output()), Lines{"through"});
    answer("tb_ctrlc", "exit 1\n10:00 CTRLD reply: no permit\n");
    EXPECT_EQ(run("localhost|" + out, "y"), "0 10:00 CTRLD reply: no permit");
    EXPECT_FALSE(fs::exists(out)) << "the error file is deleted";
    const Lines asked = calls(site);
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_NE(asked[0].find("-t 7 -l system -p 11301 -s 127.0.0.1 x"), std::string::npos) << asked[0];
    EXPECT_NE(asked[1].find("-l root -p 11301 localhost y"), std::string::npos) << asked[1];
    const std::string file(511, 'f');
    EXPECT_EQ(run("localhost|" + out + "|" + file + file + file + file, "x"), "0 CREATE_REDIRECTION failed");
    EXPECT_EQ(calls(site).size(), 2u) << "nothing is cut and then run";
}

TEST_F(Remote, TheCallersOwnOutputIsNoFile)
{
    expect_complaints = true;
    const fs::path before = fs::current_path();
    fs::current_path(site.path("work"));
    char yes[TAMBA_GLBV_SIZE] = "y";
    glbv("w", "gv_ctrlc_old", yes);
    answer("tb_ctrlc", "exit 1\nCTRLD reply: no permit\n");
    write_text("STDOUT", "CTRLD reply: of another day\nnot allowed\n");
    EXPECT_EQ(run("localhost|STDOUT", "x"), "0 couldn't find error-text in returnfile: STDOUT");
    EXPECT_EQ(run("desk|STDOUT", "echo by jrsh"), "1 echo by jrsh");
    EXPECT_EQ(run("desk|-|" + err, "echo by jrsh"), "1 echo by jrsh");
    EXPECT_EQ(read_text("STDOUT"), "CTRLD reply: of another day\nnot allowed\n") << "somebody's file stays";
    EXPECT_FALSE(fs::exists("-") || fs::exists(err));
    EXPECT_EQ(run("desk|", "echo by jrsh"), "1 echo by jrsh") << "no file at all is the same";
    EXPECT_EQ(run("desk||" + err, "echo by jrsh"), "1 echo by jrsh");
    EXPECT_TRUE(holds(read_text(err), "by jrsh")) << "an error file alone takes everything";
    char gone[TAMBA_GLBV_SIZE] = "";
    glbv("d", "gv_rw_work", gone);
    EXPECT_EQ(run("desk/id", "echo"), "0 the directory gv_rw_work is not known");
    fs::current_path(before);
}

TEST_F(Remote, ClientsAreReachedAsTheCatalogueSays)
{
    expect_complaints = true;
    EXPECT_EQ(run("desk|" + out, "echo by jrsh"), "1 echo by jrsh");
    EXPECT_NE(output().find("by jrsh"), std::string::npos);
    answer("jrsh", "this is not allowed here\n");
    EXPECT_EQ(run("desk|" + out, "x"), "0 Error: RemoteCmd desk: this is not allowed here Port 11101");
    char port[TAMBA_GLBV_SIZE] = "4711";
    glbv("w", "gv_port_jrshd_desk", port);
    answer("jrsh", "java.Exception\n");
    EXPECT_EQ(run("desk|" + out, "x"), "0 Error: RemoteCmd desk: java.Exception Port 4711");
    write_text(out, "");
    EXPECT_EQ(run("desk|" + out + "|" + err, "x"), "0 Error: RemoteCmd desk: java.Exception Port 4711")
        << "with two files a refusal is noticed, too";
    EXPECT_EQ(fs::file_size(out), fs::file_size(err)) << "copied byte by byte";
    answer("jrsh", "well\n");
    EXPECT_EQ(run("desk|" + out + "|" + err, "x"), "1 x") << "a refusal of yesterday is none";
    EXPECT_EQ(run("desk|" + out + "|" + site.path("no/such"), "x")[0], '0') << "no output, no success";
    answer("jrsh", "exit 1\n");
    EXPECT_EQ(run("desk|" + out, "x"), "0 jrsh ended with exit code 1");

    EXPECT_EQ(run("attic|" + out, "echo by rsh"), "1 echo by rsh");
    EXPECT_NE(output().find("by rsh"), std::string::npos);
    answer("rsh", "exit 1\n");
    EXPECT_EQ(run("attic|" + out, "x"), "0 rsh ended with exit code 1");
    answer("rsh", "");
    EXPECT_EQ(run("cellar|" + out, "x").substr(0, 22), "1 2000-01-01 00:00:00 ");
    EXPECT_NE(output().find("VERSION:"), std::string::npos);
    EXPECT_EQ(run("twin|" + out, "x"),
              "1 Error: REMOTE_CMD: Database didn't return unique result row for client twin! (2 rows)")
        << "the first row is used";
    EXPECT_EQ(run("nobody's|" + out, "x"), "0 host nobody's not yet configured");
    EXPECT_EQ(run("shed|" + out, "x"), "0 Error: invalid AccessMode: x");
    EXPECT_EQ(run("", "x").substr(0, 7), "0 host ");
    for (const char *text :
         {"Computer twin is defined multiple", "Computer nobody's is defined multiple",
          "Computer nobody's not yet configured", "RemoteCmd shed > invalid accessmode - x"})
        EXPECT_NE(protocol().find(text), std::string::npos) << text;
    bool as_root = false, as_vms_user = false;
    for (const std::string &call : calls(site)) {
        as_root = as_root || call.find("rsh twin -l root") == 0;
        as_vms_user = as_vms_user || call.find("rsh attic -l korvelnetbck") == 0;
    }
    EXPECT_TRUE(as_root && as_vms_user);
    site_sql(site, "drop table oper_systems");
    EXPECT_EQ(run("attic|" + out, "x"), "0 no such table: oper_systems");
    EXPECT_NE(protocol().find("RemoteCmd with unexpected result: no such table"), std::string::npos);
}

TEST_F(Remote, ACommandThatWouldBeCutOrCannotBeStartedIsRefusedWithItsReason)
{
    char own[256];
    ASSERT_TRUE(pl_host_name(own, sizeof own));
    const std::string node = std::string(own) + "|" + out;
    const std::string longest = "echo " + std::string(TB_REMOTE_CMD_SIZE - 6, 'c');
    EXPECT_EQ(run(node, longest), "1 " + longest);
    EXPECT_GE(output().size(), longest.size() - 4) << "all of it";
    fs::remove(out);
    for (const int32_t sync : {0, 1}) {
        char cmd[2 * TB_REMOTE_CMD_SIZE];
        std::snprintf(cmd, sizeof cmd, "%sc", longest.c_str());
        EXPECT_EQ(REMOTE_CMD(node.c_str(), cmd, sync, trace), 0);
        EXPECT_STREQ(cmd, "the command is longer than 1023 characters");
    }
    EXPECT_EQ(ASYNC_REMOTE_CMD(node.c_str(), (longest + "c").c_str(), trace), 0);
    EXPECT_NE(protocol().find("RemoteCmd " + std::string(own) + " > error: the command is longer"),
              std::string::npos);
    trace.level = 0;
    pl_fault_arm(1, PL_NO_MEMORY);
    const std::string refused = run(node, "echo x", 0);
    pl_fault_arm(0, PL_OK);
    EXPECT_EQ(refused.substr(0, 35), "0 the thread could not be started: ");
    EXPECT_FALSE(fs::exists(out)) << "nothing has run";
}

TEST_F(Remote, AsynchronousCommandsRunInThreadsSideBySide)
{
    ControlDaemon daemon;
    use_daemon(daemon);
    char cmd[TB_REMOTE_CMD_SIZE] = "echo done", own[256];
    ASSERT_TRUE(pl_host_name(own, sizeof own));
    const char *const nodes[] = {"localhost", own, "desk", own};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(REMOTE_CMD((std::string(nodes[i]) + "|" + out + std::to_string(i)).c_str(), cmd, 0, trace),
                  1);
    cmd[0] = '\0'; // the threads have copies
    EXPECT_TRUE(holds(trace_text(), "HANDLE => ThreadId: "));
    EXPECT_FALSE(holds(trace_text(), " => 0\n")) << "a thread has a number from its start on";
    int done = 0;
    for (int i = 0; i < 3000 && done < 4; ++i) {
        wait_msec(10);
        done = 0;
        for (int file = 0; file < 4; ++file)
            done += read_text(out + std::to_string(file)).starts_with("done") ? 1 : 0;
    }
    EXPECT_EQ(done, 4);
    for (int i = 0; i < 1000 && trace_depth() != 0; ++i)
        wait_msec(10);
}

TEST_F(Remote, VariablesOfOtherHostsAreReadWrittenAndDeleted)
{
    ControlDaemon daemon;
    use_daemon(daemon);
    char value[TAMBA_GLBV_SIZE] = "a text";
    // A client of that name, so that it is not taken for this host.
    EXPECT_STREQ(master_glbv("w", "127.0.0.1:var", value), "a text");
    EXPECT_STREQ(master_glbv("r", "127.0.0.1:var", value), "a text");
    EXPECT_STREQ(master_glbv("d", "127.0.0.1:var", value), "a text") << "deleting reads";
    EXPECT_STREQ(master_glbv("r", "127.0.0.1:var", value), "???");
    EXPECT_STREQ(master_glbv("x", "127.0.0.1:var", value), "?? invalid service x");
    for (const char *const text :
         {"a\"b", "a\nb", "a;b", "a|b", "$a", "`a`", "a b&", "a'b", "%a%", "a*", "a #b", "a\\"}) {
        std::snprintf(value, sizeof value, "%s", text);
        EXPECT_STREQ(master_glbv("w", "127.0.0.1:var", value), "?? GLBV: value not allowed") << text;
    }
    EXPECT_STREQ(master_glbv("r", "127.0.0.1:var;echo", value), "?? GLBV: name not allowed");
    EXPECT_STREQ(master_glbv("r", "127.0.0.1:var", value), "???") << "nothing was written";
    std::snprintf(value, sizeof value, "c:/a_b-c.d~1#,+=@ :x");
    EXPECT_STREQ(master_glbv("w", "127.0.0.1:var", value), "c:/a_b-c.d~1#,+=@ :x");
    answer("tb_client", "nothing that counts\n");
    EXPECT_STREQ(master_glbv("R", "127.0.0.1:var", value), "?? GLBV: READ_RSHFILE failed");
    EXPECT_STREQ(master_glbv("r", "nobody:var", value), "?? GLBV: RemoteCmd failed");
    char file[TAMBA_RSH_PATH_SIZE];
    EXPECT_FALSE(fs::exists(make_answ_file_name(file))) << "nothing is left";
}

} // namespace
