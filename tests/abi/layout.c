/* Sizes and offsets of the records that programs share with the library.  They are the same on both platforms: programs
 * that were built against an older library of this interface go on working. */
#include <stdio.h>
#include <tamba/tamba.h>

#define FIELD(record, field, offset)                                                                         \
    {                                                                                                        \
#record "." #field, offsetof(record, field), offset                                                  \
    }
#define SIZE(record, size)                                                                                   \
    {                                                                                                        \
#record, sizeof(record), size                                                                        \
    }

static const struct {
    const char *what;
    size_t found, documented;
} kLayout[] = {
    FIELD(TraceContext, path, 0),
    FIELD(TraceContext, level, 384),
    FIELD(TraceContext, to_stderr, 388),
    FIELD(TraceContext, indent, 392),
    SIZE(TraceContext, 456),
    FIELD(SemaRecord, name, 0),
    FIELD(SemaRecord, requester, 32),
    FIELD(SemaRecord, message, 1056),
    FIELD(SemaRecord, handle, 2088),
    SIZE(SemaRecord, 2096),
    FIELD(DB_REC, number, 0),
    FIELD(DB_REC, text, 8),
    FIELD(DB_REC, next, 16),
    SIZE(DB_REC, 24),
    FIELD(DB_REC_LIST, name, 0),
    FIELD(DB_REC_LIST, count, 32),
    FIELD(DB_REC_LIST, record_size, 36),
    FIELD(DB_REC_LIST, first, 40),
    FIELD(DB_REC_LIST, last, 48),
    SIZE(DB_REC_LIST, 56),
    FIELD(DriveProperties, loader_num, 656),
    FIELD(DriveProperties, host, 784),
    FIELD(DriveProperties, shared, 976),
    SIZE(DriveProperties, 980),
    FIELD(LoaderProperties, device, 144),
    SIZE(LoaderProperties, 480),
    FIELD(GetVolumeStrategy, requested_label, 1),
    FIELD(GetVolumeStrategy, drive_num, 32),
    FIELD(GetVolumeStrategy, accept_empty, 40),
    FIELD(GetVolumeStrategy, accept_spare, 41),
    FIELD(GetVolumeStrategy, accept_eol, 42),
    FIELD(GetVolumeStrategy, semaphore, 43),
    FIELD(GetVolumeStrategy, requested_pool, 63),
    FIELD(GetVolumeStrategy, result_label, 94),
    SIZE(GetVolumeStrategy, 125),
};

int main(void)
{
    const size_t count = sizeof kLayout / sizeof kLayout[0];
    int wrong = 0;
    for (size_t i = 0; i < count; ++i) {
        if (kLayout[i].found == kLayout[i].documented)
            continue;
        ++wrong;
        printf("%s: %d instead of %d\n", kLayout[i].what, (int)kLayout[i].found, (int)kLayout[i].documented);
    }
    printf("%d of %d places are as documented\n", (int)count - wrong, (int)count);
    return wrong != 0;
}
