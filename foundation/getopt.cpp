// Option letters of command lines.
#include <tamba/options.h>

#include <foundation/options.h>

#include <cstring>

int optind = 1;
char *optarg = nullptr;

namespace {

// Begins the next argument; false when there is no option in it.
bool begin_argument(OptionState *state, int argc, char *const argv[], OptionEnd *end)
{
    for (;;) {
        if (*state->index < 0 || *state->index >= argc || !argv[*state->index]) {
            *end = OptionEnd::no_more;
            return false;
        }
        const char *const word = argv[(*state->index)++];
        if (word[0] == '\0' || !std::strchr(state->markers, word[0])) {
            --*state->index;
            *end = OptionEnd::operand;
            return false;
        }
        if (std::strcmp(word, "-") == 0 || std::strcmp(word, "--") == 0) {
            *end = OptionEnd::marker;
            return false;
        }
        if (word[1] == '\0')
            continue; // "/" alone holds no letter
        state->cluster = word + 1;
        return true;
    }
}

int failure(const OptionState &state, int result)
{
    return state.reports_errors ? '?' : result;
}

// The argument of an option: the rest of its word, or the next word.
OptionStep with_value(OptionState *state, int letter, int argc, char *const argv[])
{
    const char *const rest = state->cluster + 1;
    state->cluster = nullptr;
    if (*rest != '\0')
        return {letter, OptionEnd::option, const_cast<char *>(rest)};
    if (*state->index < argc && argv[*state->index])
        return {letter, OptionEnd::option, argv[(*state->index)++]};
    return {failure(*state, letter), OptionEnd::option, nullptr};
}

} // namespace

OptionStep next_option(OptionState *state, int argc, char *const argv[], const char *optstring)
{
    if (state->cluster && *++state->cluster == '\0')
        state->cluster = nullptr;
    OptionEnd end = OptionEnd::option;
    if (!state->cluster && !begin_argument(state, argc, argv, &end))
        return {-1, end, nullptr};
    const int letter = static_cast<unsigned char>(*state->cluster);
    if (letter == ':')
        return {failure(*state, ':'), OptionEnd::colon, nullptr};
    const char *const known = std::strchr(optstring, letter);
    if (!known) {
        state->cluster = nullptr;
        return {failure(*state, letter), OptionEnd::option, nullptr};
    }
    if (known[1] == ':')
        return with_value(state, letter, argc, argv);
    return {letter, OptionEnd::option, nullptr};
}

int getopt(int argc, char *const argv[], const char *optstring) TAMBA_LIBC_NOEXCEPT
{
    static OptionState state = {&optind, "-/"};
    if (optind <= 1)
        state.cluster = nullptr; // a program that starts again
    const OptionStep step = next_option(&state, argc, argv, optstring ? optstring : "");
    if (step.end != OptionEnd::colon && step.end != OptionEnd::no_more)
        optarg = step.value;
    return step.result;
}
