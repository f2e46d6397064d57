// The option parser behind getopt and mygetopt.
#pragma once

struct OptionState {
    int *index;                    // the argument to be taken next
    const char *markers;           // the characters that introduce options
    const char *cluster = nullptr; // the letter taken last, while its argument goes on
    bool reports_errors = true;    // '?' for errors; else the letter, or ':'
};

enum class OptionEnd { option, colon, operand, marker, no_more };

// What a step found.
struct OptionStep {
    int result;    // the letter, '?', ':' or -1
    OptionEnd end; // what the step met
    char *value;   // the option's argument or null
};

OptionStep next_option(OptionState *state, int argc, char *const argv[], const char *optstring);

// A step whose value goes to a buffer of TAMBA_OPTION_SIZE, as mygetopt promises it.
int next_option_into(OptionState *state, int argc, char *const argv[], const char *optstring, char *value);
