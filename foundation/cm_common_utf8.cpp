#include <foundation/text.h>
#include <tamba/text.h>

int32_t cm_convert2utf8(const char *text, char *out, int32_t size)
{
    const auto room = static_cast<size_t>(size > 0 && out ? size : 0);
    size_t needed = 0, written = 0;
    for (const char c : std::string_view(text_or_empty(text))) {
        const auto code = static_cast<unsigned char>(c);
        const size_t length = code < 0x80 ? 1 : 2;
        if (needed + length < room) { // as soon as one does not fit, none does
            if (length == 2)
                out[written++] = static_cast<char>(0xC0 | code >> 6);
            out[written++] = static_cast<char>(length == 2 ? 0x80 | (code & 0x3F) : code);
        }
        needed += length;
    }
    if (room > 0)
        out[written] = '\0';
    return static_cast<int32_t>(needed);
}
