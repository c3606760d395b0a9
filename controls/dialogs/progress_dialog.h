// How far a long operation has come, with a button to stop it.
#pragma once

#include <windows.h>

#include "base/text.h"
#include "controls/dialogs/dialog_window.h"
#include "controls/dialogs/metrics.h"

namespace ulix::controls {

// The owner is disabled meanwhile. The window lives from the first report on, on the thread that reports, and its
// buttons work while reports come.
class ProgressDialog final : private DialogWindow {
 public:
  ProgressDialog(HWND owner, const std::wstring& title, Language language, int dpi = 0);
  ~ProgressDialog() override;
  HWND window() const { return dialog_; }
  // Shows 0 to 100 and what is being done, and handles what was pressed; whether to go on.
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
