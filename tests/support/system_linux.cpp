// Descriptors: the entries of the folder in which the system shows them.
#include "tests/support/system.h"

#include <csignal>
#include <filesystem>
#include <iterator>
#include <sys/stat.h>
#include <sys/wait.h>

uint32_t open_handles()
{
    namespace fs = std::filesystem;
    return static_cast<uint32_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

void remove_registry(const std::string &name)
{
    std::error_code ignored;
    std::filesystem::remove_all(name, ignored);
}

void suspend_this_process()
{
    std::raise(SIGSTOP);
}

size_t large_size(size_t, size_t everywhere_else)
{
    return everywhere_else;
}

bool has_zombies()
{
    siginfo_t info = {};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

bool make_private(const std::string &file)
{
    return chmod(file.c_str(), 0600) == 0;
}

bool make_public(const std::string &file)
{
    return chmod(file.c_str(), 0644) == 0;
}
