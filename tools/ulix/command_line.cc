#include "tools/ulix/command_line.h"
#include "core/version.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "platform/terminal.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/help_format.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/usage.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

// Sets the language before the other arguments are parsed, because it decides how numbers are read.
void ShowLanguageOf(const std::vector<std::string>& arguments) {
  for (std::size_t k = 0; k < arguments.size(); ++k) {
    const std::string& argument = arguments[k];
    const std::string value = argument.starts_with("--lang=") ? argument.substr(7)
                              : argument == "--lang" && k > 0 ? arguments[k - 1]
                                                              : std::string();
    if (EqualIgnoringCase(value, "fr")) ShowIn(Language::kFrench);
    if (EqualIgnoringCase(value, "en")) ShowIn(Language::kEnglish);
  }
}

int RunVerb(int argc, char** argv) {
  auto arguments = ArgumentsOf(argc, argv);
  ShowLanguageOf(arguments);  // The help pages are made with the verbs.
  CLI::App app(Shown(TextId::kHelpProgram), "ulix");
  app.set_help_flag("-h,--help", Shown(TextId::kHelpHelp));
  app.set_version_flag("-V,--version", "ulix " + VersionText(), Shown(TextId::kHelpVersion));
  app.formatter(std::make_shared<HelpFormat>());
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // An argument that begins with '/' is a path on every system.
  ConnectionOptions language;              // For the verbs that do not store it.
  std::map<const CLI::App*, Action> actions;
  for (const Verb& verb : Verbs()) {
    CLI::App* const command = app.add_subcommand(verb.name, Shown(verb.summary));
    actions[command] = verb.define(*command);
    if (command->get_option_no_throw("--lang") == nullptr) AddLanguage(*command, language);
  }
  app.footer(Shown(TextId::kHelpNotes));  // After the verbs, which would inherit it.
  try {
    ParseArguments(app, std::move(arguments));
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  }
  return actions.at(app.get_subcommands().front())();
}

int Complain(int status, const std::string& what) {
  std::cout.flush();
  std::cerr << "ulix: " << what << '\n';
  return status;
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
  platform::PrepareStandardStreams();
  try {
    const int status = RunVerb(argc, argv);
    std::cout.flush();
    return std::cout ? status : Complain(kFailed, CannotPrint().what());
  } catch (const UsageError& error) {
    return Complain(kWrongUsage, error.what());
  } catch (const OperationFailed& error) {
    return Complain(kFailed, error.what());
  } catch (const std::bad_alloc&) {
    return Complain(kFailed, FailureLine(E_OUTOFMEMORY, SystemText(E_OUTOFMEMORY, ShownLanguage())));
  } catch (const std::exception& error) {
    return Complain(kFailed, FailureLine(E_FAIL, error.what()));
  } catch (...) {
    return Complain(kFailed, FailureLine(E_FAIL, ""));
  }
}

}  // namespace ulix::cli
