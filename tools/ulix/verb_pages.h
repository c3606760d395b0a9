// What shells and readers of manuals get, made of the verbs as they are defined: the same tables as --help.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace ulix::cli {

// A page of the manual in section 1, in roff: of a verb, or of the program for the app that has the verbs.
std::string ManPage(const CLI::App& app);

// Completion of verbs, options, words that options take, models and files.
std::string BashCompletion(const CLI::App& program);
std::string ZshCompletion(const CLI::App& program);

}  // namespace ulix::cli
