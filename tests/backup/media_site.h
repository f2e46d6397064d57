// A simulated site for the tests of media: catalogue, seed and stand-in programs.
#pragma once

#include "tests/support/text.h"

#include <foundation/trace_scope.h>
#include <gtest/gtest.h>
#include <platform/process.h>
#include <site/site.h>
#include <tamba/tamba.h>

#include "tests/support/system.h"

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

class MediaSite : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto folder =
            std::filesystem::temp_directory_path() / ("tamba-media-" + std::to_string(pl_process_id()));
        std::string problem;
        ASSERT_TRUE(make_site(folder.string(), "en", &site, &problem)) << problem;
        ASSERT_TRUE(install_programs(site, TAMBA_STANDIN, &problem)) << problem;
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
    }
    std::string protocol() const { return read_text(site.path("log/tamba.prot")); }
    std::string trace_text() const { return read_text(site.path("lgc/test.lgc")); }

    Site site;
    TraceContext trace{};
    bool expect_complaints = false; // of the catalogue, in the protocol
};

using Lines = std::vector<std::string>;
