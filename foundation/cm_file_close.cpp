// A file that could not be closed: on a full file system the alarm is raised and the system stopped.
#include <foundation/text.h>
#include <platform/error.h>
#include <platform/process.h>
#include <tamba/messages.h>

#include <cerrno>
#include <cstdio>

namespace {

constexpr size_t kCommandSize = 512;
constexpr char kAlarmRaised[] = "TAMBA_ALARM_RAISED";

// C library numbers that mean a full or exhausted system: too many open files, no space, resource deadlock.
bool endangers_the_system(int32_t number)
{
    return number == 23 || number == 28 || number == 36 || number == EDEADLK;
}

} // namespace

int32_t i_FILE_CLOSE(int32_t error_number)
{
    char text[256];
    pl_c_error_text(error_number, text, sizeof text);
    std::fprintf(stderr, "\nFILE_CLOSE error: %s\n", text);
    // On a full disk the programs of the alarm fail to write, too: without a mark each would raise the next alarm.
    if (!endangers_the_system(error_number) || pl_getenv(kAlarmRaised))
        return 0;
    pl_setenv(kAlarmRaised, "1");
    FixedText<kCommandSize> alarm;
    alarm.format(R"(tb_alarm FILE_SYSTEM "%s")", text);
    pl_shell(alarm.c_str());
    pl_shell("tb_os_startup STOP");
    pl_unsetenv(kAlarmRaised);
    std::fprintf(stderr, "\n\nSHUTDOWN tamba2000 - problems with file system (%s) \n\n", text);
    return 0;
}
