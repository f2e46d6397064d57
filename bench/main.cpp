// Runs the pairs one after another and prints a row for each as soon as it is measured.
#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

namespace {

struct Row {
    std::string name, raw_name;
    double limit;
    bool absolute;
};

std::vector<Row> &rows()
{
    static std::vector<Row> all;
    return all;
}

// Collects the nanoseconds of every repetition by benchmark name.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.error_occurred)
                errors[run.run_name.function_name] = run.error_message;
            else if (run.run_type == Run::RT_Iteration)
                times[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
        }
    }
    double median(const std::string &name)
    {
        std::vector<double> &all = times[name];
        if (all.empty())
            return 0;
        std::sort(all.begin(), all.end());
        return all[all.size() / 2];
    }
    std::map<std::string, std::vector<double>> times;
    std::map<std::string, std::string> errors;
};

void register_body(const std::string &name, BenchBody body)
{
    benchmark::RegisterBenchmark(name.c_str(), std::move(body))->UseRealTime();
}

std::string readable(double ns)
{
    char text[32];
    if (ns < 1000)
        std::snprintf(text, sizeof text, "%.1f ns", ns);
    else if (ns < 1e6)
        std::snprintf(text, sizeof text, "%.2f us", ns / 1e3);
    else
        std::snprintf(text, sizeof text, "%.2f ms", ns / 1e6);
    return text;
}

bool run_row(const Row &row)
{
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector, "^" + row.name + " (ours|raw)");
    for (const auto &[name, error] : collector.errors)
        std::printf("%-44s %s\n", name.c_str(), error.c_str());
    if (!collector.errors.empty())
        return false;
    if (collector.times.empty()) {
        std::printf("%-44s was not measured\n", row.name.c_str());
        return false;
    }
    const double ours = collector.median(row.name + " ours");
    const double raw = row.absolute ? row.limit : collector.median(row.name + " raw");
    const double ratio = raw > 0 ? ours / raw : 0;
    const bool met = row.absolute ? ours <= row.limit : ratio <= row.limit;
    if (row.absolute)
        std::printf("%-44s %10s   %-38s %8s  %6s  limit %s  %s\n", row.name.c_str(), readable(ours).c_str(),
                    "", "", "", readable(row.limit).c_str(), met ? "met" : "MISSED");
    else
        std::printf("%-44s %10s   %-38s %10s  x %4.2f  limit x %.2f  %s\n", row.name.c_str(),
                    readable(ours).c_str(), row.raw_name.c_str(), readable(raw).c_str(), ratio, row.limit,
                    met ? "met" : "MISSED");
    std::fflush(stdout);
    return met;
}

} // namespace

void add_pair(const std::string &name, double limit, BenchBody ours, BenchBody raw,
              const std::string &raw_name)
{
    register_body(name + " ours", std::move(ours));
    register_body(name + " raw", std::move(raw));
    rows().push_back({name, raw_name, limit, false});
}

void add_absolute(const std::string &name, double limit_ns, BenchBody ours)
{
    register_body(name + " ours", std::move(ours));
    rows().push_back({name, "", limit_ns, true});
}

// usage: tamba_bench [part of a row's name]
int main(int argc, char **argv)
{
    const std::string wanted = argc > 1 && argv[1][0] != '-' ? argv[1] : "";
    // Ours and raw alternate, so that a drift of the machine meets both; the medians are compared.
    std::vector<char *> arguments(argv, argv + argc);
    char repetitions[] = "--benchmark_repetitions=9", mixed[] = "--benchmark_enable_random_interleaving=true",
         time[] = "--benchmark_min_time=0.05";
    arguments.insert(arguments.begin() + 1, {repetitions, mixed, time});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    if (!make_bench_site()) {
        std::fprintf(stderr, "cannot make the site for the benchmarks\n");
        return 1;
    }
    add_foundation_rows();
    add_semaphore_rows();
    add_catalogue_rows();
    add_media_rows();
    add_housekeeping_rows();
    add_file_rows();
    add_process_rows();
    add_service_rows();
    std::erase_if(rows(), [&](const Row &row) { return row.name.find(wanted) == std::string::npos; });
    std::printf("Each service beside its raw cost, median of 9 runs each; about two minutes in all.\n\n");
    std::printf("%-44s %10s   %-38s %10s\n", "service", "time", "raw cost: the bare calls", "time");
    int missed = 0;
    for (const Row &row : rows())
        missed += run_row(row) ? 0 : 1;
    std::printf("\n%zu rows, %d over their limit\n", rows().size(), missed);
    remove_bench_site();
    return 0;
}
