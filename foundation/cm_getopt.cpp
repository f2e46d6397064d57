// Option letters of command lines, the argument in a buffer of the caller.
#include <tamba/options.h>

#include <foundation/options.h>
#include <foundation/text.h>

int next_option_into(OptionState *state, int argc, char *const argv[], const char *optstring, char *value)
{
    const OptionStep step = next_option(state, argc, argv, text_or_empty(optstring));
    if (step.end == OptionEnd::marker)
        format_text(value, TAMBA_OPTION_SIZE, "+%d", *state->index);
    else if (step.end != OptionEnd::colon) // that one only returns
        copy_text(value, TAMBA_OPTION_SIZE, text_or_empty(step.value));
    return step.result;
}

int mygetopt(int argc, char *const argv[], const char *optstring, char *value)
{
    static int index = 1;
    static OptionState state = {&index, "-"};
    return next_option_into(&state, argc, argv, optstring, value);
}
