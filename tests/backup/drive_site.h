// A simulated site whose drives are on this host, with their programs on PATH.
#pragma once

#include "tests/backup/media_site.h"

#include <foundation/messages.h>
#include <platform/clock.h>
#include <platform/files.h>
#include <site/daemon.h>

inline size_t count_of(const Lines &lines, std::string_view part)
{
    size_t count = 0;
    for (const std::string &line : lines)
        count += line.find(part) != std::string::npos;
    return count;
}

class DriveSite : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        const std::string bin = site.path("bin/tamba");
        pl_setenv("PATH", (bin + pl_path_list_separator() + pl_getenv("PATH")).c_str());
        char own[256] = "";
        ASSERT_TRUE(pl_host_name(own, sizeof own));
        host = own;
        sql("update clients set name='" + host + "' where client_id=1");
        set_variable("gv_tbs_without_eom_login", "y"); // without a performance service
        slept = 0;
        pl_set_clock_hooks({nullptr, [](uint32_t milliseconds) { slept += milliseconds; }});
    }
    void TearDown() override
    {
        pl_set_clock_hooks({nullptr, nullptr});
        gcInterrupt = 'n';
        MediaSite::TearDown();
    }

    // The drives' host is another one, where this daemon serves.
    void use_daemon(const ControlDaemon &daemon) const
    {
        sql("update clients set name='localhost' where client_id=1");
        set_ini("CTRLD_Server", "CTRLD_Port", std::to_string(daemon.port()));
    }
    // The result, then the answer.
    std::string handle(const char *command, const char *drive, const char *argument = "") const
    {
        char msg[TAMBA_DRIVE_MSG_SIZE] = "old text";
        const int32_t result = drive_handler(command, drive, argument, msg, trace);
        return std::to_string(result) + " " + msg;
    }
    std::string load(const char *command, const char *loader, const char *drive, const char *slot,
                     const std::string &log = "") const
    {
        char msg[TAMBA_DRIVE_MSG_SIZE];
        std::snprintf(msg, sizeof msg, "%s", log.c_str());
        const int32_t result = loader_handler(loader, command, drive, slot, msg);
        return std::to_string(result) + " " + msg;
    }
    static void set_variable(const char *name, const char *text)
    {
        char value[TAMBA_GLBV_SIZE];
        std::snprintf(value, sizeof value, "%s", text);
        glbv(*text ? "w" : "d", name, value);
    }
    // What the stand-ins keep: the medium in a drive.
    void insert(int drive, const std::string &medium) const
    {
        write_text(site.path("work/site/drive_" + std::to_string(drive)), medium + "\n");
    }
    std::string medium(int drive) const
    {
        const Lines text = lines_of(read_text(site.path("work/site/drive_" + std::to_string(drive))));
        return text.empty() ? "" : text[0];
    }
    std::string mounted(int drive) const
    {
        return value("select label from hw_drives where drive_num=" + std::to_string(drive));
    }
    std::string board() const { return read_text(site.path("info/info.dat")); }
    Lines new_calls()
    {
        Lines all = calls(site);
        Lines fresh(all.begin() + static_cast<std::ptrdiff_t>(seen), all.end());
        seen = all.size();
        return fresh;
    }

    std::string host;
    size_t seen = 0; // calls that new_calls has handed out
    static inline uint64_t slept = 0;
};
