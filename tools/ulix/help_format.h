// The layout of help texts: no line is wider than a terminal of 80 columns.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace ulix::cli {

class HelpFormat final : public CLI::Formatter {
 public:
  HelpFormat();
  std::string make_description(const CLI::App* app) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_footer(const CLI::App* app) const override;
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  std::string make_subcommand(const CLI::App* verb) const override;
};

}  // namespace ulix::cli
