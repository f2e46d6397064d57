#include "tests/support/test_site.h"

#include <tamba/files.h>

#include <platform/error.h>
#include <platform/files.h>

namespace {

class FileSearch : public TestSite {
protected:
    // Both searches with "^": "first/last", "-" where nothing is found.
    std::string found(const std::string &pattern)
    {
        std::string both;
        for (int32_t (*const search)(const char *, char *) : {file_search, file_rev_search}) {
            char buffer[TAMBA_PATTERN_SIZE];
            std::snprintf(buffer, sizeof buffer, "%s^", pattern.c_str());
            const int32_t result = search("gv_rw_lgc:some.lgc", buffer);
            both += (both.empty() ? "" : "/") + std::string(result ? buffer : "-");
            EXPECT_TRUE(result == 1 || buffer == pattern + "^") << "a miss leaves the pattern alone";
        }
        return both;
    }
};

TEST_F(FileSearch, LinesAreFoundByTextsAndTheirCombination)
{
    const std::string p500(500, '.'), long_line = p500 + "needle" + p500, piece = p500 + "needle....";
    // clang-format off
    const struct { std::string text, pattern, found; } cases[] = {
        {"abc\n", "b", "abc/abc"}, {"1 x\n2 x\n3 x\n4\n", "x", "1 x/3 x"},
        {"WARNING 1\nERROR 2\n", "ERROR|OR|WARNING", "WARNING 1/ERROR 2"},
        {"ERROR\ntape\nERROR on tape\n", "ERROR|AND|tape", "ERROR on tape/ERROR on tape"},
        {"a|OR|b c\n", "a|OR|b|AND|c", "a|OR|b c/a|OR|b c"}, // "|AND|" joins, the rest is text
        {"xb|OR|c\nb|OR|c\n", "a|OR|b|OR|c", "xb|OR|c/b|OR|c"},
        {"x\ny\n", "|AND|y", "y/y"}, {"first\nlast\n", "", "first/last"}, {"Abc\n", "abc", "-/-"},
        {"", "", "-/-"}, {"ab\r\nabc\r\nab\n", "b\n", "ab/ab"}, // whatever a line end looks like
        {"ab\r\nb\r\n", "x|OR|\n", "ab/b"}, {"a\nb\n", "a\nb", "-/-"},
        {"no line end", "line", "no line en/no line en"}, // the last character goes, whatever it is
        {std::string("hid\0den\n", 8), "den", "-/-"}, {"\n\nx\n", "x", "x/x"},
        // in the first 511 characters, as far as they go
        {long_line + "\n", "needle", piece + "/" + piece},
        {p500 + "needl\nx", "needl", p500 + "needl/" + p500 + "needl"},
        {std::string(508, '.') + "needle\n", "needle", "-/-"}, // across the border of two pieces: in neither
    };
    // clang-format on
    for (const auto &c : cases) {
        write("lgc/some.lgc", c.text);
        EXPECT_EQ(found(c.pattern), c.found) << c.text.substr(0, 40);
    }
    char pattern[] = "x";
    EXPECT_EQ(file_search(path("missing").c_str(), pattern) + file_rev_search("gv_unknown:x", pattern), 0);
    EXPECT_EQ(file_search(nullptr, pattern), 0);
    EXPECT_STREQ(pattern, "x");
}

TEST_F(FileSearch, BlocksHaveNoBorders)
{
    // Hits at every distance from the border of a block, in lines of all lengths.
    for (const size_t length : {79u, 510u, 511u, 512u, 1500u}) {
        std::string text;
        while (text.size() < 600000)
            text += std::string(length, 'e') + "\r\n";
        for (const size_t place : {32700u, 32767u, 32768u, 32780u, 262144u}) {
            std::string marked = text;
            const size_t line = marked.rfind('\n', place) + 1;
            marked.replace(line, 6, "needle");
            write("lgc/some.lgc", marked);
            const std::string hit = "needle" + std::string(std::min<size_t>(length, 510) - 6, 'e');
            EXPECT_EQ(found("needle"), hit + "/" + hit) << length << " " << place;
        }
    }
}

TEST_F(FileSearch, StreamsAreReadUpToTheMatchingLine)
{
    write("text", "one\r\ntwo a\r\nthree a b\n" + std::string(600, 'x') + "y");
    // clang-format off
    const struct { const char *first, *second; char mode; std::string line; } cases[] = {
        {"a", "", ' ', "two a\n"},            {"a", "b", 'a', "three a b\n"}, {"q", "b", 'o', "three a b\n"},
        {"x", "", 's', std::string(511, 'x')}, {"xy", "", ' ', std::string(89, 'x') + "y"},
        {"q", "q", 'a', ""},
    };
    // clang-format on
    for (const auto &c : cases) {
        FILE *const stream = pl_fopen(path("text").c_str(), "rb");
        char line[512] = "";
        EXPECT_EQ(i_SEEK_STRING(stream, line, c.first, c.second, c.mode), c.line.empty() ? 0 : 1);
        EXPECT_TRUE(c.line.empty() || line == c.line) << line;
        EXPECT_EQ(i_SEEK_STRING(stream, nullptr, "", "", ' ') + i_SEEK_STRING(nullptr, line, "", "", ' '), 0);
        std::fclose(stream);
    }
}

TEST_F(FileSearch, FilesAreSortedByTheirBytes)
{
    write("in.txt", "b\nB\n\344\na\n");
    const int32_t result = sort_file(path("in.txt").c_str(), path("out.txt").c_str());
    if (result == 9009)
        GTEST_SKIP() << "this system has no sort program";
    EXPECT_EQ(result, 0);
    EXPECT_EQ(lines("out.txt").size(), 4u);
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(path("."));
    write("-r", "b\na\n");
    EXPECT_EQ(sort_file("-r", "out.txt"), 0) << "a name that looks like an option";
    EXPECT_EQ(lines("out.txt"), (std::vector<std::string>{"a", "b"}));
    for (const char *name : {"a b's & (c)%.txt", "odd;name, = ^!.txt"}) {
        write(name, "b\na\n");
        EXPECT_EQ(sort_file(path(name).c_str(), path("out.txt").c_str()), 0) << name;
        EXPECT_EQ(lines("out.txt").size(), 2u);
        EXPECT_EQ(sort_file(path("in.txt").c_str(), path(name).c_str()), 0) << name;
        EXPECT_EQ(lines(name).size(), 4u);
    }
    std::filesystem::current_path(here);
    EXPECT_NE(sort_file(path("missing").c_str(), path("out.txt").c_str()), 0);
    EXPECT_EQ(cm_chmod("x", 0777), 0);
    errno = 0;
    EXPECT_EQ(iCM_FCLOSE(nullptr), 0);
}

TEST_F(FileSearch, ErrorNumbersHaveReadableTexts)
{
    char text[300], cut[5];
    EXPECT_EQ(ErrorCodeText(2, sizeof text, text), 1);
    EXPECT_NE(std::string(text), "");
    EXPECT_EQ(std::string(text).find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(ErrorCodeText(2, sizeof cut, cut), 1);
    EXPECT_EQ(std::string(cut), std::string(text).substr(0, 4));
    for (const uint32_t code : {0x3fff1234u, 0x7fffffffu, 0xfffffff0u}) {
        EXPECT_EQ(ErrorCodeText(code, sizeof text, text), 0) << code;
        EXPECT_STREQ(text, "ESE: Unknown error code");
    }
    EXPECT_EQ(ErrorCodeText(2, 0, text), 1);
    EXPECT_STREQ(text, "ESE: Unknown error code") << "a size of 0 writes nothing";
}

} // namespace
