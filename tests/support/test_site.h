// Every test that touches files, settings or processes gets a site of its own in a temporary folder.
#pragma once

#include "tests/support/text.h"

#include <gtest/gtest.h>
#include <tamba/tamba.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

class TestSite : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override; // restores PATH; also checks that the nesting depth of the trace is back at 0

    // A path below the site's folder, with "/" as separator.
    std::string path(std::string_view below) const;
    // A directory of the site as settings name it: with a separator at its end.
    std::string directory(std::string_view below) const { return path(below) + "/"; }

    void write(std::string_view below, std::string_view text) const;
    std::string read(std::string_view below) const;               // "" when missing
    std::vector<std::string> lines(std::string_view below) const; // without line ends
    bool exists(std::string_view below) const;

    // Appends lines to tb.ini, e.g. "[SERVER]\ngv_port_db=5432\n".
    void add_ini(std::string_view text) const;
    // Sets module levels, e.g. "TB_SEM=2\nMODULE=3\n"; replaces debug.ini.
    void set_levels(std::string_view text) const { write("ini/debug.ini", text); }
    void set_global(const char *name, const char *value) const;
    std::string global(const char *name) const;

    // Takes a variable out of the environment of this process.
    static void unset(const char *name);
    // Puts a program with this name first on PATH; its calls, "name arguments", gather in calls.txt.
    void install_program(const std::string &name) const;

    // A context that traces into lgc/test.lgc at the given level (module "TEST").
    TraceContext context(int32_t level) const;
    std::string trace_text() const { return read("lgc/test.lgc"); }
    std::string protocol() const { return read("prot.txt"); }

private:
    std::filesystem::path root_;
    std::string path_before_; // PATH of the process
};

// The text with every trace time ("10:30:00#") reduced to "#" and every stamp ("2008-02-14 10:30:00", with or
// without the weekday) to "@".
std::string without_times(const std::string &text);

// Standard output or error of the process, collected in a file while the object lives.
class Captured {
public:
    explicit Captured(FILE *stream);
    ~Captured();
    std::string text(); // what was written so far; ends the collection

private:
    FILE *stream_;
    int saved_;
    std::filesystem::path file_;
};
