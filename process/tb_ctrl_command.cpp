#include <process/tb_ctrl.h>

// A backslash keeps the next character from opening or closing a group; both stay, or paths would lose theirs.
std::string control_command(std::string_view text)
{
    std::string command, word;
    char group = '\0';
    bool in_word = false, first = true;
    const auto end_word = [&] {
        if (!in_word)
            return;
        command += (first ? "" : " ") + word;
        word.clear();
        in_word = first = false;
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == ' ' && group == '\0') {
            end_word();
            continue;
        }
        in_word = true;
        if (c == '\\' && i + 1 < text.size()) {
            word += c;
            word += text[++i];
        } else if (group == '\0' && (c == '"' || c == '\'')) {
            group = c;
        } else if (c == group && group != '\0') {
            group = '\0';
        } else {
            word += c;
        }
    }
    end_word();
    return command;
}
