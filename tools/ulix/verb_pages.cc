#include "tools/ulix/verb_pages.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>
#include <vector>

#include "base/text.h"
#include "core/version.h"
#include "drivers/catalogue.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

std::vector<const CLI::App*> VerbsOf(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App*) { return true; });
}

// --- manual ---

// Escapes a text for roff, so that no line begins like a request and backslashes and dashes are printed.
std::string Roff(const std::string& text) {
  std::string roff;
  for (const char c : text) {
    const bool at_start = roff.empty() || roff.back() == '\n';
    if (at_start && (c == '.' || c == '\'')) roff += "\\&";
    roff += c == '\\' ? std::string("\\e") : c == '-' ? std::string("\\-") : std::string(1, c);
  }
  return roff;
}

std::string PageName(const CLI::App& app) {
  const bool is_verb = app.get_parent() != nullptr;
  return is_verb ? "ulix-" + app.get_name() : "ulix";
}

std::string OptionNames(const CLI::Option& option) {
  std::string names = option.get_positional() ? option.get_name(true) : option.get_name(false, true);
  const std::string type = option.get_type_name();
  std::replace(names.begin(), names.end(), ',', ' ');
  return type.empty() ? names : names + " " + type;
}

std::string Paragraphs(const CLI::App& app, bool positional) {
  std::string roff;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional() != positional || option->get_group().empty()) continue;
    roff += ".TP\n.B " + Roff(OptionNames(*option)) + "\n" + Roff(option->get_description()) + "\n";
  }
  return roff;
}

std::string Synopsis(const CLI::App& app) {
  if (app.get_parent() == nullptr) return ".B ulix\n.I VERB\n[arguments]\n";
  std::string roff = ".B ulix " + Roff(app.get_name()) + "\n";
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_positional()) continue;
    const std::string name = Roff(option->get_name(true));
    roff += option->get_required() ? ".I " + name + "\n" : "[\\fI" + name + "\\fR]\n";
  }
  return roff + "[options]\n";
}

std::string VerbList(const CLI::App& program) {
  std::string roff;
  for (const CLI::App* verb : VerbsOf(program)) {
    roff += ".TP\n.BR ulix\\-" + Roff(verb->get_name()) + " (1)\n" + Roff(verb->get_description()) + "\n";
  }
  return roff;
}

std::string Section(const std::string& head, const std::string& body) {
  return body.empty() ? std::string() : ".SH " + head + "\n" + body;
}

// --- completion ---

// The words that an option accepts, if its type names them.
std::vector<std::string> WordsOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  std::vector<std::string> words;
  if (type.find('|') == std::string::npos) return words;
  for (const std::string_view word : SplitWords(type, "|")) {
    const bool literal =
        std::none_of(word.begin(), word.end(), [](char c) { return (c >= 'A' && c <= 'Z') || c == '.'; });
    if (literal) words.emplace_back(word);
  }
  return words;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

std::string LongNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return Joined(names);
}

bool TakesModel(const CLI::App& verb) { return verb.get_option_no_throw("MODEL") != nullptr; }

std::string Models() {
  std::vector<std::string> ids;
  for (const CatalogueEntry& entry : Catalogue()) ids.emplace_back(entry.card->model_id);
  return Joined(ids);
}

// The words of the second positional, such as the ACTION of config.
std::string Actions(const CLI::App& verb) {
  const CLI::Option* action = verb.get_option_no_throw("ACTION");
  return action == nullptr ? std::string() : Joined(WordsOf(*action));
}

std::string VerbNames(const CLI::App& program) {
  std::vector<std::string> names;
  for (const CLI::App* verb : VerbsOf(program)) names.push_back(verb->get_name());
  return Joined(names);
}

// The branch of a verb: completes the value of the option before the cursor, else options, else the argument at this
// place.
std::string BashBranch(const CLI::App& verb) {
  std::ostringstream out;
  out << "    " << verb.get_name() << ")\n      case \"$before\" in\n";
  for (const CLI::Option* option : verb.get_options()) {
    const std::string words = Joined(WordsOf(*option));
    if (option->get_lnames().empty() || words.empty()) continue;
    out << "        --" << option->get_lnames().front() << ") words=\"" << words << "\" ;;\n";
  }
  out << "        *) case \"$place\" in\n          1) words=\"" << (TakesModel(verb) ? Models() : "") << "\" ;;\n"
      << "          2) words=\"" << Actions(verb) << "\" ;;\n        esac\n        options=\"" << LongNames(verb)
      << "\" ;;\n      esac ;;\n";
  return out.str();
}

}  // namespace

std::string ManPage(const CLI::App& app) {
  const bool is_verb = app.get_parent() != nullptr;
  // A verb without its own notes shows those of the program.
  const bool own = !is_verb || app.get_footer() != app.get_parent()->get_footer();
  const std::string footer = own ? app.get_footer() : std::string();
  std::string page = ".TH " + AsciiUpper(PageName(app)) + " 1 \"\" \"ulix " + VersionText() + "\" \"" +
                     Shown(TextId::kManCommands) + "\"\n";
  page += Section(Shown(TextId::kManName), Roff(PageName(app)) + " \\- " + Roff(app.get_description()) + "\n");
  page += Section("SYNOPSIS", Synopsis(app));
  page += Section("ARGUMENTS", Paragraphs(app, true));
  page += Section("OPTIONS", Paragraphs(app, false));
  page += Section(Shown(TextId::kManVerbs), VerbList(app));
  if (!footer.empty()) page += Section("NOTES", ".nf\n" + Roff(footer) + "\n.fi\n");
  page += Section(Shown(TextId::kManExitStatus), Shown(TextId::kManExitText) + "\n");
  return page + Section(Shown(TextId::kManSeeAlso), is_verb ? ".BR ulix (1)\n" : ".BR ulix\\-VERB (1)\n");
}

std::string BashCompletion(const CLI::App& program) {
  std::string branches;
  for (const CLI::App* verb : VerbsOf(program)) branches += BashBranch(*verb);
  return "# Completion of ulix for bash.\n_ulix() {\n"
         "  local typed=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} verb= place=0 words= options= k\n"
         "  for ((k = 1; k < COMP_CWORD; ++k)); do\n"
         "    case \"${COMP_WORDS[k]}\" in\n"
         "      -*) ;;\n"
         "      *) [ -n \"$verb\" ] || verb=${COMP_WORDS[k]}; place=$((place + 1)) ;;\n"
         "    esac\n  done\n"
         "  case \"$verb\" in\n    '') words=\"" +
         VerbNames(program) + "\" options=\"--help --version\" ;;\n    help) words=\"" + VerbNames(program) +
         "\" ;;\n" + branches +
         "  esac\n"
         "  [[ $typed == -* ]] && words=$options\n"
         "  COMPREPLY=($(compgen -W \"$words\" -- \"$typed\"))\n"
         "}\ncomplete -o default -F _ulix ulix\n";
}

// The completion for bash, which zsh can run.
std::string ZshCompletion(const CLI::App& program) {
  return "#compdef ulix\n# Completion of ulix for zsh.\nautoload -U +X bashcompinit && bashcompinit\n" +
         BashCompletion(program);
}

}  // namespace ulix::cli
