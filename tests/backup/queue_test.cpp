#include "tests/backup/media_site.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace {

class Queues : public MediaSite {
protected:
    void answer(const std::string &sub_command, const std::string &text) const
    {
        ASSERT_TRUE(write_text(script_path(site, "tb_qm", "answer_" + sub_command), text));
    }
    // The messages of the protocol since the last call: tag and text.
    Lines news()
    {
        Lines found;
        const Lines all = lines_of(protocol());
        for (; seen_ < all.size(); ++seen_) {
            const std::string &line = all[seen_];
            const size_t tag =
                line.find("BASICS ") != std::string::npos ? line.find("BASICS ") : line.find("DATABAS");
            const size_t text = line.find("]: ");
            if (tag != std::string::npos && tag >= 5 && text != std::string::npos)
                found.push_back(line.substr(tag - 5, 4) + " " + line.substr(text + 3));
        }
        return found;
    }
    std::string job_text(const char *mode, const char *value, int32_t *result)
    {
        char msg[TAMBA_QUE_MSG_SIZE];
        *result = que_sho_job("night", mode, value, msg, trace);
        return msg;
    }

private:
    size_t seen_ = 0;
};

TEST_F(Queues, AJobGoesThroughItsQueue)
{
    ASSERT_EQ(que_init("night", "par", trace), 1);
    EXPECT_EQ(que_start("night", trace), 1);
    EXPECT_EQ(que_sho("night", trace), 1);
    void *const list = ConsLL();
    for (const char *text : {"-s", "a b"})
        InsLastLLf(static_cast<LLHead *>(list), static_cast<uint32_t>(std::strlen(text)),
                   text); // no terminator inside
    EXPECT_EQ(que_submit(trace, "night", "22:00", "2008-02-14", "daily/full", "p", "tb_notify", 'L', list),
              1);
    DestLL(static_cast<LLHead *>(list));
    EXPECT_EQ(
        que_submit(trace, "night", "1:00", "2008-02-14", "/x", "p", "a.b", 'A', "-x", "", (char *)nullptr),
        1);
    EXPECT_EQ(
        que_submit(trace, "night", "1:00", "2008-02-14", "c", "p", "a.b", 'C', int32_t{1}, "z", "unused"), 1);
    EXPECT_EQ(que_submit(trace, "night", "1:00", "2008-02-14", "n", "p", "a.b", 'C', int32_t{-1}), 1);
    EXPECT_EQ(que_submit(trace, "night", "now", "2001-01-01", "d", "p", "a.b", '?'), 1);
    EXPECT_EQ(que_submit(trace, "night", "7:00", "today", "e", "p", "a.b", '\0'), 1);

    int32_t result = 0;
    const std::string bin = site.path("bin/tamba/");
    const std::string full = "STATUS=SUCCESS MSG=daily 22:00 2008-02-14 p " + bin + "tb_notify.exe -s a b";
    EXPECT_EQ(job_text("name", "daily", &result), full);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(job_text("Name", "1", &result), full) << "any word but \"name\" asks by position";
    EXPECT_EQ(job_text("position", "9", &result), "? no job at position 9");
    EXPECT_EQ(result, 0);
    char stamp[TAMBA_TIME_SIZE] = "";
    const std::string today = std::string(time_get(stamp)).substr(0, 10);
    EXPECT_EQ(job_text("name", "e", &result).substr(0, 40),
              ("STATUS=SUCCESS MSG=e 7:00 " + today + " p " + bin).substr(0, 40));
    EXPECT_EQ(job_text("name", "d", &result).find("now"), std::string::npos);
    EXPECT_NE(job_text("name", "d", &result).find(" " + today + " p "), std::string::npos);

    EXPECT_EQ(que_del_entry("night/daily", trace), 1);
    EXPECT_EQ(que_stop("night", trace), 1);
    EXPECT_EQ(que_delete("night", trace), 1);
    EXPECT_EQ(news(), Lines{});
    const Lines made = calls(site);
    const auto made_call = [&](const std::string &call) {
        return std::count(made.begin(), made.end(), call) > 0;
    };
    EXPECT_TRUE(made_call("tb_qm init night par"));
    EXPECT_TRUE(made_call("tb_qm job_sho night daily \"\"")) << "the empty word arrives as an argument";
    EXPECT_TRUE(made_call("tb_qm job_sho night \"\" 1"));
    EXPECT_TRUE(made_call("tb_qm que_submit night 1:00 2008-02-14 p " + bin + "a.b -x \"\""))
        << "an empty job name vanishes";
    EXPECT_TRUE(made_call("tb_qm que_submit night 1:00 2008-02-14 c p " + bin + "a.b z"));
    EXPECT_TRUE(made_call("tb_qm que_submit night 1:00 2008-02-14 n p " + bin + "a.b"));
}

TEST_F(Queues, AnswersDecideByTheEighthCharacterOfTheStatusLine)
{
    const auto block = [](TraceContext t) { return que_block("q", t); };
    const auto start = [](TraceContext t) { return que_start("q", t); };
    const auto show = [](TraceContext t) { return que_sho("q", t); };
    const auto del = [](TraceContext t) { return que_delete("q", t); };
    const std::string ok = "STATUS=SUCCESS MSG=\n", error = "STATUS=ERROR MSG=s\n";
    const std::string failed = "E008 Error in command execution tb_qm ";
    using Answers = std::vector<std::pair<std::string, std::string>>;
    // clang-format off
    const struct { int32_t (*run)(TraceContext); Answers answers; int32_t result; Lines news; } cases[] = {
        {start, {{"start", "banner\nSTATUS=SUCCESS MSG=x\nSTATUS=ERROR MSG=y\n"}}, 1, {}},
        {start, {{"start", "  STATUS=ERROR MSG=x\n"}}, 1, {}}, // the eighth character is the last of STATUS
        {start, {{"start", " STATUS=SUCCESS MSG=x\n"}}, 0, {failed + "start q: x"}},
        {start, {{"start", "STATUS=\n"}}, 0, {failed + "start q: "}},
        {start, {{"start", "STATUS=WARNING MSG=%s%n\r\n"}}, 0, {failed + "start q: %s%n"}},
        {start, {{"start", "first\nlast\npart of a line"}}, 0, {failed + "start q: last"}},
        {start, {{"start", ""}}, 0, {failed + "start q: "}},
        {start, {{"start", "STATUS=ERROR MSG=" + std::string(300, 'm') + "\n"}}, 0, {failed + "start q: " + std::string(238, 'm')}},
        {block, {{"block", "STATUS=ERROR MSG=x\n"}}, 0, {}},
        {show, {{"sho", "STATUS=WARNING MSG=w\n"}}, 0, {"W003 Command execution produced a warning: tb_qm sho q > w"}},
        {del, {{"stop", ok}, {"delete", ""}}, 1, {}},
        {del, {{"stop", error}, {"delete", ok}}, 1, {failed + "stop q: s"}},
        {del, {{"stop", error}, {"delete", ""}}, 0, {failed + "stop q: s", failed + "delete q: "}},
    };
    // clang-format on
    for (const auto &c : cases) {
        for (const auto &[sub, text] : c.answers)
            answer(sub, text);
        EXPECT_EQ(c.run(trace), c.result) << c.answers[0].second;
        EXPECT_EQ(news(), c.news) << c.answers[0].second;
    }
    answer("job_sho", "banner\nSTATUS=SUCCESS MSG=x\n");
    int32_t result = 1;
    EXPECT_EQ(job_text("name", "j", &result), "? no job at position j") << "one line is read";
    const std::string begin = "STATUS=SUCCESS MSG=";
    answer("job_sho", begin + std::string(600, 'm') + "\n");
    EXPECT_EQ(job_text("name", "j", &result), begin + std::string(511 - begin.size(), 'm'));
    answer("job_sho", std::string(511, 'm') + begin + "\n");
    EXPECT_EQ(job_text("name", "j", &result), "? no job at position j") << "what is cut off does not count";
    answer("job_sho", "");
    EXPECT_EQ(job_text("name", "STATUS=SUCCESS", &result), "? no job at position STATUS=SUCCESS");
    EXPECT_EQ(result, 0) << "the command's own text is no answer";
    EXPECT_EQ(news(), Lines{}) << "a job that is not there is no failure";
}

TEST_F(Queues, ACommandThatWouldBeCutIsNotRun)
{
    const std::string fits(244, 'q'), longer = fits + "r", job(600, 'j');
    char msg[TAMBA_QUE_MSG_SIZE];
    EXPECT_EQ(que_stop(fits.c_str(), trace), 0);
    EXPECT_EQ(calls(site), Lines{"tb_qm stop " + fits});
    EXPECT_EQ(news().size(), 1u);
    const auto refused = [](const std::string &command, size_t size, int most) {
        return Lines{"E008 Error in command execution " + command.substr(0, 100) +
                     "...: the command is too long with " + std::to_string(size) + " characters, " +
                     std::to_string(most) + " are allowed"};
    };
    EXPECT_EQ(que_stop(longer.c_str(), trace), 0);
    EXPECT_EQ(news(), refused("tb_qm stop " + longer, 256, 255));
    EXPECT_EQ(que_delete(fits.c_str(), trace), 0) << "which would have stopped it";
    EXPECT_EQ(news(), refused("tb_qm delete " + fits, 257, 255));
    EXPECT_EQ(que_block(longer.c_str(), trace), 0);
    EXPECT_EQ(news(), Lines{});
    EXPECT_EQ(que_sho_job("night", "name", job.c_str(), msg, trace), 0);
    EXPECT_EQ(news(), refused("tb_qm job_sho night " + job, 623, 511));
    EXPECT_EQ(que_submit(trace, "night", job.c_str(), "today", "d", "p", "a.b", 'A', "x", (char *)nullptr),
              0);
    EXPECT_EQ(que_submit(trace, "night", "now", "", "d", "p", "a.b", 'C', int32_t{1}, job.c_str()), 0);
    EXPECT_EQ(news().size(), 2u);
    EXPECT_EQ(calls(site).size(), 1u);
}

TEST_F(Queues, AMissingManagerIsReportedByEachOperation)
{
    expect_complaints = true;
    remove_program("tb_qm");
    char msg[TAMBA_QUE_MSG_SIZE];
    const std::pair<const char *, std::function<int32_t()>> cases[] = {
        {"QUE_BLOCK", [&] { return que_block("q", trace); }},
        {"QUE_INIT", [&] { return que_init("q", "p", trace); }},
        {"QUE_START", [&] { return que_start("q", trace); }},
        {"QUE_STOP", [&] { return que_stop(nullptr, trace); }},
        {"QUE_DELETE", [&] { return que_delete("q", trace); }},
        {"QUE_SHO", [&] { return que_sho("q", trace); }},
        {"QUE_SUBMIT",
         [&] { return que_submit(trace, "q", nullptr, nullptr, nullptr, nullptr, nullptr, 'L', nullptr); }},
        {"QUE_DEL_ENTRY", [&] { return que_del_entry("eee", trace); }},
    };
    for (const auto &[word, run] : cases) {
        EXPECT_EQ(run(), 0) << word;
        EXPECT_EQ(news(), Lines{std::string("E013 ") + word + " : error during opening a pipe."});
    }
    EXPECT_NE(trace_text().find("--- ZDL QUE__ENTRY  PIPE_OPEN failed for tb_qm que_del_entry eee"),
              std::string::npos);
    EXPECT_EQ(que_sho_job("q", "name", "j", msg, trace), 0);
    EXPECT_STREQ(msg, "? no job at position j");
    const Lines both = news();
    ASSERT_EQ(both.size(), 2u);
    EXPECT_EQ(both[0].substr(0, 17), "E013 QUE_SHO_JOB ");
    EXPECT_NE(both[0], "E013 QUE_SHO_JOB : error during opening a pipe.")
        << "here the pipe's own text is told";
    EXPECT_EQ(both[1].find("E008 Error in command execution tb_qm job_sho q j \"\": "), 0u) << both[1];
}

} // namespace
