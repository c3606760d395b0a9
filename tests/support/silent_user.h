// A person who answers every dialog with Cancel; a test overrides what it is about.
#pragma once

#include "core/user_interface.h"

namespace ulix {

class SilentUser : public UserInterface {
 public:
  DialogResult EditGroup(Instrument&, std::uint32_t) override { return DialogResult::kCancel; }
  DialogResult EditOutChans(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCommParams(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCfg(Instrument&) override { return DialogResult::kCancel; }
  void ShowProperties(Instrument&) override {}
  bool Progress(int) override { return true; }
};

}  // namespace ulix
