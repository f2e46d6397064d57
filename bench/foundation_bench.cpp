#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <foundation/trace_scope.h>

#include <cstdlib>
#include <cstring>

namespace {

// The file behind a registry value; "" when it is not a file on this platform.
std::string registry_file(const std::string &below)
{
    const char *const root = std::getenv("TAMBA_REGISTRY");
    return std::string(root ? root : "") + "/software/korvel/tamba/" + below;
}

std::string variable_file(const std::string &name)
{
    return registry_file("glbv/" + name + "/@");
}

void nothing(const char *, ...) {}
void (*volatile nothing_elsewhere)(const char *,
                                   ...) = nothing; // through a table, as calls into a library go

void add_trace_rows()
{
    add_pair(
        "trace line of the library, off", 2.0,
        [](benchmark::State &state) {
            for (auto _ : state)
                trace("value %d of %s", 42, "something");
        },
        [](benchmark::State &state) {
            for (auto _ : state)
                nothing_elsewhere("value %d of %s", 42, "something");
        },
        "empty variadic call through a table");
    add_absolute("guarded WRITE_TRACE, off", 2.0, [](benchmark::State &state) {
        TraceContext context{};
        for (auto _ : state) {
            benchmark::DoNotOptimize(context.level);
            if (context.level > 0)
                WRITE_TRACE(&context, "value %d of %s", 42, "something");
        }
    });
    add_absolute("entry and exit line, off: two lines", 4.0, [](benchmark::State &state) {
        TraceContext context{};
        for (auto _ : state) {
            TraceScope scope(context, kTraceMain, "+++ SERVICE %s", "something");
            benchmark::DoNotOptimize(scope.leave(1, "--- SERVICE returns %d", 1));
        }
    });
    add_pair(
        "trace line", 1.3,
        [](benchmark::State &state) {
            TraceContext context = bench_context(2);
            for (auto _ : state)
                WRITE_TRACE(&context, "value %d of %s", 42, "something that is examined");
        },
        [](benchmark::State &state) {
            const char line[] = "12:34:56# value 42 of something that is examined\n";
            const std::string file = bench_site().path("lgc/bench.lgc");
            for (auto _ : state)
                raw_append(file, line, sizeof line - 1);
        },
        "open, write, close");
}

void add_message_rows()
{
    add_pair(
        "protocol line", 1.3,
        [](benchmark::State &state) {
            for (auto _ : state)
                PROT("I006-BACKUP  Starting tb_init %s (%s)", "-d 3", "DAILY");
        },
        [](benchmark::State &state) {
            const char line[] =
                "2026-02-14 10:30:00 Sat I006-BACKUP [123456]: Starting tb_init -d 3 (DAILY)\n";
            char file[TAMBA_GLBV_SIZE];
            glbv("r", "gv_prot", file);
            const std::string setting = variable_file("gv_prot"), protocol = file;
            for (auto _ : state) {
                raw_read(setting);
                raw_append(protocol, line, sizeof line - 1);
            }
        },
        "read setting; open, write, close");
}

void add_variable_rows()
{
    add_pair(
        "variable read, registry", 1.3,
        [](benchmark::State &state) {
            char value[TAMBA_GLBV_SIZE];
            for (auto _ : state)
                benchmark::DoNotOptimize(glbv("r", "gv_rw_work", value));
        },
        [](benchmark::State &state) {
            const std::string file = variable_file("gv_rw_work");
            for (auto _ : state)
                benchmark::DoNotOptimize(raw_read(file));
        },
        "open, read, close");
    add_pair(
        "variable write, registry", 1.3,
        [](benchmark::State &state) {
            char value[TAMBA_GLBV_SIZE] = "DAILY00012";
            for (auto _ : state)
                benchmark::DoNotOptimize(glbv("w", "gv_bench", value));
        },
        [](benchmark::State &state) {
            char value[TAMBA_GLBV_SIZE] = "DAILY00012";
            glbv("w", "gv_bench_raw", value);
            const std::string file = variable_file("gv_bench_raw");
            for (auto _ : state)
                raw_write_and_rename(file, value, std::strlen(value));
        },
        "open, write, close, rename");
    add_pair(
        "variable read, file", 1.3,
        [](benchmark::State &state) {
            char value[TAMBA_GLBV_SIZE] = "some text";
            glbv("w", "bench", value);
            for (auto _ : state)
                benchmark::DoNotOptimize(glbv("r", "bench", value));
        },
        [](benchmark::State &state) {
            char value[TAMBA_GLBV_SIZE] = "some text";
            glbv("w", "bench", value);
            const std::string setting = variable_file("gv_rw_glbv"),
                              file = bench_site().path("glbv/bench.sgv");
            for (auto _ : state) {
                raw_read(setting);
                benchmark::DoNotOptimize(raw_read(file));
            }
        },
        "read setting; open, read, close");
    add_pair(
        "variable write, file", 1.3,
        [](benchmark::State &state) {
            char value[TAMBA_GLBV_SIZE] = "some text";
            for (auto _ : state)
                benchmark::DoNotOptimize(glbv("w", "bench", value));
        },
        [](benchmark::State &state) {
            const std::string setting = variable_file("gv_rw_glbv"),
                              file = bench_site().path("glbv/bench.sgv");
            for (auto _ : state) {
                raw_read(setting);
                raw_write(file, "some text", 9);
            }
        },
        "read setting; open, write, close");
    add_pair(
        "ini read", 1.3,
        [](benchmark::State &state) {
            char value[256], error[256];
            for (auto _ : state)
                benchmark::DoNotOptimize(
                    i_READ_INI("TB_INI", "[SETUP]", "lang", value, sizeof value, error, sizeof error));
        },
        [](benchmark::State &state) {
            const std::string setting = registry_file("@tb_ini"), file = bench_site().path("ini/tb.ini");
            for (auto _ : state) {
                raw_read(setting);
                benchmark::DoNotOptimize(raw_read(file));
            }
        },
        "read setting; open, read, close");
}

} // namespace

void add_foundation_rows()
{
    add_trace_rows();
    add_message_rows();
    add_variable_rows();
}
