#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <cstring>

void add_semaphore_rows()
{
    add_pair(
        "semaphore, take and release", 2.5,
        [](benchmark::State &state) {
            SemaRecord record{};
            std::strcpy(record.name, "bench");
            std::strcpy(record.requester, "benchmark");
            const TraceContext context{};
            for (auto _ : state) {
                if (i_SEMA('+', &record, context) != 1)
                    state.SkipWithError("semaphore not obtained");
                i_SEMA('-', &record, context);
            }
        },
        [](benchmark::State &state) {
            const std::string file = bench_site().path("work/sem/bench_raw.sem");
            const char text[] = " 123456 benchmark";
            for (auto _ : state)
                raw_lock_cycle(file, text, sizeof text - 1);
        },
        "open, lock, write, unlock, close");
}
