// A backup program of its own, started by the demo.
#pragma once

#include <site/demo.h>

#include <platform/handle.h>

class Program {
public:
    // Starts the demo program as a child that asks for a medium; it traces into "<name>.lgc".
    Program(const Site &site, const std::string &name, const std::string &drive, const std::string &media);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    const std::string &name() const { return name_; }
    uint32_t pid() const { return pid_; }
    void kill();
    bool wait(); // true when it ended with exit code 0; at most half a minute
    Answer answer() const;
    bool has_answered() const;

private:
    const Site &site_;
    const std::string name_;
    TB_HANDLE process_{};
    uint32_t pid_ = 0;
    bool started_ = false;
};

// Polls until the condition holds, at most half a minute.
template <class Condition> bool wait_until(Condition condition)
{
    for (int i = 0; i < 3000; ++i) {
        if (condition())
            return true;
        wait_msec(10);
    }
    return false;
}
