// The questions of an instrument, asked in windows.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "base/text.h"
#include "core/user_interface.h"

namespace ulix::controls {

class ProgressDialog;

// Windows are modal to the active window of the thread that calls, which is the host's.
class Desktop final : public UserInterface {
 public:
  explicit Desktop(Language language);
  ~Desktop() override;

  DialogResult EditGroup(Instrument& instrument, std::uint32_t group) override;
  DialogResult EditOutChans(Instrument& instrument) override;
  DialogResult EditCommParams(Instrument& instrument) override;
  DialogResult EditCfg(Instrument& instrument) override;
  void ShowProperties(Instrument& instrument) override;
  void Warn(Instrument& instrument, const std::string& text) override;
  bool Progress(int percent) override;

 private:
  const Language language_;
  std::unique_ptr<ProgressDialog> progress_;  // while a long operation goes on, on the host's thread
};

}  // namespace ulix::controls
