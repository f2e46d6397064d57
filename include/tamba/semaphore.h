#ifndef TAMBA_SEMAPHORE_H
#define TAMBA_SEMAPHORE_H

#include <tamba/handle.h>
#include <tamba/trace.h>

TAMBA_BEGIN

typedef struct SemaRecord {
    char name[32];
    char requester[1024];
    char message[1032];
    TB_HANDLE handle;
} SemaRecord;

TAMBA_API int32_t i_SEMA(char operation, SemaRecord *record, TraceContext trace);

TAMBA_END

#endif
