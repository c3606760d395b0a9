#include "controls/dialogs/desktop.h"

#include "controls/dialogs/file_dialog.h"
#include "controls/dialogs/form_dialog.h"
#include "controls/dialogs/progress_dialog.h"
#include "controls/dialogs/window_text.h"
#include "forms/instrument_forms.h"

namespace ulix::controls {
namespace {

constexpr int kDone = 100;
constexpr DWORD kDoneShownMs = 300;

// Shows the wait cursor. The destructor restores the cursor and the focus.
class WaitCursor {
 public:
  WaitCursor() : focus_(GetFocus()), cursor_(SetCursor(LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_WAIT)))) {}
  ~WaitCursor() {
    if (focus_ && GetFocus() != focus_) SetFocus(focus_);
    SetCursor(cursor_);
  }
  WaitCursor(const WaitCursor&) = delete;

 private:
  const HWND focus_;
  const HCURSOR cursor_;
};

}  // namespace

Desktop::Desktop(Language language) : language_(language) {}
Desktop::~Desktop() = default;

DialogResult Desktop::EditGroup(Instrument& instrument, std::uint32_t group) {
  return AskInWindow(GroupForm(instrument, group, language_), language_, GetActiveWindow());
}

DialogResult Desktop::EditOutChans(Instrument& instrument) {
  return AskInWindow(OutChansForm(instrument, language_), language_, GetActiveWindow());
}

DialogResult Desktop::EditCommParams(Instrument& instrument) {
  return AskInWindow(CommForm(instrument, language_), language_, GetActiveWindow());
}

DialogResult Desktop::EditCfg(Instrument& instrument) {
  return AskInWindow(CfgForm(instrument, language_), language_, GetActiveWindow());
}

void Desktop::ShowProperties(Instrument& instrument) {
  AskInWindow(PropertiesForm(instrument, language_), language_, GetActiveWindow());
}

std::shared_ptr<void> Desktop::ShowWait() { return std::make_shared<WaitCursor>(); }

void Desktop::Warn(Instrument& instrument, const std::string& text) {
  const std::wstring title = WideOf(instrument.card().display_name.In(language_));
  MessageBoxW(GetActiveWindow(), WideOf(text).c_str(), title.c_str(), MB_OK | MB_ICONWARNING);
}

std::optional<std::string> Desktop::ChooseFile(const FileQuestion& question) {
  return AskForFile(question, GetActiveWindow());
}

// The window that shows the step, or null. A stopped operation that reports its end has no window. Nor has an operation
// that is refused because another one is running, on another thread or on the same thread from inside a report.
ProgressDialog* Desktop::ProgressOf(const ShownProgress& step) {
  const DWORD self = GetCurrentThreadId();
  if (progress_thread_ == self) return reporting_ ? nullptr : progress_.get();
  DWORD nobody = 0;
  if (step.percent >= kDone || !progress_thread_.compare_exchange_strong(nobody, self)) return nullptr;
  try {
    progress_ = std::make_unique<ProgressDialog>(GetActiveWindow(), WideOf(step.title), language_);
  } catch (...) {
    EndProgress();
    throw;
  }
  return progress_.get();
}

void Desktop::EndProgress() {
  progress_.reset();
  reporting_ = false;
  progress_thread_ = 0;
}

// At the end the window stays for a moment, so that the user sees that the operation is complete.
bool Desktop::ShowProgress(const ShownProgress& step) {
  ProgressDialog* progress = ProgressOf(step);
  if (!progress) return true;
  reporting_ = true;
  bool go_on = false;
  try {
    go_on = progress->Report(step.percent, WideOf(step.text));
  } catch (...) {
    EndProgress();
    throw;
  }
  const bool done = step.percent >= kDone;
  if (done && go_on) Sleep(kDoneShownMs);
  reporting_ = false;
  if (done || !go_on) EndProgress();
  return go_on;
}

}  // namespace ulix::controls
