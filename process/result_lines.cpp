#include <process/result_lines.h>

#include <algorithm>

namespace {

constexpr std::string_view kStatus = "STATUS=", kMessage = "MSG=", kBlanks = " \t\r\n\v\f";

} // namespace

bool ResultLines::take(std::string_view line)
{
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    if (const size_t status = line.find(kStatus); status != std::string_view::npos) {
        // Blanks in front of the word are passed over: "STATUS= MSG=x" has the status "MSG=x".
        std::string_view rest = line.substr(status + kStatus.size());
        rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
        status_.assign(rest.substr(0, rest.find_first_of(kBlanks)));
        has_status_ = true;
    }
    const size_t message = line.find(kMessage);
    if (message == std::string_view::npos)
        return true;
    message_.assign(line.substr(message + kMessage.size()));
    has_message_ = true;
    return false;
}
