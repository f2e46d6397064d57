// Sites without gzip get a stand-in: what it writes the real program reads, and the other way round.  Linux only: the
// other systems have nothing to compare it with.
#include "tests/backup/media_site.h"

namespace {

class GzipExchange : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        for (int line = 0; line < 20000; ++line)
            text += "file " + std::to_string(line * line) + "\n";
        ASSERT_TRUE(write_text(file, text));
    }
    // The site's programs are found behind the system's.
    void use_standin()
    {
        ASSERT_TRUE(install_gzip(site));
        pl_setenv("PATH", (site.path("bin/tamba:") + path).c_str());
    }
    void use_real_program() { pl_setenv("PATH", path.c_str()); }
    // The name of the original file, which only the real program stores.
    bool was_written_by_standin() const { return (read_text(file + ".gz").at(3) & 8) == 0; }
    void expect_compressed()
    {
        ASSERT_EQ(COMPRESS_FILE(file.c_str(), trace), 0);
        EXPECT_FALSE(std::filesystem::exists(file));
        EXPECT_LT(std::filesystem::file_size(file + ".gz"), text.size());
    }
    void expect_expanded()
    {
        ASSERT_EQ(i_UNCOMPRESS_FILE(file.c_str(), trace), 1);
        EXPECT_EQ(read_text(file), text);
        EXPECT_FALSE(std::filesystem::exists(file + ".gz"));
    }

    const std::string file = "/tmp/tamba-gzip-" + std::to_string(pl_process_id()) + " a'b\" >nul 2>>&1.lis";
    const std::string path = pl_getenv("PATH");
    std::string text;
    void TearDown() override
    {
        std::filesystem::remove(file);
        std::filesystem::remove(file + ".gz");
        MediaSite::TearDown();
    }
};

TEST_F(GzipExchange, TheRealProgramReadsWhatTheStandInWrote)
{
    use_standin();
    expect_compressed();
    EXPECT_TRUE(was_written_by_standin());
    use_real_program();
    expect_expanded();
}

TEST_F(GzipExchange, TheStandInReadsWhatTheRealProgramWroteAndNothingElse)
{
    expect_compressed();
    EXPECT_FALSE(was_written_by_standin());
    use_standin();
    expect_expanded();
    std::filesystem::rename(file, file + ".gz"); // no compressed file at all
    EXPECT_EQ(i_UNCOMPRESS_FILE(file.c_str(), trace), 0);
    EXPECT_EQ(read_text(file + ".gz"), text);
}

} // namespace
