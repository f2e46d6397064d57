// Each service beside its raw cost: the bare system or SQLite calls that do the same to the same files, in
// the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

using BenchBody = std::function<void(benchmark::State &)>;

// A row of the table: ours is to cost at most limit times the raw body.
void add_pair(const std::string &name, double limit, BenchBody ours, BenchBody raw,
              const std::string &raw_name);

// A row whose limit is an absolute time.
void add_absolute(const std::string &name, double limit_ns, BenchBody ours);

// The groups, one per file.
void add_foundation_rows();
void add_semaphore_rows();
void add_catalogue_rows();
void add_media_rows();
void add_housekeeping_rows();
void add_file_rows();
void add_process_rows();
void add_service_rows();
