// Child processes of tests: the test program starts itself and runs a named function instead of the tests.
//
//   TAMBA_CHILD(hold_semaphore)                      // in any test file
//   {
//       ...; tell("held"); wait_for_word(); return 0; // the exit code
//   }
//   Child child("hold_semaphore", {"ctrl_info"});
//   child.wait_for("held");
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using ChildArguments = std::vector<std::string>;
using ChildFunction = int (*)(const ChildArguments &);

struct ChildRegistration {
    ChildRegistration(const char *name, ChildFunction function);
};

#define TAMBA_CHILD(name)                                                                                    \
    static int child_##name(const ChildArguments &arguments);                                                \
    static const ChildRegistration registration_##name(#name, child_##name);                                 \
    static int child_##name([[maybe_unused]] const ChildArguments &arguments)

// In the child: writes a word for the parent, waits until the parent says "go".
void tell(std::string_view word);
void wait_for_go();

class Child {
public:
    // Starts the function; its standard output and error go to files.
    explicit Child(const char *function, const ChildArguments &arguments = {});
    ~Child(); // kills what still runs
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    uint32_t pid() const { return pid_; }
    bool wait_for(
        std::string_view word); // until the child has told word; false when it ended or 30 seconds passed
    void go();
    void kill();
    int wait();                 // exit code, -1000 when it was stuck and had to be killed
    std::string output() const; // standard output so far
    std::string errors() const; // standard error so far

private:
    std::string folder_;
    void *process_ = nullptr;
    uint32_t pid_ = 0;
    bool waited_ = false;
    int code_ = -1000;
};

// Starts count children with the index as first argument, waits for all; true when all end with 0.
bool run_children(const char *function, int count, ChildArguments arguments = {});

// For main(): runs the named function when the command line asks for one.
bool is_child_call(int argc, char **argv, int *exit_code);
