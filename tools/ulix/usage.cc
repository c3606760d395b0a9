#include "tools/ulix/usage.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "tools/ulix/arguments.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

std::vector<std::string> NamesOfVerbs(const CLI::App& program) {
  std::vector<std::string> names;
  for (const CLI::App* verb : program.get_subcommands({})) names.push_back(verb->get_name());
  return names;
}

std::string WhichVerb(const CLI::App& program, const std::string& typed) {
  const auto names = NamesOfVerbs(program);
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  if (typed.empty()) return Shown(TextId::kIsMissing, {list});
  return Shown(TextId::kNotAVerb, {typed, list}) + DidYouMean(typed, names);
}

// The first typed argument that is not a verb, an option or a value.
std::string FirstUnknown(const CLI::App& program) {
  const auto unknown = program.remaining(true);
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

// A mark in the parser's English messages, between the option and the rest, and the text for such a message.
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
  std::string what = error.what();
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

// The command in the hint "see 'COMMAND --help'". It ends with the first argument if that is a verb, else with VERB.
std::string CommandOf(const CLI::App& program, const std::vector<std::string>& arguments) {
  const std::string first = arguments.empty() ? "" : arguments.back();
  const auto verbs = NamesOfVerbs(program);
  return program.get_name() + " " + (std::find(verbs.begin(), verbs.end(), first) == verbs.end() ? "VERB" : first);
}

// Throws a UsageError for those errors whose message needs the verbs or options of the program. Other errors stay the
// parser's.
void Parse(CLI::App& program, std::vector<std::string>& arguments) {
  try {
    program.parse(arguments);
  } catch (const CLI::ExtrasError&) {
    const std::string typed = FirstUnknown(program);
    if (program.get_subcommands().empty()) throw UsageError("VERB", WhichVerb(program, typed));
    const std::string what = WhichOption(*program.get_subcommands().front(), typed);
    throw UsageError(typed, what.empty() ? Shown(TextId::kOneWordTooMany) : what);
  } catch (const CLI::ArgumentMismatch& mismatch) {
    const std::string what = mismatch.what();
    if (!what.ends_with(" missing")) throw;
    throw UsageError(what.substr(0, what.find(':')), Shown(TextId::kWithoutValue));
  } catch (const CLI::RequiredError&) {
    if (program.get_subcommands().empty()) throw UsageError("VERB", WhichVerb(program, FirstUnknown(program)));
    CheckNothingIsMissing(*program.get_subcommands().front());
    throw;
  }
}

}  // namespace

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

void ParseArguments(CLI::App& program, std::vector<std::string> arguments) {
  const std::string command = CommandOf(program, arguments);
  try {
    Parse(program, arguments);
  } catch (const CLI::Success&) {
    throw;
  } catch (const CLI::ParseError& error) {
    throw UsageError(Explained(error) + Shown(TextId::kSeeHelp, {command}));
  }
}

}  // namespace ulix::cli
