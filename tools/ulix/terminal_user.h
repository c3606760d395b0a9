// The user interface of the command line: shows messages on standard error and asks no questions.
#pragma once

#include <iostream>
#include <string>

#include "core/user_interface.h"
#include "tools/ulix/output.h"

namespace ulix::cli {

class TerminalUser : public UserInterface {
 public:
  void Warn(Instrument&, const std::string& text) override { std::cerr << "ulix: " << Shown(text) << '\n'; }
};

}  // namespace ulix::cli
