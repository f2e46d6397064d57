// The one rule for lines, in texts, streams and blocks.
#include "tests/support/test_site.h"

#include <foundation/lines.h>

#include <algorithm>
#include <random>

namespace {

using Found = std::vector<std::string>; // each with "\n" where it had its line end

// The rule, character by character.
Found expected(const std::string &text, size_t limit)
{
    Found all;
    std::string line;
    size_t taken = 0; // a CR LF counts as one
    for (size_t at = 0; at < text.size(); ++at) {
        const bool crlf = text.compare(at, 2, "\r\n") == 0;
        at += crlf ? 1 : 0;
        line += crlf ? '\n' : text[at];
        if (++taken == limit || line.back() == '\n' || at + 1 == text.size()) {
            all.push_back(line.substr(0, line.find('\0')));
            line.clear();
            taken = 0;
        }
    }
    return all;
}

void read_all(std::string_view text, size_t limit, Found *all)
{
    LineReader reader(text, limit);
    for (std::string_view line; reader.next(&line);)
        all->push_back(std::string(line) + (reader.ended() ? "\n" : ""));
}

using Lines = TestSite;

TEST_F(Lines, TextsStreamsAndBlocksOfStreamsHaveTheSame)
{
    std::mt19937 random(11);
    for (int round = 0; round < 400; ++round) {
        std::string text(random() % 60, '\0');
        for (char &c : text)
            c = "aaab\r\r\n\n"[random() % 8];
        if (round % 4 == 0 && !text.empty())
            text[random() % text.size()] = '\0';
        const size_t limit = 1 + random() % 8;
        const Found lines = expected(text, limit);
        Found of_text, of_stream, of_blocks;
        read_all(text, limit, &of_text);
        EXPECT_EQ(of_text, lines);

        write("text", text);
        FILE *const stream = std::fopen(path("text").c_str(), "rb");
        char line[16], buffer[64];
        while (read_line(stream, line, limit + 1))
            of_stream.push_back(line);
        EXPECT_EQ(of_stream, lines);

        std::rewind(stream);
        LineBlocks blocks(stream, buffer, 2 * limit + 2 + random() % 20, limit);
        for (std::string_view block; blocks.next(&block);)
            read_all(block, limit, &of_blocks);
        EXPECT_EQ(of_blocks, lines);
        std::fclose(stream);
        ASSERT_FALSE(HasFailure()) << "limit " << limit << ": " << ::testing::PrintToString(text);
    }
}

TEST_F(Lines, BlocksEndWhereTheyAreTold)
{
    write("text", "one\ntwo\nthree\n");
    for (const size_t size : {0u, 4u, 6u, 14u, 99u}) {
        FILE *const stream = std::fopen(path("text").c_str(), "rb");
        char buffer[8];
        LineBlocks blocks(stream, buffer, sizeof buffer, 3, size);
        std::string all;
        for (std::string_view block; blocks.next(&block);)
            all += block;
        EXPECT_EQ(all, std::string("one\ntwo\nthree\n").substr(0, size));
        std::fclose(stream);
    }
}

} // namespace
