// The arguments of a program with verbs, and what is wrong with them, in the language of the program.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

#include "tools/ulix/failures.h"

namespace ulix::cli {

// The arguments as the parser takes them: the last one first, and -.5 and -,5 as -0.5 and -0,5, since the parser reads
// only '-' and a digit as a number.
std::vector<std::string> ArgumentsOf(int argc, char** argv);

// Parses the arguments, the last one first. Throws UsageError for wrong ones. Throws CLI::Success when help or the
// version is wanted.
void ParseArguments(CLI::App& program, std::vector<std::string> arguments);

}  // namespace ulix::cli
