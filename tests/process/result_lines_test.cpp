// Lines in which a program says how it ended.
#include <process/result_lines.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(ResultLine, StatusAndMessageAreFoundWhereverTheyStand)
{
    const struct {
        std::vector<std::string> lines;
        std::string status, message;
        int32_t found; // 1 status, 2 message
    } cases[] = {
        {{"x", "STATUS=SUCCESS", "MSG=text of it\r", "STATUS=LATE"}, "SUCCESS", "text of it", 3},
        {{"prog: STATUS=ERROR MSG=\"tb: %s\""}, "ERROR", "\"tb: %s\"", 3},
        {{"MSG=first", "STATUS=ERROR"}, "", "first", 2},
        {{"STATUS=A", "STATUS=B\r"}, "B", "", 1},
        {{"STATUS= MSG=x"}, "MSG=x", "x", 3},
        {{"STATUS="}, "", "", 1},
        {{"status=x", ""}, "", "", 0},
        {{"MSG=" + std::string(600, 'm')}, "", std::string(255, 'm'), 2},
    };
    for (const auto &c : cases) {
        ResultLines result;
        for (const std::string &line : c.lines)
            if (!result.take(line))
                break;
        EXPECT_EQ(result.status().view(), c.status);
        EXPECT_EQ(result.message().view(), c.message);
        EXPECT_EQ(result.has_status() + 2 * result.has_message(), c.found);
    }
}
