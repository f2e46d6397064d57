// The demo's pieces: the stage on which its steps play, and the steps.
#pragma once

#include <foundation/messages.h>
#include <site/demo_evidence.h>
#include <site/demo_report.h>
#include <site/site.h>
#include <tamba/tamba.h>

#include <string>

// The site, the caller's trace context and the report.
struct Stage {
    Site site;
    Report report;
    TraceContext trace{};
    bool full = false; // show the statements in every trace
};

inline constexpr const char *kDemoTrace = "demo.lgc";

// What i_CHECK_MEDIUM_FOR_BACKUP answered.
struct Answer {
    int32_t result = 0;
    std::string drive, label, msg;
};
Answer ask(const std::string &drive, const std::string &media_info, const TraceContext &trace);

// "drive 3, medium DAILY" as the call's arguments are shown, and the answer.
std::string call_text(const std::string &drive, const std::string &media_info);
std::string answer_text(const Answer &answer);

// Programs started, catalogue rows, protocol and info board; one line for all that stayed as it was.
void show_left_behind(Report &report, const Difference &left);

// A call on the stage, which answers with a text that begins with its result: what it leaves behind is shown under its
// own fields.
template <class Call> Difference show_call(Stage &stage, const std::string &text, Call call)
{
    const Evidence before = look_at(stage.site, kDemoTrace);
    stage.report.field("call", {text}, Tone::strong);
    const std::string result = call();
    const Difference left = difference(before, look_at(stage.site, kDemoTrace));
    stage.report.field("result", {result}, result[0] == '1' ? Tone::good : Tone::bad);
    show_left_behind(stage.report, left);
    if (stage.full)
        stage.report.field("trace", left.trace, Tone::faint);
    return left;
}

// A message in the set language.
template <Msg id, class... Arguments> std::string message_text(Arguments... arguments)
{
    char text[TAMBA_MEDIA_MSG_SIZE];
    message_to<id>(text, sizeof text, arguments...);
    return text;
}

// Steps of one program, and steps of two.
void one_program_steps(Stage &stage);
void two_program_steps(Stage &stage);

// The second act: job queues, and a client host behind its control daemon.
void host_steps(Stage &stage);

// The third act: media come into drives, by robot and by hand.
void volume_steps(Stage &stage);

// The fourth act: the day's logs become results, the day is closed, and a medium is used again.
void day_steps(Stage &stage);

// A backup program of its own: asks and writes the answer to work/site/<name>.answer.
int run_child(const std::string &site, const std::string &name, const std::string &drive,
              const std::string &media);
