#include <platform/message_text.h>

#include <platform/posix/errors.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

PlMessage pl_module_message(const char *, uint32_t, char *, size_t)
{
    return PlMessage::unavailable;
}

PlMessage pl_rpc_message(uint32_t, char *, size_t)
{
    return PlMessage::unavailable;
}

PlMessage pl_system_message(uint32_t number, char *out, size_t size)
{
    const char *const text = number <= INT_MAX ? strerrordesc_np(static_cast<int>(number)) : nullptr;
    if (!text) {
        pl_fail(EINVAL);
        return PlMessage::missing;
    }
    std::snprintf(out, size, "%s", text);
    return PlMessage::found;
}
