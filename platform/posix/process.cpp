#include <platform/process.h>

#include <platform/child_pipe.h>
#include <platform/fault.h>
#include <platform/posix/child_process.h>
#include <platform/posix/command_line.h>
#include <platform/posix/descriptor.h>
#include <platform/posix/environment.h>
#include <platform/posix/errors.h>
#include <platform/posix/waiting.h>

#include <csignal>
#include <mutex>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>

extern char **environ;

namespace {

// Programs are started with no signal blocked and SIGPIPE and SIGCHLD at their defaults, whatever the starter does for
// itself: one that ignores SIGCHLD would hand that on, and its programs could not read any exit code.
class SpawnAttributes {
public:
    explicit SpawnAttributes(bool new_session)
    {
        sigset_t none, defaults;
        sigemptyset(&none);
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigaddset(&defaults, SIGCHLD);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        const int session = new_session ? POSIX_SPAWN_SETSID : 0;
        posix_spawnattr_setflags(
            &attributes_, static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | session));
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes &) = delete;
    SpawnAttributes &operator=(const SpawnAttributes &) = delete;
    const posix_spawnattr_t *get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

// What the child does before it becomes the program: its streams go to their places.  A stream that the starter has
// closed becomes the null device, or the first file that the program opens would take its place.
class SpawnActions {
public:
    explicit SpawnActions(const ChildStreams &streams)
    {
        posix_spawn_file_actions_init(&actions_);
        for (int i = 0; i < 3; ++i) {
            if (streams.streams[i] >= 0)
                posix_spawn_file_actions_adddup2(&actions_, streams.streams[i], i);
            else if (fcntl(i, F_GETFD) < 0)
                posix_spawn_file_actions_addopen(&actions_, i, "/dev/null", O_RDWR, 0);
        }
        if (streams.nothing_else)
            posix_spawn_file_actions_addclosefrom_np(&actions_, 3);
    }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions &) = delete;
    SpawnActions &operator=(const SpawnActions &) = delete;
    const posix_spawn_file_actions_t *get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

int32_t code_of(const siginfo_t &info)
{
    return info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
}

// Readable when the process has ended.
Descriptor open_pidfd(pid_t pid)
{
    return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

void *reap_later(void *pid)
{
    siginfo_t info;
    again_after_signal(
        [&] { return waitid(P_PID, static_cast<id_t>(reinterpret_cast<intptr_t>(pid)), &info, WEXITED); });
    return nullptr;
}

// A process by its number, whoever started it: to be waited for, not to be reaped.
class OpenedProcess final : public ProcessObject {
public:
    explicit OpenedProcess(Descriptor fd) : fd_(std::move(fd)) {}

    PlWait wait(uint32_t milliseconds) override { return wait_readable(fd_.get(), milliseconds); }

    // Only a child that nobody has reaped tells its code.
    bool exit_code(int32_t *code) override
    {
        siginfo_t info = {};
        if (waitid(P_PIDFD, static_cast<id_t>(fd_.get()), &info, WEXITED | WNOHANG | WNOWAIT) != 0)
            return pl_fail(errno);
        if (info.si_pid == 0)
            return pl_fail(EBUSY);
        *code = code_of(info);
        return true;
    }

    Descriptor end_descriptor() const override { return Descriptor(fcntl(fd_.get(), F_DUPFD_CLOEXEC, 0)); }

private:
    const Descriptor fd_;
};

} // namespace

std::shared_ptr<ChildProcess> ChildProcess::start(const std::vector<std::string> &words)
{
    return start(words.empty() ? std::string() : words[0], words, {});
}

std::shared_ptr<ChildProcess> ChildProcess::start(const std::string &program,
                                                  const std::vector<std::string> &words,
                                                  const ChildStreams &streams)
{
    if (words.empty() || program.empty()) {
        pl_fail(PL_INVALID_PARAMETER, EINVAL);
        return nullptr;
    }
    const std::string path = native_path(program.c_str());
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);

    const SpawnAttributes attributes(streams.new_session);
    const SpawnActions actions(streams);
    pid_t pid = 0;
    const int error = [&] {
        const std::shared_lock held(environment_lock());
        return posix_spawnp(&pid, path.c_str(), actions.get(), attributes.get(), arguments.data(), environ);
    }();
    if (error != 0) {
        pl_fail_path(error, path.c_str());
        return nullptr;
    }
    return std::make_shared<ChildProcess>(pid);
}

ChildProcess::~ChildProcess()
{
    if (reap())
        return;
    // Nobody will ask for this child again, but it must not stay as a zombie when it ends.
    pthread_t reaper;
    start_detached(reap_later, reinterpret_cast<void *>(static_cast<intptr_t>(pid_)), &reaper);
}

// True when the child has ended.
bool ChildProcess::reap()
{
    const std::lock_guard lock(mutex_);
    if (reaped_)
        return true;
    siginfo_t info = {};
    if (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG) != 0) {
        reaped_ = true; // the program ignores the ends of its children, or waits for all of them itself
    } else if (info.si_pid != 0) {
        reaped_ = code_known_ = true;
        code_ = code_of(info);
    }
    return reaped_;
}

PlWait ChildProcess::wait(uint32_t milliseconds)
{
    if (reap())
        return PlWait::ended;
    if (milliseconds == 0)
        return PlWait::timed_out;
    if (milliseconds == kPlForever) {
        siginfo_t info;
        again_after_signal([&] {
            const CancelPoint here;
            return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
        });
        reap();
        return PlWait::ended;
    }
    const Descriptor fd = end_descriptor();
    if (!fd) {
        const int error = errno;
        if (reap())
            return PlWait::ended;
        pl_fail(error);
        return PlWait::failed;
    }
    const PlWait result = wait_readable(fd.get(), milliseconds);
    if (result == PlWait::ended)
        reap();
    return result;
}

Descriptor ChildProcess::end_descriptor() const
{
    const std::lock_guard lock(mutex_); // the number is this child's as long as nobody reaps it
    return reaped_ ? Descriptor() : open_pidfd(pid_);
}

int32_t ChildProcess::resume()
{
    const std::lock_guard lock(mutex_);
    if (reaped_)
        return -1;
    siginfo_t info = {};
    if (waitid(P_PID, static_cast<id_t>(pid_), &info, WSTOPPED | WNOHANG | WNOWAIT) != 0 || info.si_pid == 0)
        return 0;
    kill(pid_, SIGCONT);
    return 1;
}

bool ChildProcess::exit_code(int32_t *code)
{
    if (!reap())
        return pl_fail(EBUSY);
    if (!code_known_)
        return pl_fail(ECHILD);
    *code = code_;
    return true;
}

bool pl_process_start(const char *command_line, TB_HANDLE *process, uint32_t *pid)
{
    *process = nullptr;
    if (pl_fault())
        return false;
    const auto child = ChildProcess::start(split_command_line(command_line ? command_line : ""));
    if (!child)
        return false;
    *pid = static_cast<uint32_t>(child->pid());
    *process = handle_add(child);
    return *process != nullptr;
}

bool pl_process_start_background(const char *command_line, uint32_t *pid)
{
    if (pl_fault())
        return false;
    const Descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!null)
        return pl_fail(errno);
    const auto words = split_command_line(command_line ? command_line : "");
    const ChildStreams streams = {{null.get(), null.get(), null.get()}, true, true};
    const auto child = ChildProcess::start(words.empty() ? std::string() : words[0], words, streams);
    if (child)
        *pid = static_cast<uint32_t>(child->pid());
    return child != nullptr; // the child is reaped when it ends, or by the system when this process has gone
}

TB_HANDLE pl_process_open(uint32_t pid)
{
    if (pl_fault())
        return nullptr;
    if (pid == 0 || pid > INT32_MAX) {
        pl_fail(PL_INVALID_PARAMETER, EINVAL);
        return nullptr;
    }
    Descriptor fd = open_pidfd(static_cast<pid_t>(pid));
    if (!fd) {
        pl_fail(errno);
        return nullptr;
    }
    return handle_add(std::make_shared<OpenedProcess>(std::move(fd)));
}

PlWait pl_wait(TB_HANDLE process_or_thread, uint32_t milliseconds)
{
    const auto object = handle_find(process_or_thread);
    return !object || pl_fault() ? PlWait::failed : object->wait(milliseconds);
}

bool pl_process_exit_code(TB_HANDLE process, int32_t *code)
{
    const auto object = handle_get<ProcessObject>(process);
    return object && !pl_fault() && object->exit_code(code);
}
