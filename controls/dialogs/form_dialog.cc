#include "controls/dialogs/form_dialog.h"

#include <optional>

#include "controls/dialogs/dialog_window.h"
#include "controls/dialogs/form_pane.h"
#include "controls/dialogs/window_text.h"
#include "resources/texts.h"

namespace ulix::controls {
namespace {

constexpr double kMargin = 1.5, kButtonWidth = 14;  // in characters

class FormDialog final : public DialogWindow {
 public:
  FormDialog(Form form, Language language, int dpi) : form_(std::move(form)), language_(language), metrics_(dpi) {}

  DialogResult Ask(HWND owner) {
    return Run(owner) == static_cast<INT_PTR>(DialogResult::kOk) ? DialogResult::kOk : DialogResult::kCancel;
  }

 private:
  void OnOpen() override {
    SetTitle(WideOf(form_.title));
    const int margin = metrics_.Across(kMargin), button_height = metrics_.Down(1.8);
    const SIZE inner = FormPane::SizeOf(form_, metrics_);
    const int width = margin + inner.cx + margin;
    const int height = margin + inner.cy + margin + button_height + margin;
    Size(width, height);
    pane_.emplace(window(), form_, metrics_);
    pane_->Place({margin, margin, width - margin, margin + inner.cy});
    MakeButtons(width - margin, height - margin - button_height, button_height);
    SetFocus(pane_->First() ? pane_->First() : GetDlgItem(window(), IDOK));
  }

  void MakeButtons(int right, int top, int height) {
    const int width = metrics_.Across(kButtonWidth), gap = metrics_.Across(1);
    const bool takes = static_cast<bool>(form_.apply);
    const int left = right - (takes ? 2 * width + gap : width);
    Make(L"BUTTON", WideOf(Localized(TextId::kOk, language_)), BS_DEFPUSHBUTTON | WS_TABSTOP,
         {left, top, left + width, top + height}, IDOK, metrics_.font());
    if (!takes) return;
    Make(L"BUTTON", WideOf(Localized(TextId::kCancel, language_)), WS_TABSTOP,
         {right - width, top, right, top + height}, IDCANCEL, metrics_.font());
  }

  // Ends the dialog when the form accepts the entries. Otherwise shows the refused field and the reason.
  void Take() {
    pane_->Collect();
    const auto refusal = form_.apply ? form_.apply(form_) : std::nullopt;
    refusal ? pane_->Refuse(*refusal) : End(static_cast<int>(DialogResult::kOk));
  }

  bool OnCommand(int command) override {
    if (command == IDOK) Take();
    if (command == IDCANCEL) End(static_cast<int>(DialogResult::kCancel));
    return command == IDOK || command == IDCANCEL;
  }

  Form form_;
  const Language language_;
  const Metrics metrics_;
  std::optional<FormPane> pane_;
};

}  // namespace

DialogResult AskInWindow(Form form, Language language, HWND owner, int dpi) {
  FormDialog dialog(std::move(form), language, dpi);
  return dialog.Ask(owner);
}

}  // namespace ulix::controls
