// Processes behind handles.
#pragma once

#include <platform/posix/handle_table.h>

#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

class ProcessObject : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::process;
    ProcessObject() : HandleObject(kKind) {}
    virtual bool exit_code(int32_t *code) = 0;
};

// A child of this process: reaped exactly once, whoever waits and whenever the handle goes.
class ChildProcess final : public ProcessObject {
public:
    // Starts a program: words[0] is its name, searched on PATH when it holds no "/".  Null and the last error
    // on failure, also when the system finds out only while executing it.
    static std::shared_ptr<ChildProcess> start(const std::vector<std::string> &words);

    explicit ChildProcess(pid_t pid) : pid_(pid) {}
    ~ChildProcess() override;

    PlWait wait(uint32_t milliseconds) override;
    bool exit_code(int32_t *code) override;
    pid_t pid() const { return pid_; }

private:
    bool reap();

    const pid_t pid_; // names this child as long as it is not reaped
    std::mutex mutex_;
    bool reaped_ = false;
    bool code_known_ = false;
    int32_t code_ = 0;
};
