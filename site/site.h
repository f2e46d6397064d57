// A whole site of the backup system in one directory: configuration, catalogue, log and lock directories, and
// programs that stand in for the ones around the library.  Made by the demo, by tests and by benchmarks, and
// of use to everybody who writes a program on top of the library.
#pragma once

#include <string>
#include <vector>

struct Site {
    std::string root; // ends with a separator

    // A path below the root; "/" in relative becomes the system's separator.
    std::string path(const std::string &relative) const;
};

// Makes the site in a directory, which is created if need be: the directories ini, lgc, work/sem, work/site,
// glbv, info, db and bin/tamba, "tb.ini", "debug.ini" (every module off), the registry values and global
// variables, the catalogue and its seed.  language is what "[SETUP]" "lang" gets, e.g. "en" or "de".
//
// Points this process, and by inheritance its children, to the site.  False and the reason in problem on
// failure.
bool make_site(const std::string &directory, const std::string &language, Site *site, std::string *problem);

// Points this process to a site that another process made.
Site open_site(const std::string &directory);

// Installs the stand-in programs in bin/tamba, each as "<name>" and "<name>.exe", from the one program of the build.
bool install_programs(const Site &site, std::string *problem);

// Puts gzip and gunzip of our own among a site's programs; install_programs does it where the system has none.
bool install_gzip(const Site &site);

// Switches the trace level of a module in "debug.ini".
bool set_trace_level(const Site &site, const std::string &module, int level);

// Gives a key that stands in "tb.ini" another value.
bool set_ini_value(const Site &site, const std::string &key, const std::string &value);

// The simulated drives: a label, "-" for a medium without one, "" for none.
bool put_into_drive(const Site &site, const std::string &drive_num, const std::string &medium);
std::string medium_in_drive(const Site &site, const std::string &drive_num);

// Runs statements on the catalogue, without the library: for arranging what a case needs.
bool site_sql(const Site &site, const std::string &statements, std::string *problem = nullptr);

// Rows of a query on the catalogue, without the library; "NULL" for an SQL NULL.
using SiteRow = std::vector<std::string>;
std::vector<SiteRow> site_rows(const Site &site, const std::string &query);

// Every row of every table, one per line: for comparing the catalogue with itself.
std::string dump_catalogue(const Site &site);

// Text files of the site, "" when missing.  Line ends are single line feeds.
std::string read_text(const std::string &path);
bool write_text(const std::string &path, const std::string &text);
std::vector<std::string> lines_of(const std::string &text);

// Command lines of the stand-in programs so far, oldest first.
std::vector<std::string> calls(const Site &site);

// Scripts for a stand-in program, in force until the file is removed:
//   work/site/<name>.fail   the program fails and reports the file's text
//   work/site/<name>.answer the program prints the file's text instead of its own answer, and does nothing else; what else
//                           can stand there is said in the sources standin_*.cpp
//   work/site/<name>.gate   one start of the program turns it into <name>.arrived and waits for its end
std::string script_path(const Site &site, const std::string &program, const std::string &kind);
