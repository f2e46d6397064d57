// The steps of two programs on one drive.
#include <site/demo_programs.h>

#include <platform/process.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char *kSemaphoreTrace = "tb_sem_tbs_eom_3.lgc";

std::string answer_path(const Site &site, const std::string &name)
{
    return site.path("work/site/" + name + ".answer");
}

void replace_all(std::string *text, const std::string &what, const std::string &by)
{
    for (size_t at = 0; (at = text->find(what, at)) != std::string::npos; at += by.size())
        text->replace(at, what.size(), by);
}

// What the two programs did with the semaphore, by name instead of process id.
Lines semaphore_story(const Site &site, const Program &first, const Program &second)
{
    Lines story;
    for (std::string line : lines_of(read_text(site.path(std::string("lgc/") + kSemaphoreTrace)))) {
        const size_t bracket = line.find('[');
        if (bracket == std::string::npos || line.find("+++ ") != std::string::npos ||
            line.find("--- ") != std::string::npos || line.find("close sema file") != std::string::npos ||
            line.find("try to inquire") != std::string::npos)
            continue;
        line = line.substr(bracket);
        for (const Program *program : {&first, &second}) {
            char id[16];
            std::snprintf(id, sizeof id, "[%6u]", program->pid());
            replace_all(&line, id, program->name() + std::string(7 - program->name().size(), ' '));
            replace_all(&line, std::to_string(program->pid()), program->name());
        }
        replace_all(&line, site.root, "");
        story.push_back(line);
    }
    return story;
}

bool waits_for_semaphore(const Site &site, const Program &program)
{
    char id[16];
    std::snprintf(id, sizeof id, "[%6u]", program.pid());
    for (const std::string &line : lines_of(read_text(site.path(std::string("lgc/") + kSemaphoreTrace))))
        if (line.find(id) != std::string::npos && line.find("waiting requested by") != std::string::npos)
            return true;
    return false;
}

// Sets the scene: no medium is prepared in the pool, and the first program's tb_init stops at a gate.
bool first_is_at_the_gate(const Site &site)
{
    return wait_until([&] { return !read_text(script_path(site, "tb_init", "arrived")).empty(); });
}

void close_gate(const Site &site)
{
    std::remove(site.path(std::string("lgc/") + kSemaphoreTrace).c_str());
    write_text(script_path(site, "tb_init", "gate"), "closed\n");
}

void open_gate(const Site &site)
{
    std::remove(script_path(site, "tb_init", "arrived").c_str());
}

std::string global(const char *name)
{
    char value[TAMBA_GLBV_SIZE] = "";
    return glbv("r", name, value);
}

void show(Stage &stage, const Program &program)
{
    stage.report.field(program.name(), {program.has_answered() ? answer_text(program.answer()) : "no answer"},
                       program.has_answered() ? Tone::good : Tone::bad);
}

// ---- the steps ---------------------------------------------------------------------------------------------------

void second_waits(Stage &stage)
{
    Report &report = stage.report;
    const Site &site = stage.site;
    report.step(
        "Two programs at once on one drive",
        "Both ask for a medium of FRESH in drive 3.  While tb_init works for the first, the second waits for "
        "the drive's semaphore, and then finds the medium that was just prepared.");
    const Evidence before = look_at(site, kDemoTrace);
    close_gate(site);
    Program first(site, "first", "3", "FRESH");
    const bool at_gate = first_is_at_the_gate(site);
    Program second(site, "second", "3", "FRESH");
    const bool waiting = wait_until([&] { return waits_for_semaphore(site, second); });
    const bool nobody_done = !first.has_answered() && !second.has_answered();
    open_gate(site);
    const bool both_ended = first.wait() && second.wait();

    const Difference left = difference(before, look_at(site, kDemoTrace));
    report.field("call", {"both: " + call_text("3", "FRESH")}, Tone::strong);
    show(stage, first);
    show(stage, second);
    show_left_behind(report, left);
    report.field("tbs_eom_3", semaphore_story(site, first, second), Tone::faint);
    report.check(at_gate && waiting && nobody_done, "the second waited while the first held tbs_eom_3");
    report.check(both_ended && first.answer().result == 1 && first.answer().label == "FRESH00001" &&
                     second.answer().result == 1 && second.answer().label == "FRESH00001",
                 "both ended well, with FRESH00001");
    report.check(left.calls == Lines{"tb_init -d 3 -m FRESH -L backup"} && left.catalogue.size() == 1,
                 "tb_init ran for the first only");
}

void first_is_killed(Stage &stage)
{
    Report &report = stage.report;
    const Site &site = stage.site;
    report.step(
        "The holder is killed",
        "Both ask for a medium of VAULT in drive 3.  The first is killed while it holds the semaphore; its "
        "tb_init lives on, but the lock does not, and the second goes on at once.");
    const Evidence before = look_at(site, kDemoTrace);
    close_gate(site);
    Program first(site, "first", "3", "VAULT");
    const bool at_gate = first_is_at_the_gate(site);
    Program second(site, "second", "3", "VAULT");
    const bool waiting = wait_until([&] { return waits_for_semaphore(site, second); });
    const bool nobody_done = !second.has_answered();
    first.kill();
    const bool first_ended = first.wait();
    const bool second_ended = second.wait();
    const bool still_at_gate = !read_text(script_path(site, "tb_init", "arrived")).empty();

    const Difference left = difference(before, look_at(site, kDemoTrace));
    report.field("call", {"both: " + call_text("3", "VAULT")}, Tone::strong);
    show(stage, first);
    show(stage, second);
    show_left_behind(report, left);
    report.field("tbs_eom_3", semaphore_story(site, first, second), Tone::faint);
    report.check(at_gate && waiting && nobody_done, "the second waited while the first held tbs_eom_3");
    report.check(!first_ended && !first.has_answered(), "the first was killed before it had an answer");
    report.check(second_ended && second.answer().result == 1 && second.answer().label == "VAULT00001",
                 "the second ended well, with VAULT00001");
    report.check(still_at_gate, "the orphaned tb_init did not keep the semaphore");

    // The orphan must be gone before its site is.
    write_text(script_path(site, "tb_init", "fail"), "the program that asked is gone\n");
    open_gate(site);
    report.check(wait_until([] { return global("gv_init_msg_3")[0] == '?'; }),
                 "the orphaned tb_init ended, too");
}

} // namespace

Program::Program(const Site &site, const std::string &name, const std::string &drive,
                 const std::string &media)
    : site_(site), name_(name)
{
    std::remove(answer_path(site, name).c_str());
    char program[1024];
    if (!pl_program_path(program, sizeof program))
        return;
    const std::string command =
        std::string("\"") + program + "\" --child \"" + site.root + ".\" " + name + " " + drive + " " + media;
    std::fflush(nullptr);
    started_ = pl_process_start(command.c_str(), &process_, &pid_);
}

Program::~Program()
{
    if (!started_)
        return;
    kill();
    pl_wait(process_, kPlForever);
    pl_close(process_);
}

void Program::kill()
{
    if (started_ && pl_wait(process_, 0) == PlWait::timed_out)
        pl_process_kill(pid_);
}

bool Program::wait()
{
    int32_t code = -1;
    return started_ && pl_wait(process_, 30000) == PlWait::ended && pl_process_exit_code(process_, &code) &&
           code == 0;
}

bool Program::has_answered() const
{
    return lines_of(read_text(answer_path(site_, name_))).size() >= 3;
}

Answer Program::answer() const
{
    Lines lines = lines_of(read_text(answer_path(site_, name_)));
    lines.resize(4);
    return {std::atoi(lines[0].c_str()), lines[1], lines[2], lines[3]};
}

int run_child(const std::string &directory, const std::string &name, const std::string &drive,
              const std::string &media)
{
    const Site site = open_site(directory);
    TraceContext trace{};
    v_set_log_main((name + ".lgc").c_str(), "DEMO", &trace);
    const Answer answer = ask(drive, media, trace);
    return write_text(answer_path(site, name), std::to_string(answer.result) + "\n" + answer.drive + "\n" +
                                                   answer.label + "\n" + answer.msg + "\n")
               ? 0
               : 1;
}

void two_program_steps(Stage &stage)
{
    set_trace_level(stage.site, "TB_SEM", 2);
    second_waits(stage);
    first_is_killed(stage);
}
