#include <platform/message_text.h>

#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <cstdio>
#include <cstring>
#include <rpc.h>

namespace {

// A buffer that is too small for a message would get nothing of it.
constexpr DWORD kMessageSize = 4096;

PlMessage format_message(DWORD source, HMODULE module, uint32_t number, DWORD language, char *out,
                         size_t size)
{
    char text[kMessageSize];
    const DWORD length = FormatMessageA(source | FORMAT_MESSAGE_IGNORE_INSERTS, module, number, language,
                                        text, kMessageSize, nullptr);
    if (length == 0) {
        const DWORD error = GetLastError();
        pl_fail(error);
        return error == ERROR_MR_MID_NOT_FOUND ? PlMessage::missing : PlMessage::failed;
    }
    std::snprintf(out, size, "%s", text);
    return PlMessage::found;
}

} // namespace

PlMessage pl_module_message(const char *module, uint32_t number, char *out, size_t size)
{
    const HMODULE library = LoadLibraryA(module);
    if (!library) {
        pl_fail_last();
        return PlMessage::no_module;
    }
    const PlMessage result = format_message(FORMAT_MESSAGE_FROM_HMODULE, library, number,
                                            MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), out, size);
    FreeLibrary(library);
    return result;
}

PlMessage pl_rpc_message(uint32_t number, char *out, size_t size)
{
    unsigned char text[256]; // filled up to its whole size, whatever the caller has room for
    char no_error[256] = "";
    if (DceErrorInqTextA(static_cast<RPC_STATUS>(number), text) != RPC_S_OK)
        return PlMessage::missing;
    text[sizeof text - 1] = '\0';
    // Some systems answer an unknown number with the text for just that, and success.
    const auto *const answer = reinterpret_cast<const char *>(text);
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        RPC_S_NOT_RPC_ERROR, 0, no_error, sizeof no_error, nullptr);
    if (length > 0 && number != RPC_S_NOT_RPC_ERROR && std::strcmp(answer, no_error) == 0)
        return PlMessage::missing;
    std::snprintf(out, size, "%s", answer);
    return PlMessage::found;
}

PlMessage pl_system_message(uint32_t number, char *out, size_t size)
{
    return format_message(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, number,
                          MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), out, size);
}
