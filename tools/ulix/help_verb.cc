// help: describes a verb and its arguments.
#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <memory>

#include "platform/files.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verb_pages.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

int Help(const CLI::App& app, const std::string& wanted) {
  if (wanted.empty()) {
    // app.help() would describe the verb that was typed, which is this one.
    std::cout << app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal) << std::flush;
    return 0;
  }
  std::vector<std::string> names;
  for (const Verb& verb : Verbs()) names.emplace_back(verb.name);
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!verb->check_name(wanted)) continue;
    std::cout << verb->help("ulix") << std::flush;
    return 0;
  }
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  throw UsageError("VERB", Shown(TextId::kNotAVerb, {wanted, list}) + DidYouMean(wanted, names));
}

int WritePages(const CLI::App& program, const std::string& folder) {
  std::error_code ignored;
  std::filesystem::create_directories(platform::PathOf(folder), ignored);
  WriteWholeFile(folder + "/ulix.1", ManPage(program));
  for (const CLI::App* verb : program.get_subcommands([](const CLI::App*) { return true; })) {
    WriteWholeFile(folder + "/ulix-" + verb->get_name() + ".1", ManPage(*verb));
  }
  return 0;
}

int PrintCompletion(const CLI::App& program, const std::string& shell) {
  std::cout << (shell == "bash" ? BashCompletion(program) : ZshCompletion(program)) << std::flush;
  return 0;
}

}  // namespace

Action DefineHelp(CLI::App& verb) {
  const auto wanted = std::make_shared<std::string>();
  const auto pages = std::make_shared<std::string>();
  const auto shell = std::make_shared<std::string>();
  // Options for the installation, which users do not need, so the help does not list them.
  verb.add_option("--man-pages", *pages, Shown(TextId::kHelpManPages))->group("");
  verb.add_option("--completion", *shell, Shown(TextId::kHelpCompletion))->check(OneOf({"bash", "zsh"}))->group("");
  verb.add_option("VERB", *wanted, Shown(TextId::kHelpTopic))->type_name("");
  return [=, &verb] {
    const CLI::App& program = *verb.get_parent();
    if (!pages->empty()) return WritePages(program, *pages);
    if (!shell->empty()) return PrintCompletion(program, *shell);
    return Help(program, *wanted);
  };
}

}  // namespace ulix::cli
