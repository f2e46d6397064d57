#include <platform/posix/command_line.h>

#include <platform/files.h>

#include <algorithm>

namespace {

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

size_t skip_blanks(std::string_view text, size_t at)
{
    while (at < text.size() && is_blank(text[at]))
        ++at;
    return at;
}

std::string program_word(std::string_view text, size_t &at)
{
    std::string word;
    bool quoted = false;
    for (; at < text.size() && (quoted || !is_blank(text[at])); ++at) {
        if (text[at] == '"')
            quoted = !quoted;
        else
            word += text[at];
    }
    return word;
}

std::string argument_word(std::string_view text, size_t &at)
{
    std::string word;
    bool quoted = false;
    while (at < text.size() && (quoted || !is_blank(text[at]))) {
        size_t backslashes = 0;
        while (at < text.size() && text[at] == '\\') {
            ++backslashes;
            ++at;
        }
        if (at == text.size() || text[at] != '"') {
            word.append(backslashes, '\\');
            if (backslashes == 0)
                word += text[at++];
            continue;
        }
        word.append(backslashes / 2, '\\');
        if (backslashes % 2 != 0) {
            word += '"';
        } else if (quoted && at + 1 < text.size() && text[at + 1] == '"') {
            word += '"';
            ++at;
        } else {
            quoted = !quoted;
        }
        ++at;
    }
    return word;
}

// The Windows interpreter takes a command as it stands when it is one quoted file name with nothing else in
// quotes; of any other command that begins with a quote it drops the first and the last one.
std::string without_outer_quotes(std::string_view text)
{
    std::string command(text.substr(skip_blanks(text, 0)));
    if (command.empty() || command[0] != '"')
        return command;
    const size_t last = command.rfind('"');
    if (std::count(command.begin(), command.end(), '"') == 2 &&
        pl_file_exists(command.substr(1, last - 1).c_str()))
        return command;
    if (last > 0)
        command.erase(last, 1);
    command.erase(0, 1);
    return command;
}

void slashes_in_program(std::string &command)
{
    bool quoted = false;
    for (size_t i = skip_blanks(command, 0); i < command.size() && (quoted || !is_blank(command[i])); ++i) {
        if (command[i] == '"')
            quoted = !quoted;
        else if (command[i] == '\\')
            command[i] = '/';
    }
}

// Length of blanks and "nul" at this place when that word ends there, else 0.
size_t null_device_word(std::string_view text)
{
    const size_t at = skip_blanks(text, 0);
    const auto letter = [&](size_t i) { return i < text.size() ? static_cast<char>(text[i] | 0x20) : '\0'; };
    if (letter(at) != 'n' || letter(at + 1) != 'u' || letter(at + 2) != 'l')
        return 0;
    const bool ends = at + 3 == text.size() || std::string_view(" \t&|;<>()").find(text[at + 3]) != text.npos;
    return ends ? at + 3 : 0;
}

} // namespace

std::vector<std::string> split_command_line(std::string_view text)
{
    std::vector<std::string> words;
    size_t at = skip_blanks(text, 0);
    while (at < text.size()) {
        words.push_back(words.empty() ? program_word(text, at) : argument_word(text, at));
        at = skip_blanks(text, at);
    }
    return words;
}

std::string shell_command(std::string_view text)
{
    std::string command = without_outer_quotes(text);
    slashes_in_program(command);
    const std::string_view from = command;
    std::string to;
    bool quoted = false;
    for (size_t i = 0; i < from.size(); ++i) {
        const char c = from[i];
        to += c;
        if (c == '"')
            quoted = !quoted;
        if (quoted || (c != '<' && c != '>'))
            continue;
        if (from.substr(i).starts_with(">>&")) {
            ++i; // a descriptor cannot be appended to: ">>&1" means ">&1"
        } else if (const size_t length = null_device_word(from.substr(i + 1))) {
            to += pl_null_device();
            i += length;
        }
    }
    return to;
}
