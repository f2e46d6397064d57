// What the stand-in programs share: one program under many names, see standin.cpp.
#pragma once

#include <string>
#include <tamba/tamba.h>
#include <vector>

// One start of a stand-in.
struct Call {
    std::string program;
    std::vector<std::string> arguments;
    TraceContext trace{};

    // The word behind an option, "" without one.
    std::string option(const char *name) const;
    // An argument by position, "" beyond the last.
    std::string argument(size_t index) const;
};

// Global variables of the site.
std::string global(const char *name);
void set_global(const std::string &name, const std::string &text);

// The path of a script of this program (site.h tells which there are), and its text; false without one.
std::string script(const Call &call, const std::string &kind);
bool read_script(const Call &call, const std::string &kind, std::string *text);

// The programs; each returns its exit code.
int tb_qm(const Call &call);
int damisql(const Call &call);
int tbc(const Call &call);
int tb_client(const Call &call);
int remote_shell(const Call &call);
