// Files on clients, through the stand-in for their control daemon.
#include "tests/backup/media_site.h"

#include <platform/files.h>
#include <site/daemon.h>

namespace {

namespace fs = std::filesystem;

class ClientFiles : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        pl_setenv("PATH", (site.path("bin/tamba") + pl_path_list_separator() + pl_getenv("PATH")).c_str());
        set_ini("CTRLD_Server", "CTRLD_Port", std::to_string(daemon.port()));
        make_answ_file_name(answer);
        tag = "rc_" + std::to_string(pl_process_id());
    }
    bool protocol_holds(const std::string &text) const { return protocol().find(text) != std::string::npos; }

    ControlDaemon daemon;
    char answer[TAMBA_ANSW_PATH_SIZE];
    std::string tag;
    const std::string no_host = "nowhere";
};

TEST_F(ClientFiles, TheAgentsTransferIsConfirmedOrReported)
{
    char own[256];
    ASSERT_TRUE(pl_host_name(own, sizeof own));
    script("tbc", "answer", "Transfer complete\n");
    EXPECT_EQ(REMOTE_COPY('g', "localhost", "/data/x/file.txt", trace), 1);
    EXPECT_EQ(calls(site).back(), std::string("tbc -p -S ") + own + " file.txt") << "got here is put there";
    script("tbc", "answer", "a\nOperation successful\n");
    EXPECT_EQ(REMOTE_COPY('p', "localhost", "C:\\a/b.txt", trace), 1);
    EXPECT_EQ(calls(site).back(), std::string("tbc -g -S ") + own + " a/b.txt");
    EXPECT_FALSE(protocol_holds("-HOSTS"));
    EXPECT_TRUE(fs::exists(site.path("work/rsh_" + tag + ".tmp"))) << "the answer stays until the next call";
    script("tbc", "answer", "no such file\n");
    EXPECT_EQ(REMOTE_COPY('g', "localhost", "/data/x/file.txt", trace), 0)
        << "an older answer does not count";
    EXPECT_TRUE(protocol_holds("RemoteCopy g localhost /data/x/file.txt -> " + site.path("work/") +
                               ": error at tbc -p"));
    script("tbc", "answer", "exit 7\nTransfer complete\n");
    EXPECT_EQ(REMOTE_COPY('g', "localhost", "/x", trace), 0);
    EXPECT_TRUE(protocol_holds("E017-HOSTS"));
    EXPECT_EQ(REMOTE_COPY('p', no_host.c_str(), "/x", trace), 0);
    for (const char *name : {"/data/two words", "/data/$HOME", "/data/", "C:\\a;b"})
        EXPECT_EQ(REMOTE_COPY('g', "localhost", name, trace), 0) << name;
    EXPECT_TRUE(protocol_holds("file name \"two words\" cannot stand in a command"));
    const size_t started = calls(site).size();
    EXPECT_EQ(REMOTE_COPY('x', "localhost", "/x", trace), 0);
    EXPECT_TRUE(protocol_holds("RemoteCopy localhost:  invalid mode: x"));
    EXPECT_EQ(REMOTE_COPY_CLIENT('\0', "localhost", "/x", trace), 0);
    char unset[TAMBA_GLBV_SIZE];
    glbv("d", "gv_rw_work", unset);
    EXPECT_EQ(REMOTE_COPY('g', "localhost", "/x", trace), 0);
    EXPECT_EQ(REMOTE_COPY_CLIENT('g', "localhost", "/x", trace), 0);
    EXPECT_EQ(REMOTE_FILE_DELETE("localhost", "/x", trace), 0);
    EXPECT_EQ(calls(site).size(), started) << "no command was run";
}

TEST_F(ClientFiles, TheFileServiceCopiesBetweenEqualPaths)
{
    const std::string file = site.path("work/site/copied.txt");
    script("tb_client", "answer", "its text\n");
    EXPECT_EQ(REMOTE_COPY_CLIENT('g', "localhost", file.c_str(), trace), 1);
    EXPECT_EQ(lines_of(read_text(file)).front(), "its text");
    EXPECT_EQ(calls(site).back(), "tb_client -f usefile -n " + file + " -m r");
    EXPECT_EQ(REMOTE_COPY_CLIENT('p', "localhost", file.c_str(), trace), 1);
    EXPECT_EQ(calls(site).back(), "tb_client -f usefile -n " + file + " -m c -s -");
    EXPECT_FALSE(fs::exists(answer)) << "goes below trace level 3";
    trace.level = 3;
    EXPECT_EQ(REMOTE_COPY_CLIENT('p', "localhost", file.c_str(), trace), 1);
    EXPECT_TRUE(fs::exists(answer)) << "stays for who looks closely";
    script("tb_client", "answer", "exit 2\nfull\n");
    EXPECT_EQ(REMOTE_COPY_CLIENT('g', "localhost", file.c_str(), trace), 0);
    EXPECT_EQ(REMOTE_COPY_CLIENT('g', no_host.c_str(), file.c_str(), trace), 0);
    EXPECT_EQ(REMOTE_COPY_CLIENT('g', "local host", file.c_str(), trace), 0);
    EXPECT_NE(trace_text().find("Status= ERROR  Msg= TB_CLIENT returns: 2 "), std::string::npos);
}

TEST_F(ClientFiles, AFileIsDeletedWhenTheServiceSaysSo)
{
    const struct {
        const char *answer;
        int32_t result;
    } cases[] = {{"STATUS=SUCCESS MSG=deleted\n", 1},
                 {"STATUS=ERROR MSG=no such file\n", 0},
                 {"exit 3\nSTATUS=SUCCESS MSG=deleted\n", 1}, // its word decides
                 {"deleted\n", 0},
                 {"STATUS=SUCCESSFUL MSG=\n", 0},
                 {"\n", 0}};
    for (const auto &[text, result] : cases) {
        ASSERT_TRUE(write_text(answer, "STATUS=SUCCESS MSG=of an older call\n"));
        script("tb_client", "answer", text);
        EXPECT_EQ(REMOTE_FILE_DELETE("localhost", "/tmp/file", trace), result) << text;
        EXPECT_EQ(calls(site).back(), "tb_client -f usefile -n /tmp/file -m d");
        EXPECT_FALSE(fs::exists(answer));
    }
    ASSERT_TRUE(write_text(answer, "STATUS=SUCCESS MSG=of an older call\n"));
    EXPECT_EQ(REMOTE_FILE_DELETE(no_host.c_str(), "/tmp/file", trace), 0) << "nobody was asked";
    fs::create_directories(std::string(answer) + "/x");
    EXPECT_EQ(REMOTE_FILE_DELETE("localhost", "/tmp/file", trace), 0) << "there is no place for an answer";
}

TEST_F(ClientFiles, ADaemonThatBreaksOffHasCopiedNothing)
{
    ControlDaemon rude([](const DaemonCall &) {});
    set_ini("CTRLD_Server", "CTRLD_Port", std::to_string(rude.port()));
    EXPECT_EQ(REMOTE_COPY('g', "localhost", "/x", trace), 0);
    EXPECT_EQ(REMOTE_COPY_CLIENT('p', "localhost", site.path("work/x").c_str(), trace), 0);
    EXPECT_EQ(REMOTE_FILE_DELETE("localhost", "/x", trace), 0);
    EXPECT_FALSE(fs::exists(answer));
}

} // namespace
