// Fields and pieces of texts.
#include <tamba/options.h>

#include <foundation/alloc.h>
#include <foundation/text.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kTokenSize = 8192;
constexpr size_t kElemLength = 767;

// The text whose fields are being taken.
struct Tokens {
    char text[kTokenSize];
    size_t length;
    size_t at; // beyond length: no field is left
} tokens = {"", 0, 1};

char *copy_of(std::string_view text)
{
    AllocatedText copy = allocate_text(text.size() + 1);
    copy_text(copy.get(), text.size() + 1, text);
    return copy.release();
}

size_t occurrences(std::string_view text, std::string_view mark)
{
    size_t count = 0;
    for (size_t at = 0; (at = text.find(mark, at)) != std::string_view::npos; at += mark.size())
        ++count;
    return count;
}

} // namespace

char *cm_strtok(const char *text, char separator)
{
    if (text) {
        const size_t length = std::strlen(text);
        if (length >= kTokenSize)
            std::fprintf(stderr, "string shortend to %d chars bcs. of string overflow: strlen(%s) > %d\n",
                         static_cast<int>(kTokenSize - 1), text, static_cast<int>(kTokenSize - 1));
        copy_text(tokens.text, kTokenSize, std::string_view(text, length)); // text may lie in the buffer
        tokens.length = std::strlen(tokens.text);
        std::replace(tokens.text, tokens.text + tokens.length, separator, '\0');
        tokens.at = 0;
        return tokens.text;
    }
    if (tokens.at <= tokens.length)
        tokens.at += std::strlen(tokens.text + tokens.at) + 1;
    return tokens.at <= tokens.length ? tokens.text + tokens.at : nullptr;
}

int32_t str_elem(int32_t index, char separator, const char *text, char *out)
{
    std::string_view whole = text_or_empty(text);
    if (whole.empty() || (whole.size() == 1 && whole[0] == separator) || index < 0) {
        copy_text(out, 1, "");
        return 0;
    }
    if (index == 0 && whole.find(separator) == std::string_view::npos) {
        copy_text(out, whole.size() + 1, whole);
        return 1;
    }
    whole = whole.substr(whole[0] == separator ? 1 : 0).substr(0, kElemLength);
    const char *field = cm_strtok(FixedText<TAMBA_ELEM_SIZE>(whole).c_str(), separator);
    for (; field && index > 0; --index)
        field = cm_strtok(nullptr, separator);
    copy_text(out, TAMBA_ELEM_SIZE, text_or_empty(field));
    return field ? 1 : 0;
}

int32_t cm_split(const char *text, const char *separator, char ***array)
{
    if (!text || !separator || !array)
        return -1;
    std::string_view rest = text;
    const std::string_view mark = separator;
    const size_t count = mark.empty() ? 1 : occurrences(rest, mark) + 1;
    auto **const pieces = static_cast<char **>(allocate_zeroed((count + 1) * sizeof(char *)));
    if (!pieces)
        return -1;
    for (size_t i = 0; i < count; ++i) {
        const size_t end = i + 1 < count ? rest.find(mark) : rest.size();
        pieces[i] = copy_of(rest.substr(0, end));
        if (!pieces[i]) {
            FreeSplitList(pieces);
            return -1;
        }
        rest.remove_prefix(std::min(end + mark.size(), rest.size()));
    }
    *array = pieces;
    return static_cast<int32_t>(count);
}

void FreeSplitList(char **array)
{
    if (!array)
        return;
    for (char **piece = array; *piece; ++piece)
        std::free(*piece);
    std::free(array);
}

int32_t InsArgvLL(LLHead *list, const char *text, ...)
{
    va_list arguments;
    va_start(arguments, text);
    for (const char *item = text; item; item = va_arg(arguments, const char *))
        InsLastLLf(list, static_cast<uint32_t>(std::strlen(item) + 1), item);
    va_end(arguments);
    return 0;
}
