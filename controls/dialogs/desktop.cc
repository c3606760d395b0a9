#include "controls/dialogs/desktop.h"

#include "controls/dialogs/form_dialog.h"
#include "controls/dialogs/progress_dialog.h"
#include "controls/dialogs/window_text.h"
#include "forms/instrument_forms.h"

namespace ulix::controls {
namespace {

constexpr int kDone = 100;

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

void Desktop::Warn(Instrument& instrument, const std::string& text) {
  const std::wstring title = WideOf(instrument.card().display_name.In(language_));
  MessageBoxW(GetActiveWindow(), WideOf(text).c_str(), title.c_str(), MB_OK | MB_ICONWARNING);
}

bool Desktop::Progress(int percent) {
  if (!progress_) progress_ = std::make_unique<ProgressDialog>(GetActiveWindow(), L"UlixInstrAx", language_);
  const bool go_on = progress_->Report(percent);
  if (percent >= kDone || !go_on) progress_.reset();
  return go_on;
}

}  // namespace ulix::controls
