// Shows the progress of a long operation, with a button to stop it.
#pragma once

#include <windows.h>

#include "base/text.h"
#include "controls/dialogs/dialog_window.h"
#include "controls/dialogs/metrics.h"

namespace ulix::controls {

// The owner window is disabled meanwhile. The first report creates the window, on the reporting thread. Its buttons
// respond only while reports come.
class ProgressDialog final : private DialogWindow {
 public:
  ProgressDialog(HWND owner, const std::wstring& title, Language language, int dpi = 0);
  ~ProgressDialog() override;
  HWND window() const { return dialog_; }
  // Shows the progress, 0 to 100 percent, and the current step, and handles pressed buttons. Returns whether to
  // continue.
  bool Report(int percent, const std::wstring& text);

 private:
  void OnOpen() override;
  bool OnCommand(int command) override;

  const std::wstring title_;
  const Language language_;
  const Metrics metrics_;
  HWND owner_;
  HWND dialog_ = nullptr;
  bool cancelled_ = false;
};

}  // namespace ulix::controls
