#include "bench/bench_site.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>

namespace {

Site g_site;

void must(bool good, const char *what, const std::string &file)
{
    if (good)
        return;
    std::perror((std::string(what) + " " + file).c_str());
    std::abort();
}

int must_open(const std::string &file, int flags)
{
    const int fd = open(file.c_str(), flags | O_CLOEXEC, 0666);
    must(fd >= 0, "open", file);
    return fd;
}

void must_write(int fd, const char *text, size_t length, const std::string &file)
{
    must(write(fd, text, length) == static_cast<ssize_t>(length), "write", file);
    must(close(fd) == 0, "close", file);
}

} // namespace

bool make_bench_site()
{
    const auto folder = std::filesystem::temp_directory_path() / ("tamba-bench-" + std::to_string(getpid()));
    std::string problem;
    if (!make_site(folder.string(), "en", &g_site, &problem)) {
        std::fprintf(stderr, "%s\n", problem.c_str());
        return false;
    }
    std::printf("Waiting four seconds: settings that have just been written are read anew at each call.\n");
    std::this_thread::sleep_for(std::chrono::seconds(4));
    return true;
}

void remove_bench_site()
{
    std::error_code ignored;
    std::filesystem::remove_all(g_site.root, ignored);
}

const Site &bench_site()
{
    return g_site;
}

TraceContext bench_context(int32_t level)
{
    TraceContext context{};
    std::snprintf(context.path, sizeof context.path, "%s", g_site.path("lgc/bench.lgc").c_str());
    context.level = level;
    return context;
}

void raw_append(const std::string &file, const char *text, size_t length)
{
    must_write(must_open(file, O_WRONLY | O_APPEND | O_CREAT), text, length, file);
}

void raw_write(const std::string &file, const char *text, size_t length)
{
    must_write(must_open(file, O_WRONLY | O_CREAT | O_TRUNC), text, length, file);
}

void raw_write_and_rename(const std::string &file, const char *text, size_t length)
{
    const std::string temporary = file + ".tmp";
    raw_write(temporary, text, length);
    must(rename(temporary.c_str(), file.c_str()) == 0, "rename", file);
}

size_t raw_read(const std::string &file)
{
    char buffer[8192];
    const int fd = must_open(file, O_RDONLY);
    const ssize_t got = read(fd, buffer, sizeof buffer);
    must(got >= 0, "read", file);
    must(close(fd) == 0, "close", file);
    return static_cast<size_t>(got);
}

void raw_lock_cycle(const std::string &file, const char *text, size_t length)
{
    const int fd = must_open(file, O_RDWR | O_CREAT);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_len = 1;
    must(fcntl(fd, F_OFD_SETLKW, &lock) == 0, "lock", file);
    must(write(fd, text, length) == static_cast<ssize_t>(length), "write", file);
    lock.l_type = F_UNLCK;
    must(fcntl(fd, F_OFD_SETLK, &lock) == 0, "unlock", file);
    must(close(fd) == 0, "close", file);
}

int raw_query(const std::string &file, const char *sql)
{
    sqlite3 *db = nullptr;
    char **table = nullptr;
    int rows = 0, columns = 0;
    must(sqlite3_open(file.c_str(), &db) == SQLITE_OK, "open", file);
    sqlite3_busy_timeout(db, 120000);
    must(sqlite3_get_table(db, sql, &table, &rows, &columns, nullptr) == SQLITE_OK, sql, file);
    sqlite3_free_table(table);
    sqlite3_close(db);
    return rows;
}
