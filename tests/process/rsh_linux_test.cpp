// Access mode R with the distribution's own rsh client and server.  Linux: only there a test can have a network and a
// home directory of its own, so that no port is opened and nobody is trusted on this machine.  TAMBA_RSH names the
// folder where scripts/rsh-tools has put the two.
#include "tests/backup/media_site.h"
#include "tests/support/child.h"

#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kNotHere = 77;
constexpr char kTrust[] = "/root/.rhosts";

// This process leaves the machine's network and files; null, or what the system does not let it do.
const char *move_out(const std::string &tools)
{
    if (unshare(CLONE_NEWNET | CLONE_NEWNS) != 0)
        return "no network and files of its own";
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/root", "tmpfs", 0, nullptr) != 0)
        return "no home directory of its own";
    if (mount((tools + "/etc/pam.d").c_str(), "/etc/pam.d", nullptr, MS_BIND, nullptr) != 0)
        return "no rules of its own for the server";
    ifreq loopback = {};
    std::snprintf(loopback.ifr_name, sizeof loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool up = ioctl(any, SIOCSIFFLAGS, &loopback) == 0;
    close(any);
    return up ? nullptr : "no loopback interface";
}

// What inetd does with the service "shell".
void serve(int listener, const std::string &program)
{
    for (int peer; (peer = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(peer)) {
        const pid_t server = fork();
        if (server == 0) {
            for (int stream = 0; stream < 3; ++stream)
                dup2(peer, stream);
            execl(program.c_str(), program.c_str(), static_cast<char *>(nullptr));
            _exit(127);
        }
        waitpid(server, nullptr, 0);
    }
}

int listen_as_shell()
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(514);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool good = bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    return good && listen(listener, 5) == 0 ? listener : -1;
}

// arguments: node with its files, the folder of client and server.
TAMBA_CHILD(real_rsh)
{
    const std::string &tools = arguments[1];
    const char *problem = move_out(tools);
    const int listener = problem ? -1 : listen_as_shell();
    if (!problem && listener < 0)
        problem = "port 514 cannot be taken";
    if (problem) {
        std::puts(problem);
        return kNotHere;
    }
    setenv("PATH", (tools + "/bin:/usr/bin:/bin").c_str(), 1);
    std::thread server(serve, listener, tools + "/usr/sbin/in.rshd");
    const auto run = [](const char *node, const char *command) {
        char cmd[TB_REMOTE_CMD_SIZE];
        std::snprintf(cmd, sizeof cmd, "%s", command);
        const int32_t result = REMOTE_CMD(node, cmd, 1, TraceContext{});
        std::printf("%d %s\n", static_cast<int>(result), cmd);
    };
    run("localhost|/dev/null", ("touch " + arguments[2]).c_str()); // nobody is trusted yet
    write_text(kTrust, "localhost root\n");
    chmod(kTrust, 0600);
    run(arguments[0].c_str(), "cat; echo as \\$USER; exit 3"); // the local shell takes one level of it
    shutdown(listener, SHUT_RDWR);
    server.join();
    close(listener);
    run("localhost|/dev/null", "nobody listens");
    return 0;
}

TEST_F(MediaSite, TheRealRshRunsCommandsWherePermitted)
{
    const char *const tools = std::getenv("TAMBA_RSH");
    if (!tools || !*tools)
        GTEST_SKIP() << "TAMBA_RSH names no folder with an rsh client and server";
    if (geteuid() != 0)
        GTEST_SKIP() << "rsh needs a reserved port: only root has one";
    sql("update clients set accessmode='R' where name='localhost'");
    const std::string in = site.path("work/in"), out = site.path("work/out"), err = site.path("work/err"),
                      refused = site.path("work/refused");
    write_text(in, "from here\n");
    Child child("real_rsh", {"localhost|" + out + "|" + err + "|" + in, tools, refused});
    const int code = child.wait();
    if (code == kNotHere)
        GTEST_SKIP() << "this machine does not let it: " << child.output();
    EXPECT_EQ(code, 0) << child.errors();
    EXPECT_FALSE(std::filesystem::exists(refused)) << "whatever rsh's own exit code says";
    const auto results = lines_of(child.output());
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results[1], "1 cat; echo as \\$USER; exit 3")
        << "the command's own exit code does not come back";
    EXPECT_EQ(results[2], "0 rsh ended with exit code 1");
    EXPECT_EQ(lines_of(read_text(out)), (Lines{"from here", "as root"})) << read_text(err);
    EXPECT_FALSE(std::filesystem::exists(kTrust)) << "the machine itself trusts nobody";
}

} // namespace
