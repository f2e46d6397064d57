// The archive program, as far as a volume request runs it, and the programs that call an operator.
//
// Script for tb_notify: work/site/tb_notify.insert is what the operator does, a line "DRIVE MEDIUM" for each medium (as in
// the drive's file, "-" for one without a label).  Each goes in when the drive is empty, after at most a minute's wait.
//
// Script for tb_arch: work/site/tb_arch.answer.  "killed" ends the program at once; otherwise the first line "exit N"
// sets the exit code and the text behind it goes into the global variable gv_arch_sts; without such a text the variable
// stays.  The catalogue is then not touched.
#include <site/standin.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace {

int report_arch(const std::string &text)
{
    set_global("gv_arch_sts", text);
    return text[0] == '?' ? 1 : 0;
}

int scripted_arch(const std::string &answer)
{
    if (answer.compare(0, 6, "killed") == 0)
        std::abort();
    const size_t end = answer.find('\n');
    if (end != std::string::npos)
        set_global("gv_arch_sts", answer.substr(end + 1));
    int code = 0;
    std::sscanf(answer.c_str(), "exit %d", &code);
    return code;
}

} // namespace

int tb_notify(const Call &call)
{
    std::string text;
    if (!read_script(call, "insert", &text))
        return 0;
    std::istringstream lines(text);
    std::string drive, medium;
    while (lines >> drive && std::getline(lines >> std::ws, medium))
        for (int i = 0; !insert_medium(drive, medium) && i < 6000; ++i)
            wait_msec(10);
    return 0;
}

// tb_arch intro -o nocheck -i over -d DRIVE -T TYPE -m POOL: the medium in the drive gets the pool's next label.
int tb_arch(const Call &call)
{
    const std::string drive = call.option("-d"), type = call.option("-T"), pool = call.option("-m");
    std::string answer, label, problem;
    if (call.argument(0) != "intro" || drive.empty() || type.empty() || pool.empty()) {
        trap_par_err("ARCH", 0);
        return 1;
    }
    if (read_script(call, "answer", &answer))
        return scripted_arch(answer);
    if (must_fail(call, &problem))
        return report_arch("? " + problem);
    if (!next_label(call, pool, &label, &problem) || !write_medium(call, label, pool, type, drive, &problem))
        return report_arch("? " + problem);
    label_medium(drive, label);
    return report_arch(label);
}
