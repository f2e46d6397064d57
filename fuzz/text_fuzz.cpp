// Readers of options, fields and log lines, each beside a plain model of its rule.
#include <fuzz/target.h>

#include <foundation/options.h>
#include <tamba/tamba.h>

#include <algorithm>
#include <cstring>
#include <optional>

namespace {

std::vector<std::string> pieces(std::string_view text, std::string_view separator)
{
    std::vector<std::string> all;
    for (size_t end; !separator.empty() && (end = text.find(separator)) != std::string_view::npos;) {
        all.emplace_back(text.substr(0, end));
        text.remove_prefix(end + separator.size());
    }
    all.emplace_back(text);
    return all;
}

// The lines of a file as readers with a buffer of 512 see them: at most 511 characters, a text ends at its zero.
std::vector<std::string> lines_of(std::string_view text)
{
    std::vector<std::string> all;
    while (!text.empty()) {
        const size_t length =
            std::min({text.find('\n') + 1 > 0 ? text.find('\n') + 1 : text.size(), size_t{511}, text.size()});
        all.emplace_back(std::string(text.substr(0, length)).c_str());
        text.remove_prefix(length);
    }
    return all;
}

bool matches(const std::string &line, const std::string &pattern)
{
    for (const std::string word : {"|AND|", "|OR|"}) {
        const size_t at = pattern.find(word);
        if (at == std::string::npos)
            continue;
        const bool first = line.find(pattern.substr(0, at)) != std::string::npos;
        const bool second = line.find(pattern.substr(at + word.size())) != std::string::npos;
        return word == "|AND|" ? first && second : first || second;
    }
    return line.find(pattern) != std::string::npos;
}

// What a search must find: the matching line without its last character.
std::optional<std::string> expected(const std::vector<std::string> &lines, const std::string &pattern,
                                    bool last)
{
    std::optional<std::string> found;
    for (const std::string &line : lines)
        if (matches(line, pattern) && (last || !found))
            found = line.substr(0, line.empty() ? 0 : line.size() - 1);
    return found;
}

} // namespace

// First line the pattern, then the file.
FUZZ_TARGET(search_pattern)
{
    auto [pattern, text] = halves(input);
    pattern = std::string(pattern.c_str()).substr(0, 400);
    std::erase(pattern, '\r');
    std::erase(text, '\r'); // line ends belong to the platform
    const std::string path = work_folder() + "fuzz.lgc";
    write_file(path, text);
    const std::vector<std::string> lines = lines_of(text);
    for (const bool last : {false, true}) {
        const auto wanted = expected(lines, pattern, last);
        Buffer buffer(pattern + "^", 512);
        const int32_t found = (last ? file_rev_search : file_search)(path.c_str(), buffer.data());
        promise(found == (wanted ? 1 : 0), "a search finds what is there and nothing else");
        promise(buffer.data() == (wanted ? *wanted : pattern + "^"),
                "the pattern becomes the line, or stays");
    }
}

// First line the separator, then the text.
FUZZ_TARGET(tokens)
{
    auto [separator, text] = halves(input);
    separator = separator.c_str();
    text = text.c_str();
    char **array = nullptr;
    const int32_t count = cm_split(text.c_str(), separator.c_str(), &array);
    const auto split = pieces(text, separator);
    promise(count == static_cast<int32_t>(split.size()), "every piece is there");
    for (int32_t i = 0; i < count; ++i)
        promise(array[i] == split[static_cast<size_t>(i)], "a piece is the text between separators");
    promise(array[count] == nullptr, "the array is closed");
    FreeSplitList(array);

    const char one = separator.empty() ? '\0' : separator[0];
    if (text.size() < 8192) {
        const auto fields = pieces(text, std::string_view(&one, one == '\0' ? 0 : 1));
        size_t i = 0;
        for (const char *field = cm_strtok(text.c_str(), one); field; field = cm_strtok(nullptr, one), ++i)
            promise(i < fields.size() && fields[i] == field, "a field is the text between separators");
        promise(i == fields.size() && !cm_strtok(nullptr, one), "every field is there, once");
    }
    for (int32_t index = -1; index < 4; ++index) {
        Buffer out(std::max<size_t>(text.size() + 1, 768));
        const int32_t found = str_elem(index, one, text.c_str(), out.data());
        promise(out.terminated() && (found == 1 || *out.data() == '\0'),
                "an element that is not there is empty");
    }
}

// First line the option letters, then the arguments, one a line.
FUZZ_TARGET(options)
{
    const auto parts = halves(input);
    const std::string &letters = parts.first, &text = parts.second;
    auto words = pieces(text, "\n");
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int argc = static_cast<int>(words.size());
    int index = 0;
    OptionState second = {&index, "-"}; // as mygetopt's, which never begins anew
    Buffer value(TAMBA_OPTION_SIZE);
    const auto one = [&] { return getopt(argc, arguments.data(), letters.c_str()); };
    const auto other = [&] {
        return next_option_into(&second, argc, arguments.data(), letters.c_str(), value.data());
    };
    optind = 0;
    const auto parse = [&](auto next, const int &place) {
        size_t steps = 0;
        for (int letter; (letter = next()) != -1; ++steps) {
            promise(place <= argc, "the index stays inside the arguments");
            promise(letter == '?' || letters.find(static_cast<char>(letter)) != std::string::npos,
                    "an option is one of the letters");
            promise(steps <= text.size(), "parsing ends");
        }
    };
    parse(one, optind);
    parse(other, index);
    promise(value.terminated(), "a value has its end");
}
