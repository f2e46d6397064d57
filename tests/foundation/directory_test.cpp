// Directories, texts in UTF-8, commands of a site.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <platform/directory.h>
#include <platform/process.h>

namespace {

namespace fs = std::filesystem;

using Directories = TestSite;

TAMBA_CHILD(say_without_end)
{
    std::printf("lost");
    return 3;
}

TEST_F(Directories, PlainFilesAreListedInOrder)
{
    fs::create_directory(path("dir"));
    for (const char *name : {"b", "a.txt", "B", "c d"})
        write(std::string("dir/") + name, "x");
    fs::create_directory(path("dir/folder"));
    set_global("gv_rw_dir", directory("dir").c_str());
    LLHead names;
    InitLL(&names);
    InsLastLLf(&names, 4, "old");
    ASSERT_EQ(i_GET_DIR("gv_rw_dir:", &names, context(1)), pl_names_ignore_case() ? 3 : 4);
    std::string all;
    for (void *name = FirstElmLL(&names); IsElmLL(name); name = NextElmLL(name))
        all += static_cast<const char *>(name) + std::string("|");
    EXPECT_EQ(all, pl_names_ignore_case() ? "old|a.txt|b|c d|" : "old|B|a.txt|b|c d|");
    for (const char *none : {"dir/none", "dir/b", ""})
        EXPECT_EQ(i_GET_DIR(*none ? path(none).c_str() : none, &names, context(1)), -1) << none;
    EXPECT_EQ(SizeLL(&names), pl_names_ignore_case() ? 4u : 5u) << "a failure adds nothing";
    EmptyLL(&names);
    int64_t bytes = -1;
    EXPECT_EQ(i_GET_FREE_SPACE_OF_DIR("gv_rw_dir:", &bytes, context(1)), 1);
    EXPECT_GT(bytes, 1 << 20);
    EXPECT_EQ(i_GET_FREE_SPACE_OF_DIR(path("dir/none").c_str(), &bytes, context(1)), 0);
    EXPECT_EQ(bytes, 0);
}

TEST_F(Directories, ATreeIsShownUpToItsDepth)
{
    fs::create_directories(path("tree/one/two/three"));
    write("tree/one/file", "x");
    std::error_code no_links;
    fs::create_directory_symlink(path("tree"), path("tree/one/up"), no_links);
    vShowTree(path("tree").c_str(), 2, context(1));
    const std::string shown = without_times(trace_text());
    EXPECT_NE(shown.find("one/"), std::string::npos) << shown;
    EXPECT_NE(shown.find("    file"), std::string::npos);
    EXPECT_NE(shown.find("    two/"), std::string::npos);
    EXPECT_EQ(shown.find("three"), std::string::npos);
    vShowTree(path("tree").c_str(), 0, context(1));
    const std::string whole = trace_text().substr(shown.size());
    EXPECT_NE(whole.find("three/"), std::string::npos);
    EXPECT_EQ(whole.find("up/"), std::string::npos) << "a link is not followed";
}

TEST_F(Directories, LatinTextsBecomeUtf8)
{
    char out[8];
    EXPECT_EQ(cm_convert2utf8("a\xE4\xDF", out, sizeof out), 5);
    EXPECT_STREQ(out, "a\xC3\xA4\xC3\x9F");
    EXPECT_EQ(cm_convert2utf8("a\xE4\xDF"
                              "b",
                              out, 5),
              6);
    EXPECT_STREQ(out, "a\xC3\xA4") << "whole characters only";
    EXPECT_EQ(cm_convert2utf8("\xFF", out, 1), 2);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(cm_convert2utf8(nullptr, nullptr, 0), 0);
}

TEST_F(Directories, ACommandOfTheSiteIsTracedLineByLine)
{
    EXPECT_EQ(i_EXECUTE_USER_COMMAND("echo to the trace&&echo an error 1>&2", context(1)), 0);
    EXPECT_NE(trace_text().find("to the trace"), std::string::npos);
    EXPECT_NE(trace_text().find("an error"), std::string::npos);
    EXPECT_EQ(i_EXECUTE_USER_COMMAND("exit 7", context(1)), 7);
    EXPECT_NE(i_EXECUTE_USER_COMMAND("no_such_program_here", context(1)), 0);
    char self[1024];
    ASSERT_TRUE(pl_program_path(self, sizeof self));
    EXPECT_EQ(i_EXECUTE_USER_COMMAND((std::string(self) + " --child say_without_end .").c_str(), context(1)),
              3);
    EXPECT_NE(trace_text().find("lost"), std::string::npos) << "a last line without an end counts";
    EXPECT_EQ(i_EXECUTE_USER_COMMAND(std::string(1 << 20, 'x').c_str(), TraceContext{}), -1);
}

} // namespace
