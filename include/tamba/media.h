#ifndef TAMBA_MEDIA_H
#define TAMBA_MEDIA_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_MEDIA_MSG_SIZE 512
#define TAMBA_LABEL_SIZE 64
#define TAMBA_DRIVE_SIZE 16
#define TAMBA_DRIVE_LIST_SIZE 256
#define TAMBA_GROUP_SIZE 64

TAMBA_API int32_t i_SPLIT_LABEL(const char *text, char *pool, int32_t *number);
TAMBA_API int32_t i_CHECK_MEDIUM_FOR_BACKUP(char *drive_num, char *media_info, const char *job, char *msg,
                                            TraceContext trace);
TAMBA_API int32_t GET_PREPARED_MEDIA(char *drive, char *media_info, int32_t is_label, char *msg,
                                     TraceContext trace);
TAMBA_API int32_t CHECK_AVAILABILITY_OF_MEDIUM(const char *drive, const char *label, const char *pool,
                                               const char *job, char *msg, TraceContext trace);
TAMBA_API int32_t RESTART_INIT(const char *drive, const char *job, const char *media_info, char *msg,
                               TraceContext trace);
TAMBA_API int32_t i_GET_DRIVES_OF_POOL(const char *pool, char *drives_out, TraceContext trace);
TAMBA_API int32_t i_GET_DRIVE_GROUP(const char *media_pool, const char *drive_num, char *grp_name_out,
                                    TraceContext trace);

TAMBA_END

#endif
