#ifndef TAMBA_PROCESS_H
#define TAMBA_PROCESS_H

#include <tamba/trace.h>

TAMBA_BEGIN

TAMBA_API int32_t start_system(const char *cmd);
TAMBA_API int32_t i_cm_system(const char *cmd);
TAMBA_API int32_t i_cm_exec(const char *cmd);
TAMBA_API int32_t start_proc(const char *cmd);
TAMBA_API int32_t start_exe(const char *cmd, TraceContext trace);
TAMBA_API int32_t pid_exist(int32_t ref, TraceContext trace);
TAMBA_API int32_t i_KILL_PROCESS(const char *ref_text);
TAMBA_API void AVOID_MULTI_PROCESS(const char *name);
TAMBA_API int32_t i_GET_LOCK_FOR_PROCESS(char mode, const char *name, char *msg, int32_t size);

TAMBA_END

#endif
