// Manual pages and shell completions, made from the definitions of the verbs, from which --help is also made.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace ulix::cli {

// A manual page of section 1, in roff: of a verb, or of the program if `app` is the one that has the verbs.
std::string ManPage(const CLI::App& app);

// Completes verbs, options, values of options, models and files.
std::string BashCompletion(const CLI::App& program);
std::string ZshCompletion(const CLI::App& program);

}  // namespace ulix::cli
