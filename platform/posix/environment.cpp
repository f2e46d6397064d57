#include <platform/process.h>

#include <platform/posix/descriptor.h>
#include <platform/posix/environment.h>
#include <platform/posix/errors.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <string>

namespace {

std::atomic<pid_t> g_process_id{0}; // 0: not asked for yet

} // namespace

// Asked for with every semaphore operation; the system is only asked once, and again by a forked child.
uint32_t pl_process_id()
{
    pid_t id = g_process_id.load(std::memory_order_relaxed);
    if (id == 0) {
        static const int registered = pthread_atfork(nullptr, nullptr, [] { g_process_id = 0; });
        id = getpid();
        if (registered == 0)
            g_process_id = id;
    }
    return static_cast<uint32_t>(id);
}

bool pl_process_kill(uint32_t pid)
{
    // 0 and negative numbers would mean whole groups of processes.
    const pid_t process = static_cast<pid_t>(pid);
    if (process <= 0)
        return pl_fail(ESRCH);
    return kill(process, SIGKILL) == 0 || pl_fail(errno);
}

bool pl_program_path(char *out, size_t size)
{
    const ssize_t length = size > 0 ? readlink("/proc/self/exe", out, size - 1) : -1;
    if (length < 0)
        return pl_fail(errno);
    out[length] = '\0';
    return true;
}

void pl_parent_process_name(char *out, size_t size)
{
    char text[64];
    std::snprintf(text, sizeof text, "/proc/%ld/comm", static_cast<long>(getppid()));
    ssize_t got = -1;
    if (const Descriptor file(open(text, O_RDONLY | O_CLOEXEC)); file)
        got = read(file.get(), text, sizeof text - 1);
    text[got > 0 ? got : 0] = '\0';
    text[std::strcspn(text, "\n")] = '\0';
    std::snprintf(out, size, "%s", *text ? text : "unknown");
}

bool pl_host_name(char *out, size_t size)
{
    if (size == 0)
        return pl_fail(EINVAL);
    out[size - 1] = '\0'; // a cut name is not terminated by the system
    return gethostname(out, size - 1) == 0 || pl_fail(errno);
}

std::shared_mutex &environment_lock()
{
    static std::shared_mutex *const lock = new std::shared_mutex; // never destroyed: threads may outlive main
    return *lock;
}

const char *pl_getenv(const char *name)
{
    const std::shared_lock held(environment_lock());
    return std::getenv(name);
}

bool pl_setenv(const char *name, const char *text)
{
    const std::unique_lock held(environment_lock());
    return setenv(name, text, 1) == 0 || pl_fail(errno);
}

bool pl_unsetenv(const char *name)
{
    const std::unique_lock held(environment_lock());
    return unsetenv(name) == 0 || pl_fail(errno);
}
