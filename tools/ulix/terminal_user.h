// The person at the command line: told things on standard error, asked nothing.
#pragma once

#include <iostream>
#include <string>

#include "core/user_interface.h"
#include "tools/ulix/output.h"

namespace ulix::cli {

class TerminalUser : public UserInterface {
 public:
  DialogResult EditGroup(Instrument&, std::uint32_t) override { return DialogResult::kCancel; }
  DialogResult EditOutChans(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCommParams(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCfg(Instrument&) override { return DialogResult::kCancel; }
  void ShowProperties(Instrument&) override {}
  void Warn(Instrument&, const std::string& text) override { std::cerr << "ulix: " << Shown(text) << '\n'; }
  bool Progress(int) override { return true; }
};

}  // namespace ulix::cli
