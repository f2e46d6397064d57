#include "tests/support/child.h"
#include "tests/support/text.h"

#include <gtest/gtest.h>
#include <platform/clock.h>
#include <platform/files.h>
#include <platform/process.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <thread>

namespace fs = std::filesystem;

namespace {

std::map<std::string, ChildFunction> &functions()
{
    static std::map<std::string, ChildFunction> all;
    return all;
}

// Seconds after which a child counts as stuck; under an emulator and on a busy machine everything takes its time.
constexpr int kPatience = 240;

std::string g_folder; // in the child: where parent and child leave words for each other

// Polls for a condition; a test that waits here waits for another process, not for time to pass.
template <class Condition> bool until(Condition condition, int seconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::string in_quotes(const std::string &argument)
{
    return "\"" + argument + "\"";
}

} // namespace

ChildRegistration::ChildRegistration(const char *name, ChildFunction function)
{
    functions()[name] = function;
}

void tell(std::string_view word)
{
    std::ofstream(g_folder + "/word-" + std::string(word)) << "x";
}

void wait_for_go()
{
    if (!until([] { return fs::exists(g_folder + "/go"); }, kPatience))
        std::_Exit(99);
}

bool is_child_call(int argc, char **argv, int *exit_code)
{
    if (argc < 4 || std::string_view(argv[1]) != "--child")
        return false;
    g_folder = argv[3];
    if (g_folder != ".") { // where a test reads the streams itself
        static_cast<void>(!std::freopen((g_folder + "/output").c_str(), "w", stdout));
        static_cast<void>(!std::freopen((g_folder + "/errors").c_str(), "w", stderr));
    }
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    const auto found = functions().find(argv[2]);
    *exit_code = found == functions().end() ? 98 : found->second(ChildArguments(argv + 4, argv + argc));
    std::fflush(nullptr);
    return true;
}

Child::Child(const char *function, const ChildArguments &arguments)
{
    static std::atomic<int> count{0};
    folder_ = (fs::temp_directory_path() /
               ("tamba-child-" + std::to_string(pl_process_id()) + "-" + std::to_string(count++)))
                  .generic_string();
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    char program[1024];
    EXPECT_TRUE(pl_program_path(program, sizeof program));
    std::string command = in_quotes(program) + " --child " + function + " " + in_quotes(folder_);
    for (const std::string &argument : arguments)
        command += " " + in_quotes(argument);
    TB_HANDLE process = nullptr;
    EXPECT_TRUE(pl_process_start(command.c_str(), &process, &pid_)) << command;
    process_ = process;
}

Child::~Child()
{
    if (!waited_)
        kill();
    wait();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

bool Child::wait_for(std::string_view word)
{
    const std::string file = folder_ + "/word-" + std::string(word);
    bool ended = false;
    until(
        [&] {
            ended = pl_wait(process_, 0) == PlWait::ended;
            return ended || fs::exists(file);
        },
        30);
    return fs::exists(file);
}

void Child::go()
{
    std::ofstream(folder_ + "/go") << "x";
}

void Child::kill()
{
    pl_process_kill(pid_);
}

int Child::wait()
{
    if (waited_ || !process_)
        return code_;
    if (pl_wait(process_, kPatience * 1000) != PlWait::ended) {
        kill();
        pl_wait(process_, kPlForever);
    } else {
        EXPECT_TRUE(pl_process_exit_code(process_, &code_));
    }
    waited_ = true;
    pl_close(process_);
    return code_;
}

std::string Child::output() const
{
    return file_text(folder_ + "/output");
}

std::string Child::errors() const
{
    return file_text(folder_ + "/errors");
}

bool run_children(const char *function, int count, ChildArguments arguments)
{
    arguments.insert(arguments.begin(), "");
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < count; ++i) {
        arguments.front() = std::to_string(i);
        children.push_back(std::make_unique<Child>(function, arguments));
    }
    bool good = true;
    for (auto &child : children)
        if (const int code = child->wait(); code != 0) {
            ADD_FAILURE() << function << " ended with " << code << ": " << child->errors();
            good = false;
        }
    return good;
}
