#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <malloc.h>
#include <random>
#include <vector>

namespace {

// ---- sorting lists ----------------------------------------------------------------------------------------------

struct Entry {
    int64_t key, number;
};

constexpr size_t kEntries = 1000000;

const std::vector<Entry> &entries()
{
    static const std::vector<Entry> all = [] {
        std::mt19937_64 random(4711);
        std::vector<Entry> made;
        for (size_t i = 0; i < kEntries; ++i)
            made.push_back({static_cast<int64_t>(random() >> 1), static_cast<int64_t>(i)});
        return made;
    }();
    return all;
}

int by_key(const void *a, const void *b)
{
    const int64_t left = static_cast<const Entry *>(a)->key, right = static_cast<const Entry *>(b)->key;
    return left < right ? -1 : left > right;
}

// Puts what the last list has left together again: the elements of every list then lie in memory in the order in which
// they are made, whichever list was sorted before.
void tidy_memory()
{
    malloc_trim(0);
}

BenchBody sort_body(LLHead *(*sort)(LLHead *, LLCompare))
{
    return [sort](benchmark::State &state) {
        for (auto _ : state) {
            state.PauseTiming();
            tidy_memory();
            LLHead *const list = ConsLL();
            for (const Entry &entry : entries())
                InsLastLLf(list, sizeof entry, &entry);
            state.ResumeTiming();
            sort(list, by_key);
            state.PauseTiming();
            DestLL(list);
            state.ResumeTiming();
        }
    };
}

// The compiler may put the comparison into this sort; ours calls it through a pointer.
void sort_std_list(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        tidy_memory();
        std::list<Entry> list(entries().begin(), entries().end());
        state.ResumeTiming();
        list.sort([](const Entry &a, const Entry &b) { return a.key < b.key; });
        state.PauseTiming();
        list.clear();
        state.ResumeTiming();
    }
}

// ---- searching a log --------------------------------------------------------------------------------------------

constexpr size_t kLogSize = size_t{256} << 20;

// A log of lines as the programs write them.  A tag stands in every ten-thousandth line, another one, and some
// words, in the last line only.
const std::string &log_file()
{
    static const std::string file = [] {
        std::string path = bench_site().path("lgc/search.lgc");
        std::printf("Writing a log of 256 MiB for the searches.\n");
        std::fflush(stdout);
        FILE *const stream = std::fopen(path.c_str(), "wb");
        std::mt19937 random(4711);
        size_t written = 0;
        for (size_t line = 1; stream && written < kLogSize; ++line) {
            const auto value = static_cast<unsigned>(random());
            written += static_cast<size_t>(std::fprintf(
                stream, "%02u:%02u:%02u#    %s of drive %u: %08x, medium DAILY%05u in slot %u\n", value % 24,
                value % 60, value % 61, line % 10000 ? "label read" : "W014-GETVOL  wrong medium", value % 8,
                value, value % 100000, value % 500));
        }
        if (!stream || std::fputs("E012-GETVOL  nobody has answered the request\n", stream) < 0 ||
            std::fclose(stream) != 0) {
            std::perror(path.c_str());
            std::abort();
        }
        return path;
    }();
    return file;
}

std::string answer_of(const std::string &command)
{
    FILE *const pipe = popen(command.c_str(), "r");
    char line[512] = "";
    if (!pipe || !std::fgets(line, sizeof line, pipe)) {
        std::fprintf(stderr, "nothing was found by: %s\n", command.c_str());
        std::abort();
    }
    while (std::fgetc(pipe) != EOF)
        ;
    pclose(pipe);
    line[std::strcspn(line, "\n")] = '\0';
    return line;
}

// Ours and grep have to find the same line.
void add_search_row(const std::string &name, int32_t (*search)(const char *, char *),
                    const std::string &pattern, const std::string &raw_name, const std::string &options,
                    const std::string &behind)
{
    const auto command = [=] { return "LC_ALL=C grep -F " + options + " '" + log_file() + "'" + behind; };
    add_pair(
        name, 2.0,
        [=](benchmark::State &state) {
            const std::string expected = answer_of(command());
            for (auto _ : state) {
                char text[TAMBA_PATTERN_SIZE];
                std::snprintf(text, sizeof text, "%s^", pattern.c_str());
                if (search(log_file().c_str(), text) != 1 || expected != text)
                    state.SkipWithError("another line was found");
            }
        },
        [=](benchmark::State &state) {
            for (auto _ : state)
                benchmark::DoNotOptimize(answer_of(command()));
        },
        raw_name);
}

// ---- judging a log ----------------------------------------------------------------------------------------------

constexpr size_t kJobLogSize = size_t{64} << 20;

// A backup's log: a line for each file, one of a thousand is a warning; the counts and a good end.
const std::string &job_log()
{
    static const std::string file = [] {
        std::string path = bench_site().path("work/bench.not");
        FILE *const stream = std::fopen(path.c_str(), "wb");
        size_t written = 0;
        for (size_t line = 1; stream && written < kJobLogSize; ++line)
            written += static_cast<size_t>(std::fprintf(
                stream, "2008-02-14 %02zu:%02zu:%02zu: tbc-%s:    /data/projects/%zu/file %zu.dat\n",
                line / 3600 % 24, line / 60 % 60, line % 60, line % 1000 ? "3012: Info" : "2031: Warn",
                line / 500, line));
        if (!stream ||
            std::fputs(
                "2008-02-14 23:59:59: tbc-3052: Info:     Items processed correctly: [7]. Not processed or "
                "incorrectly processed Items: [0].\n2008-02-14 23:59:59: tbc-3007: Info:    Saveset closed\n",
                stream) < 0 ||
            std::fclose(stream) != 0) {
            std::perror(path.c_str());
            std::abort();
        }
        return path;
    }();
    return file;
}

void judge_log(benchmark::State &state)
{
    job_log();
    for (auto _ : state) {
        BackupLogResult result{};
        if (i_ANALYSE_BACKUP_LOG(&result, "AF1", job_log().c_str(), "/data", bench_context(0)) != 1 ||
            result.processed_items != 7)
            state.SkipWithError(result.message);
    }
}

void read_lines(benchmark::State &state)
{
    job_log();
    for (auto _ : state) {
        FILE *const stream = std::fopen(job_log().c_str(), "r");
        char line[512];
        size_t lines = 0;
        while (stream && std::fgets(line, sizeof line, stream))
            ++lines;
        if (!stream || std::fclose(stream) != 0 || lines < kJobLogSize / 100)
            state.SkipWithError("the log was not read");
    }
}

} // namespace

void add_file_rows()
{
    add_pair("sort of a million, MergeSortLL", 1.0, sort_body(MergeSortLL), sort_std_list, "std::list::sort");
    add_pair("sort of a million, SysSortLL", 1.0, sort_body(SysSortLL), sort_std_list, "std::list::sort");
    add_search_row("256 MiB, first hit, a tag", file_search, "E012-GETVOL", "grep -F -m 1",
                   "-m 1 'E012-GETVOL'", "");
    add_search_row("256 MiB, first hit, words", file_search, "answered the request", "grep -F -m 1",
                   "-m 1 'answered the request'", "");
    add_search_row("256 MiB, first hit, either of two", file_search, "E012-GETVOL|OR|E099-QUEUE",
                   "grep -F -m 1", "-m 1 -e 'E012-GETVOL' -e 'E099-QUEUE'", "");
    add_search_row("256 MiB, last hit, frequent or absent", file_rev_search, "W014-GETVOL|OR|E099-QUEUE",
                   "grep -F, the last line", "-e 'W014-GETVOL' -e 'E099-QUEUE'", " | tail -n 1");
    add_search_row("256 MiB, last hit of many", file_rev_search, "W014-GETVOL", "grep -F, the last line",
                   "'W014-GETVOL'", " | tail -n 1");
    add_pair("64 MiB, what a backup's log says", 2.0, judge_log, read_lines, "fgets of each line");
}
