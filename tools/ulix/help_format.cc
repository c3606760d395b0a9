#include "tools/ulix/help_format.h"

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

// One less than the 80 columns of a terminal, because some terminals wrap after the last one.
constexpr std::size_t kHelpWidth = 79;
constexpr std::size_t kHelpColumn = 28;

// A name, then its description from a fixed column on.
std::string Entry(const std::string& name, const std::string& description) {
  std::string lines;
  std::string start = PaddedTo("  " + name, kHelpColumn);
  if (!start.ends_with("  ")) {
    for (const std::string& piece : Wrapped(name, kHelpWidth - 6))
      lines += (lines.empty() ? "  " : "      ") + piece + "\n";
    start.assign(kHelpColumn, ' ');
  }
  for (const std::string& piece : Wrapped(description, kHelpWidth - kHelpColumn)) {
    lines += start + piece;
    lines.resize(lines.find_last_not_of(' ') + 1);
    lines += "\n";
    start.assign(kHelpColumn, ' ');
  }
  return lines;
}

// Lines that are too long are wrapped; the others stay as they are.
std::string Narrowed(const std::string& text) {
  std::string narrow;
  for (const std::string_view line : SplitFields(text, '\n')) {
    const bool fits = DisplayWidth(line) <= kHelpWidth;
    for (const std::string& piece : fits ? std::vector{std::string(line)} : Wrapped(std::string(line), kHelpWidth))
      narrow += piece + "\n";
  }
  narrow.pop_back();
  return narrow;
}

// Lays out a footer. A line with columns stays a line; if it is too long, its last column goes below it. Other
// consecutive lines are wrapped as one paragraph if one of them is too long.
class Footer {
 public:
  explicit Footer(const std::string& footer) {
    for (const std::string_view line : SplitFields(footer, '\n')) {
      const bool has_columns = line.starts_with(' ') || line.find("  ") != std::string_view::npos;
      if (!line.empty() && !has_columns) {
        paragraph_.emplace_back(line);
        continue;
      }
      EndParagraph();
      AddLine(line);
    }
    EndParagraph();
  }
  const std::string& text() const { return text_; }

 private:
  void AddLine(std::string_view line) {
    const std::size_t gap = line.find("  ", line.find_first_not_of(' '));
    if (DisplayWidth(line) <= kHelpWidth || gap == std::string_view::npos) {
      text_ += std::string(line) + "\n";
      return;
    }
    text_ += std::string(line.substr(0, gap)) + "\n";
    for (const std::string& piece : Wrapped(std::string(line.substr(gap)), kHelpWidth - 6))
      text_ += "      " + piece + "\n";
  }
  void EndParagraph() {
    std::string joined;
    bool fits = true;
    for (const std::string& line : paragraph_) {
      joined += line + " ";
      fits = fits && DisplayWidth(line) <= kHelpWidth;
    }
    for (const std::string& line : fits ? paragraph_ : Wrapped(joined, kHelpWidth)) text_ += line + "\n";
    paragraph_.clear();
  }

  std::vector<std::string> paragraph_;
  std::string text_;
};

}  // namespace

HelpFormat::HelpFormat() : before_colon_(ShownLanguage() == Language::kFrench ? " " : "") {
  column_width(kHelpColumn);
  label("Usage", Shown(TextId::kHelpUsage) + before_colon_);
  label("Positionals", Shown(TextId::kHelpArguments));
  label("SUBCOMMAND", "VERB");
  label("REQUIRED", Shown(TextId::kHelpRequired));
  label("Needs", Shown(TextId::kHelpNeeds) + before_colon_);
  label("Excludes", Shown(TextId::kHelpExcludes) + before_colon_);
}

std::string HelpFormat::make_group(std::string group, bool is_positional,
                                   std::vector<const CLI::Option*> options) const {
  return CLI::Formatter::make_group(group + before_colon_, is_positional, options);
}

std::string HelpFormat::make_description(const CLI::App* app) const {
  return Narrowed(CLI::Formatter::make_description(app));
}

std::string HelpFormat::make_usage(const CLI::App* app, std::string name) const {
  return Narrowed(CLI::Formatter::make_usage(app, std::move(name)));
}

std::string HelpFormat::make_footer(const CLI::App* app) const {
  const std::string footer = app->get_footer();
  return footer.empty() ? std::string() : Footer(footer).text() + "\n";
}

std::string HelpFormat::make_option(const CLI::Option* option, bool is_positional) const {
  return Entry(make_option_name(option, is_positional) + make_option_opts(option), make_option_desc(option));
}

std::string HelpFormat::make_subcommands(const CLI::App* app, CLI::AppFormatMode /*mode*/) const {
  std::string verbs;
  for (const CLI::App* verb : app->get_subcommands({})) verbs += make_subcommand(verb);
  return verbs.empty() ? verbs : "\n" + Shown(TextId::kHelpVerbs) + before_colon_ + ":\n" + verbs;
}

std::string HelpFormat::make_subcommand(const CLI::App* verb) const {
  return Entry(verb->get_display_name(true), verb->get_description());
}

}  // namespace ulix::cli
