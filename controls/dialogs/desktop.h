// The user interface in windows: dialogs, messages and progress.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "base/text.h"
#include "core/user_interface.h"

namespace ulix::controls {

class ProgressDialog;

// The windows are modal to the active window of the calling thread, that is a window of the host.
class Desktop final : public UserInterface {
 public:
  explicit Desktop(Language language);
  ~Desktop() override;

  DialogResult EditGroup(Instrument& instrument, std::uint32_t group) override;
  DialogResult EditOutChans(Instrument& instrument) override;
  DialogResult EditCommParams(Instrument& instrument) override;
  DialogResult EditCfg(Instrument& instrument) override;
  void ShowProperties(Instrument& instrument) override;
  std::shared_ptr<void> ShowWait() override;
  void Warn(Instrument& instrument, const std::string& text) override;
  std::optional<std::string> ChooseFile(const FileQuestion& question) override;
  bool Progress(int percent) override { return ShowProgress({percent, "UlixInstrAx", ""}); }
  bool ShowProgress(const ShownProgress& step) override;

 private:
  ProgressDialog* ProgressOf(const ShownProgress& step);
  void EndProgress();

  const Language language_;
  // During a long operation, only its thread uses the window and the flag.
  std::atomic<DWORD> progress_thread_ = 0;
  std::unique_ptr<ProgressDialog> progress_;
  bool reporting_ = false;
};

}  // namespace ulix::controls
