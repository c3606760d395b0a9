// The layout of help texts, in the language of the program: no line is wider than a terminal of 80 columns.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ulix::cli {

class HelpFormat final : public CLI::Formatter {
 public:
  HelpFormat();
  std::string make_description(const CLI::App* app) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_footer(const CLI::App* app) const override;
  std::string make_group(std::string group, bool is_positional, std::vector<const CLI::Option*> options) const override;
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override;
  std::string make_subcommand(const CLI::App* verb) const override;

 private:
  const std::string before_colon_;  // A blank in French.
};

}  // namespace ulix::cli
