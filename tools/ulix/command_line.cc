#include "tools/ulix/command_line.h"
#include "core/version.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "platform/terminal.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/help_format.h"
#include "tools/ulix/output.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

std::vector<std::string> VerbNames() {
  std::vector<std::string> names;
  for (const Verb& verb : Verbs()) names.emplace_back(verb.name);
  return names;
}

std::string WhichVerb(const std::string& typed) {
  const auto names = VerbNames();
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  if (typed.empty()) return Shown(TextId::kIsMissing, {list});
  return Shown(TextId::kNotAVerb, {typed, list}) + DidYouMean(typed, names);
}

// The first typed argument that is not a verb, an option or a value.
std::string FirstUnknown(const CLI::App& app) {
  const auto unknown = app.remaining(true);
  return unknown.empty() ? std::string() : unknown.front();
}

// The message about an option that the verb does not have; empty for any other extra argument.
std::string WhichOption(const CLI::App& verb, const std::string& typed) {
  if (!typed.starts_with('-')) return {};
  std::vector<std::string> names;
  for (const CLI::Option* option : verb.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return Shown(TextId::kNoOptionOf, {verb.get_name()}) + DidYouMean(typed.substr(0, typed.find('=')), names);
}

void CheckNothingIsMissing(const CLI::App& verb) {
  const auto missing = [](const CLI::Option* option) { return option->get_required() && option->empty(); };
  for (const CLI::Option* option : verb.get_options(missing))
    throw UsageError(option->get_name(), MissingText(*option));
}

// The parser reads '-' and a digit as a number and any other '-' as an option, so -.5 and -,5 become -0.5 and -0,5. The
// parser needs the arguments in reverse order.
std::vector<std::string> ArgumentsOf(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int k = argc - 1; k > 0; --k) {
    arguments.emplace_back(argv[k]);
    std::string& argument = arguments.back();
    const bool fraction = argument.size() > 2 && argument[0] == '-' && (argument[1] == '.' || argument[1] == ',') &&
                          std::isdigit(static_cast<unsigned char>(argument[2]));
    if (fraction) argument.insert(1, "0");
  }
  return arguments;
}

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
    app.parse(arguments);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ExtrasError&) {
    const std::string typed = FirstUnknown(app);
    if (app.get_subcommands().empty()) throw UsageError("VERB", WhichVerb(typed));
    const std::string what = WhichOption(*app.get_subcommands().front(), typed);
    throw UsageError(typed, what.empty() ? Shown(TextId::kOneWordTooMany) : what);
  } catch (const CLI::ArgumentMismatch& mismatch) {
    const std::string what = mismatch.what();
    if (!what.ends_with(" missing")) throw;
    throw UsageError(what.substr(0, what.find(':')), Shown(TextId::kWithoutValue));
  } catch (const CLI::RequiredError&) {
    if (app.get_subcommands().empty()) throw UsageError("VERB", WhichVerb(FirstUnknown(app)));
    CheckNothingIsMissing(*app.get_subcommands().front());
    throw;
  }
  return actions.at(app.get_subcommands().front())();
}

// The first argument if it is a verb, else empty.
std::string TypedVerb(int argc, char** argv) {
  const std::string typed = argc > 1 ? argv[1] : "";
  const auto names = VerbNames();
  return std::find(names.begin(), names.end(), typed) == names.end() ? "VERB" : typed;
}

// A part of the parser's English messages, between the option and the rest.
struct ParserMessage {
  std::string_view infix;
  TextId text;
};
constexpr std::array kParserMessages = {
    ParserMessage{" excludes ", TextId::kNotTogether},
    ParserMessage{" requires ", TextId::kNotWithout},
    ParserMessage{": At Most ", TextId::kGivenTooOften},
};

// The parser's message in the language of the program. Messages of validators are already in that language.
std::string Explained(const CLI::ParseError& error) {
  const std::string what = error.what();
  if (dynamic_cast<const CLI::ValidationError*>(&error) != nullptr) return what;
  for (const auto& [infix, text] : kParserMessages) {
    const std::size_t at = what.find(infix);
    if (at != std::string::npos) return what.substr(0, at) + ": " + Shown(text, {what.substr(at + infix.size())});
  }
  constexpr std::string_view kConversion = "Could not convert: ";
  const std::size_t equals = what.find(" = ");
  if (!what.starts_with(kConversion) || equals == std::string::npos) return what;
  return what.substr(kConversion.size(), equals - kConversion.size()) + ": " +
         Shown(TextId::kNotUnderstood, {what.substr(equals + 3)});
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
  } catch (const CLI::ParseError& error) {
    return Complain(kWrongUsage, Explained(error) + Shown(TextId::kSeeHelp, {TypedVerb(argc, argv)}));
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
