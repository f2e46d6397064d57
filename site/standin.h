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

// True when the script wants this program to fail, with the reason.
bool must_fail(const Call &call, std::string *reason);

// The label behind the pool's last one; false and the reason when the catalogue does not tell.
bool next_label(const Call &call, const std::string &pool, std::string *next, std::string *problem);

// A medium fresh from initialisation: every flag clear, nothing written yet, in the loader of the drive.  False and the
// reason in message when the catalogue does not take it.
bool write_medium(const Call &call, const std::string &label, const std::string &pool,
                  const std::string &type, const std::string &drive, std::string *message);

// A medium goes into a simulated drive; false when there is one in it.  A new label goes onto the medium in a drive, if
// there is one.
bool insert_medium(const std::string &drive_num, const std::string &medium);
void label_medium(const std::string &drive_num, const std::string &label);

// The programs; each returns its exit code.
int tb_qm(const Call &call);
int damisql(const Call &call);
int tb_notify(const Call &call);
int tb_arch(const Call &call);
int tbc(const Call &call);
int tb_client(const Call &call);
int remote_shell(const Call &call);
int tb_tbs_interface(const Call &call);
int tb_ndmp_interface(const Call &call);
int tb_loader(const Call &call);

// Functions of tb_client that look at drives.
int client_file(const Call &call);
int client_tape(const Call &call);
int client_performance(const Call &call);
