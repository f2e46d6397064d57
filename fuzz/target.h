// One fuzz program, a target for each reader of foreign bytes.
//
// Built with clang's libFuzzer (preset "fuzz") the program searches for bytes that break a target; built like
// everything else it replays the checked-in bytes of fuzz/corpus/<target>/, as part of the tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using FuzzFunction = void (*)(std::string_view input);

struct FuzzTarget {
    const char *name;
    FuzzFunction run;
};

struct FuzzRegistration {
    FuzzRegistration(const char *name, FuzzFunction run);
};

// Defines a target; the body sees the bytes as "input".  It calls the reader and aborts when a promise is broken.
#define FUZZ_TARGET(name)                                                                                    \
    static void fuzz_##name(std::string_view input);                                                         \
    static const FuzzRegistration registration_##name(#name, fuzz_##name);                                   \
    static void fuzz_##name(std::string_view input)

const FuzzTarget *find_target(std::string_view name);

// Ends the program with the broken promise when it does not hold.
void promise(bool holds, const char *what);

// A folder of this process's own, for readers of files; the configuration lies there, too.
const std::string &work_folder();
void write_file(const std::string &path, std::string_view bytes);

// A buffer on the heap with exactly that size, so that the address sanitizer sees a write behind it.
class Buffer {
public:
    explicit Buffer(size_t size) : bytes_(size, '#') {}
    Buffer(std::string_view text, size_t size) : bytes_(size, '\0')
    {
        text.copy(bytes_.data(), size > 0 ? size - 1 : 0);
    }
    char *data() { return bytes_.data(); }
    size_t size() const { return bytes_.size(); }
    bool terminated() const
    {
        return std::string_view(bytes_.data(), bytes_.size()).find('\0') != std::string::npos;
    }

private:
    std::vector<char> bytes_;
};

// The input in two halves at its first line feed; the second is empty without one.
std::pair<std::string, std::string> halves(std::string_view input);
