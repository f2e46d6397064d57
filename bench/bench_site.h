// The site that the benchmarks run on, and bare file calls for the raw side.
#pragma once

#include "site/site.h"

#include <tamba/tamba.h>

#include <cstddef>
#include <string>

bool make_bench_site();
void remove_bench_site();
const Site &bench_site();
TraceContext bench_context(int32_t level);

// The bare calls.  They abort the program on failure: a raw cost that did nothing would flatter nobody.
void raw_append(const std::string &file, const char *text, size_t length);
void raw_write(const std::string &file, const char *text, size_t length);
void raw_write_and_rename(const std::string &file, const char *text, size_t length);
size_t raw_read(const std::string &file);
void raw_lock_cycle(const std::string &file, const char *text, size_t length);

// The bare calls of one statement on a catalogue file; returns the number of rows.
int raw_query(const std::string &file, const char *sql);
