// A site in a folder whose name has blanks and characters beyond ASCII, in Latin-1 as the configuration holds them.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <platform/files.h>
#include <platform/process.h>
#include <platform/registry.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

class OddPaths : public TestSite {
protected:
    void SetUp() override
    {
        TestSite::SetUp();
        for (const char *folder : {"ini", "lgc", "work/sem", "glbv", "info", "db", "bin"})
            fs::create_directories(path(std::string("old/") + folder));
        char program[1024];
        ASSERT_TRUE(pl_program_path(program, sizeof program));
        fs::copy_file(program, path("old/bin/tb_qm.exe"));
        root_ = path("Gro\337 und Kl\344in, alle Tage");
        write("old/ini/debug.ini", "TEST=1\n");
        write("old/ini/tb.ini", "[Pathes]\ngv_rw_ini=" + at("ini/") + "\ngv_rw_lgc=" + at("lgc/") +
                                    "\ngv_rw_work=" + at("work/") + "\n[SETUP]\nlang=en\n");
        // The library of the C++ compiler takes names on Windows for UTF-8; the C library's rename does not.
        ASSERT_EQ(std::rename(path("old").c_str(), root_.c_str()), 0);
        ASSERT_TRUE(pl_reg_write("Software\\Korvel\\tamba", "TB_INI", at("ini/tb.ini").c_str()));
        for (const std::string name : {"rw_glbv", "rw_info", "rw_db", "ro_bin"})
            set_global(("gv_" + name).c_str(), (at(name.substr(3)) + "/").c_str());
        set_global("gv_prot", at("prot.txt").c_str());
    }

    void TearDown() override
    {
        std::rename(root_.c_str(), path("old").c_str());
        TestSite::TearDown();
    }

    std::string at(const std::string &below) const { return root_ + "/" + below; }

    std::string text_at(const std::string &below) const
    {
        std::string text;
        EXPECT_TRUE(pl_read_file(at(below).c_str(), &text, 1 << 20)) << below;
        return text;
    }

private:
    std::string root_;
};

TEST_F(OddPaths, ASiteMayHaveBlanksAndUmlautsInItsFolder)
{
    TraceContext trace{};
    v_set_log_main("test.lgc", "TEST", &trace);
    ASSERT_EQ(trace.level, 1) << trace.path;
    WRITE_TRACE(&trace, "a line of the trace");
    EXPECT_TRUE(holds(text_at("lgc/test.lgc"), "a line of the trace"));

    PROT("I001-TEST    a line of the protocol");
    EXPECT_NE(text_at("prot.txt").find("a line of the protocol"), std::string::npos);

    char value[TAMBA_GLBV_SIZE] = "kept";
    EXPECT_STREQ(glbv("w", "variable", value), "kept");
    EXPECT_STREQ(glbv("R", "variable", value), "kept");
    EXPECT_STREQ(glbv("r", "variable", value), "???");

    SemaRecord semaphore{};
    std::snprintf(semaphore.name, sizeof semaphore.name, "drive");
    EXPECT_EQ(i_SEMA('+', &semaphore, trace), 1) << semaphore.message;
    EXPECT_EQ(i_SEMA('-', &semaphore, trace), 1);
    EXPECT_TRUE(pl_file_exists(at("work/sem/drive.sem").c_str()));

    EXPECT_EQ(info('D', 3, "a line of the board"), 1);
    EXPECT_NE(text_at("info/info.dat").find("a line of the board"), std::string::npos);

    char msg[TAMBA_DB_MSG_SIZE], label[64] = "";
    DB_REC_LIST rows{};
    for (const char *sql : {"create table media (label text)", "insert into media values ('DAILY00001')",
                            "select label from media"})
        ASSERT_EQ(iDB_ACCESS(sql, msg, &rows, trace), 1) << msg;
    EXPECT_EQ(iDB_SEL_GET(&rows, 1, msg, trace, "label", label, "x"), 1) << msg;
    EXPECT_STREQ(label, "DAILY00001");
    DB_SEL_LOOP_RECORDS(&rows, 'd');
    EXPECT_TRUE(pl_file_exists(at("db/tamba_db.sdb").c_str()));

    EXPECT_EQ(
        start_proc(("tb_qm --child odd_paths \"" + path("") + "\" \"" + at("from child.txt") + "\"").c_str()),
        17);
    EXPECT_EQ(text_at("from child.txt"), "here");
    EXPECT_EQ(i_cm_system(("echo words>\"" + at("from shell.txt") + "\"").c_str()), 0);
    EXPECT_EQ(text_at("from shell.txt").substr(0, 5), "words");
}

} // namespace

TAMBA_CHILD(odd_paths)
{
    FILE *const file = pl_fopen(arguments[0].c_str(), "w");
    if (!file)
        return 1;
    std::fputs("here", file);
    return pl_fclose(file) == 0 ? 17 : 2;
}
