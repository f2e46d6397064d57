#include <platform/files.h>

#include <platform/fault.h>

#include <cerrno>

int32_t pl_fclose(FILE *stream)
{
    const bool failed_before = std::ferror(stream) != 0;
    if (pl_fault()) {
        std::fclose(stream);
        return ENOSPC;
    }
    if (std::fclose(stream) != 0)
        return errno;
    return failed_before ? EIO : 0;
}
