// Chaining of texts with an overflow check.
#include <foundation/messages.h>
#include <foundation/text.h>
#include <tamba/text.h>

#include <cstdarg>
#include <cstdio>

namespace {

void report_overflow(const char *buffer, const char *text)
{
    prot_message<Msg::kChainOverflow>();
    std::fprintf(stderr,
                 "FATAL: STR_CHAIN: string overflow strlen(filled_string) + strlen(new_string) > %d\n",
                 TAMBA_CHAIN_SIZE - 1);
    std::fprintf(stderr, "  filled_string: %s\n", buffer);
    std::fprintf(stderr, "  new_string: %s\n", text);
}

} // namespace

char *str_chain(char *buffer, int32_t clear, const char *text, ...)
{
    if (!buffer)
        return buffer;
    if (clear)
        buffer[0] = '\0';
    else if (strnlen(buffer, TAMBA_CHAIN_SIZE) == TAMBA_CHAIN_SIZE)
        buffer[TAMBA_CHAIN_SIZE - 1] = '\0';

    va_list more;
    va_start(more, text);
    // Only the text that does not fit is left out: a shorter one behind it is still appended.
    for (; text && *text; text = va_arg(more, const char *)) {
        const size_t used = std::strlen(buffer);
        const size_t length = std::strlen(text);
        if (used + length >= TAMBA_CHAIN_SIZE)
            report_overflow(buffer, text);
        else
            append_text(buffer, TAMBA_CHAIN_SIZE, {text, length});
    }
    va_end(more);
    return buffer;
}
