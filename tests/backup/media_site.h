// A simulated site for the tests of media: catalogue, seed and stand-in programs.
#pragma once

#include "tests/support/text.h"

#include <db/cm_db_sqlite.h>
#include <foundation/ini.h>
#include <foundation/trace_scope.h>
#include <gtest/gtest.h>
#include <platform/process.h>
#include <site/site.h>
#include <tamba/tamba.h>

#include "tests/support/system.h"

#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

struct Answer {
    int32_t result;
    std::string drive, label, msg;
};

inline Answer ask_for_medium(const std::string &drive, const std::string &media_info,
                             const TraceContext &trace)
{
    char drive_num[TAMBA_DRIVE_SIZE], info[TAMBA_LABEL_SIZE], msg[TAMBA_MEDIA_MSG_SIZE];
    std::snprintf(drive_num, sizeof drive_num, "%s", drive.c_str());
    std::snprintf(info, sizeof info, "%s", media_info.c_str());
    const int32_t result = i_CHECK_MEDIUM_FOR_BACKUP(drive_num, info, "job", msg, trace);
    return {result, drive_num, info, msg};
}

// Keeps every other user out of the catalogue; nobody waits long for it.
class CatalogueLock {
public:
    explicit CatalogueLock(const Site &site)
    {
        set_busy_limit_ms(20);
        EXPECT_EQ(sqlite3_open(site.path("db/tamba_db.sdb").c_str(), &db_), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db_, "begin exclusive", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~CatalogueLock()
    {
        sqlite3_close(db_);
        set_busy_limit_ms(kBusyLimitMs);
    }
    CatalogueLock(const CatalogueLock &) = delete;
    CatalogueLock &operator=(const CatalogueLock &) = delete;

private:
    sqlite3 *db_ = nullptr;
};

// A statement of the library, and what SQLite's planner makes of it.
struct Plan {
    std::string statement, plan;
};

inline bool is_locked(const std::string &semaphore)
{
    SemaRecord record{};
    std::snprintf(record.name, sizeof record.name, "%s", semaphore.c_str());
    return i_SEMA('?', &record, TraceContext{}) == 1;
}

class MediaSite : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto folder =
            std::filesystem::temp_directory_path() / ("tamba-media-" + std::to_string(pl_process_id()));
        std::string problem;
        ASSERT_TRUE(make_site(folder.string(), "en", &site, &problem)) << problem;
        ASSERT_TRUE(install_programs(site, &problem)) << problem;
        std::snprintf(trace.path, sizeof trace.path, "%s", site.path("lgc/test.lgc").c_str());
        trace.level = 1;
    }

    void TearDown() override
    {
        EXPECT_EQ(trace_depth(), 0) << "an entry line without its exit line";
        if (!expect_complaints) {
            EXPECT_EQ(protocol().find("-DATABAS"), std::string::npos) << protocol();
        }
        remove_registry(site.path("registry"));
        std::error_code ignored;
        std::filesystem::remove_all(site.root, ignored);
    }

    Answer ask(const std::string &drive, const std::string &media_info) const
    {
        return ask_for_medium(drive, media_info, trace);
    }
    void sql(const std::string &statements) const
    {
        std::string problem;
        ASSERT_TRUE(site_sql(site, statements, &problem)) << problem << ": " << statements;
    }
    std::string value(const std::string &query) const
    {
        const auto rows = site_rows(site, query);
        return rows.empty() ? "no row" : rows[0][0];
    }
    // Gives a key of the ini file its value, in a section that is there.
    void set_ini(const std::string &section, const std::string &key, const std::string &text) const
    {
        const std::string file = site.path("ini/tb.ini");
        std::string ini = read_text(file);
        const size_t at = ini.find("\n" + key + "=");
        const std::string header = "[" + section + "]\n";
        if (at == std::string::npos)
            ini.insert(ini.find(header) + header.size(), key + "=" + text + "\n");
        else
            ini.replace(at, ini.find('\n', at + 1) - at, "\n" + key + "=" + text);
        ASSERT_TRUE(write_text(file, ini));
        IniFile::forget_recent();
    }
    // What the stand-in of a program is to do or to say; "" takes that back.
    void script(const std::string &program, const std::string &kind, const std::string &text) const
    {
        if (text.empty())
            std::filesystem::remove(script_path(site, program, kind));
        else
            ASSERT_TRUE(write_text(script_path(site, program, kind), text));
    }
    void remove_program(const std::string &name) const
    {
        for (const char *ending : {"", ".exe"})
            std::filesystem::remove(site.path("bin/tamba/" + name + ending));
    }
    // From now on no semaphore can be taken.
    void break_semaphores() const
    {
        std::filesystem::remove_all(site.path("work/sem"));
        ASSERT_TRUE(write_text(site.path("work/sem"), "no directory"));
    }
    void expect_no_work_files() const
    {
        for (const auto &entry : std::filesystem::directory_iterator(site.path("work")))
            EXPECT_NE(entry.path().extension(), ".tmp") << entry.path();
    }
    // The library's own statements, taken from the trace; none may look through a table or sort.
    std::vector<Plan> plans() const
    {
        std::vector<Plan> all;
        for (const std::string &line : lines_of(trace_text())) {
            const size_t start = line.find("SQL=");
            if (start == std::string::npos)
                continue;
            all.push_back({line.substr(start + 4), ""});
            for (const SiteRow &row : site_rows(site, "explain query plan " + all.back().statement))
                all.back().plan += row.back() + "\n";
            EXPECT_NE(all.back().plan, "") << line;
            EXPECT_FALSE(holds(all.back().plan, "SCAN") || holds(all.back().plan, "ORDER BY")) << line;
        }
        return all;
    }
    std::string protocol() const { return read_text(site.path("log/tamba.prot")); }
    std::string trace_text() const { return read_text(site.path("lgc/test.lgc")); }

    Site site;
    TraceContext trace{};
    bool expect_complaints = false; // of the catalogue, in the protocol
};

using Lines = std::vector<std::string>;
