// Processes behind handles.
#pragma once

#include <platform/posix/descriptor.h>
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

    // Readable when the process has ended; empty when the system cannot tell (any more).
    virtual Descriptor end_descriptor() const = 0;

    // The child of this process that it is, null for others.
    virtual class ChildProcess *child() { return nullptr; }
};

// Where a child's standard streams come from: descriptors above 2, or -1 for the starter's own.
struct ChildStreams {
    int streams[3] = {-1, -1, -1};
    bool new_session = false;  // out of reach of the starter's terminal
    bool nothing_else = false; // of what is open in the starter, whoever opened it
};

// A child of this process: reaped exactly once, whoever waits and whenever the handle goes.
class ChildProcess final : public ProcessObject {
public:
    // Starts a program: words[0] is its name, searched on PATH when it holds no "/".  Null and the last error
    // on failure, also when the system finds out only while executing it.
    static std::shared_ptr<ChildProcess> start(const std::vector<std::string> &words);

    // The same with a program of another name, and streams.
    static std::shared_ptr<ChildProcess>
    start(const std::string &program, const std::vector<std::string> &words, const ChildStreams &streams);

    explicit ChildProcess(pid_t pid) : pid_(pid) {}
    ~ChildProcess() override;

    PlWait wait(uint32_t milliseconds) override;
    bool exit_code(int32_t *code) override;
    Descriptor end_descriptor() const override;
    ChildProcess *child() override { return this; }

    // Lets the child go on if it is stopped: 1 it was, 0 not, -1 it has ended.
    int32_t resume();
    pid_t pid() const { return pid_; }

private:
    bool reap();

    const pid_t pid_; // names this child as long as it is not reaped
    mutable std::mutex mutex_;
    bool reaped_ = false;
    bool code_known_ = false;
    int32_t code_ = 0;
};
