// help: what a verb does and what it takes.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "tools/ulix/failures.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

int Help(const CLI::App& app, const std::string& wanted) {
  if (wanted.empty()) {
    std::cout << app.help() << std::flush;
    return 0;
  }
  std::vector<std::string> names;
  for (const Verb& verb : Verbs()) names.emplace_back(verb.name);
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!verb->check_name(wanted)) continue;
    std::cout << verb->help("ulix") << std::flush;
    return 0;
  }
  throw UsageError("VERB", "'" + wanted + "' is no verb" + DidYouMean(wanted, names));
}

}  // namespace

Action DefineHelp(CLI::App& verb) {
  const auto wanted = std::make_shared<std::string>();
  verb.add_option("VERB", *wanted, "The verb; without one, what there is")->type_name("");
  return [=, &verb] { return Help(*verb.get_parent(), *wanted); };
}

}  // namespace ulix::cli
