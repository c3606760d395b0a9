// The person at the command line: told things on standard error, asked nothing.
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
