// v_set_log_main for a caller that has already read the ini file and goes on reading it.
#pragma once

#include <foundation/ini.h>
#include <tamba/trace.h>

void set_log_main(const char *file, const char *module, TraceContext &context, const IniFile &ini);

// Makes context the library's own, unless there is one already.
void fill_own_context(const TraceContext &context);
