// Command lines as the Windows C runtime reads them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Splits at blanks and tabs; double quotes group.  In arguments "\"" is a quote, backslashes before a quote
// come in pairs, and "" inside quotes is a quote; all other backslashes, and those of the program's name,
// stand for themselves.
std::vector<std::string> split_command_line(std::string_view text);

// Turns a command that is written for the Windows command interpreter into one for sh: a quoted whole command
// loses its outer quotes, backslashes in the program's path become slashes, "2>>&1" and "nul" get their names
// here.
std::string shell_command(std::string_view text);
