// Parses the arguments of a program with verbs. Errors are told in the language of the program.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

#include "tools/ulix/failures.h"

namespace ulix::cli {

// The arguments in the form that the parser takes, the last one first. -.5 and -,5 become -0.5 and -0,5, because for
// the parser a negative number begins with '-' and a digit.
std::vector<std::string> ArgumentsOf(int argc, char** argv);

// Parses the arguments, the last one first. Throws UsageError for wrong arguments. Throws CLI::Success if the user asks
// for help or for the version.
void ParseArguments(CLI::App& program, std::vector<std::string> arguments);

}  // namespace ulix::cli
