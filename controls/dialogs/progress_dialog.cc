#include "controls/dialogs/progress_dialog.h"

#include <commctrl.h>

#include "controls/dialogs/window_text.h"
#include "resources/texts.h"

namespace ulix::controls {
namespace {

constexpr int kText = 100, kBar = 101;

}  // namespace

ProgressDialog::ProgressDialog(HWND owner, const std::wstring& title, Language language, int dpi)
    : title_(title), language_(language), metrics_(dpi), owner_(owner) {
  INITCOMMONCONTROLSEX wanted{sizeof(wanted), ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&wanted);
  dialog_ = Open(owner);
  if (owner_) EnableWindow(owner_, FALSE);
  if (dialog_) ShowWindow(dialog_, SW_SHOW);
}

ProgressDialog::~ProgressDialog() {
  // The owner is enabled before this window is destroyed. Otherwise it would not come to the front again.
  if (owner_) EnableWindow(owner_, TRUE);
  if (dialog_) DestroyWindow(dialog_);
}

void ProgressDialog::OnOpen() {
  SetTitle(title_);
  const int margin = metrics_.Across(2), width = metrics_.Across(60), line = metrics_.Down(1.8);
  Size(width, 2 * margin + 4 * line);
  Make(L"STATIC", WideOf(Localized(TextId::kPleaseWait, language_)), SS_LEFT,
       {margin, margin, width - margin, margin + line}, kText, metrics_.font());
  Make(PROGRESS_CLASSW, L"", 0, {margin, margin + line, width - margin, margin + 2 * line}, kBar, metrics_.font());
  const int button = metrics_.Across(14), top = margin + 3 * line;
  const HWND cancel = Make(L"BUTTON", WideOf(Localized(TextId::kCancel, language_)), WS_TABSTOP,
                           {width - margin - button, top, width - margin, top + line}, IDCANCEL, metrics_.font());
  SetFocus(cancel);
}

bool ProgressDialog::OnCommand(int command) {
  if (command == IDCANCEL || command == IDOK) cancelled_ = true;
  return command == IDCANCEL || command == IDOK;
}

bool ProgressDialog::Report(int percent, const std::wstring& text) {
  if (!dialog_) return true;
  if (!text.empty()) SetDlgItemTextW(dialog_, kText, text.c_str());
  SendDlgItemMessageW(dialog_, kBar, PBM_SETPOS, static_cast<WPARAM>(percent), 0);
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {  // the host must see it too; it also ends the operation
      PostQuitMessage(static_cast<int>(message.wParam));
      return false;
    }
    if (IsDialogMessageW(dialog_, &message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return !cancelled_;
}

}  // namespace ulix::controls
