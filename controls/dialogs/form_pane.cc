#include "controls/dialogs/form_pane.h"

#include <algorithm>

#include "controls/dialogs/window_text.h"
#include "controls/module.h"

namespace ulix::controls {
namespace {

constexpr double kListWidth = 18, kGap = 1.5;  // in characters
constexpr double kMaxLines = 30;               // height of a page in lines; a longer page scrolls
constexpr double kReasonLines = 3.4, kReasonGap = 0.4, kReasonWidth = 60;
constexpr COLORREF kReasonColour = RGB(176, 0, 32);

int ReasonHeight(const Metrics& metrics) { return metrics.Down(kReasonLines); }

int ListWidth(const Form& form, const Metrics& metrics) {
  return form.pages.size() > 1 ? metrics.Across(kListWidth + kGap) : 0;
}

}  // namespace

FormPane::FormPane(HWND parent, Form& form, const Metrics& metrics)
    : ChildWindow(parent, WS_CLIPCHILDREN, WS_EX_CONTROLPARENT), form_(form), metrics_(metrics) {
  if (form_.pages.size() > 1) {
    constexpr DWORD kStyle =
        WS_CHILD | WS_VISIBLE | LBS_NOTIFY | WS_BORDER | WS_VSCROLL | WS_TABSTOP | LBS_NOINTEGRALHEIGHT;
    list_ = CreateWindowExW(0, L"LISTBOX", L"", kStyle, 0, 0, 0, 0, window(), nullptr, ModuleInstance(), nullptr);
    SendMessageW(list_, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_.font()), TRUE);
    for (const Page& page : form_.pages)
      SendMessageW(list_, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(WideOf(page.title).c_str()));
    SendMessageW(list_, LB_SETCURSEL, 0, 0);
  }
  view_.emplace(window(), metrics_);
  reason_ = CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | SS_LEFT | SS_NOPREFIX, 0, 0, 0, 0, window(),
                            nullptr, ModuleInstance(), nullptr);
  SendMessageW(reason_, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_.font()), TRUE);
}

SIZE FormPane::SizeOf(const Form& form, const Metrics& metrics) {
  SIZE inner{0, metrics.Down(4)};
  for (const Page& page : form.pages) {
    const SIZE size = FormView::SizeOf(page, metrics);
    inner.cx = std::max(inner.cx, size.cx);
    inner.cy = std::max(inner.cy, std::min<LONG>(size.cy, metrics.Down(kMaxLines)));
  }
  const LONG width = ListWidth(form, metrics) + inner.cx + GetSystemMetrics(SM_CXVSCROLL);
  const bool takes = static_cast<bool>(form.apply);
  return {std::max<LONG>(width, metrics.Across(kReasonWidth)), inner.cy + (takes ? ReasonHeight(metrics) : 0)};
}

void FormPane::Place(const RECT& place) {
  const int width = place.right - place.left, whole = place.bottom - place.top;
  const int height = form_.apply ? std::max(0, whole - ReasonHeight(metrics_)) : whole;
  MoveWindow(window(), place.left, place.top, width, whole, TRUE);
  const int reason = std::min(whole, height + metrics_.Down(kReasonGap));
  MoveWindow(reason_, 0, reason, width, whole - reason, TRUE);
  const int list = ListWidth(form_, metrics_);
  if (list_) MoveWindow(list_, 0, 0, list - metrics_.Across(kGap), height, TRUE);
  view_->Place({list, 0, width, height});
  view_->Show(form_.pages[shown_]);
}

void FormPane::Collect() {
  TellReason("");
  view_->Collect(form_.pages[shown_]);
}

void FormPane::TellReason(const std::string& reason) { SetWindowTextW(reason_, WideOf(reason).c_str()); }

void FormPane::TurnTo(std::size_t page) {
  if (page == shown_ || page >= form_.pages.size()) return;
  Collect();
  shown_ = page;
  view_->Show(form_.pages[page]);
}

void FormPane::Refuse(const Refusal& refusal) {
  if (list_) SendMessageW(list_, LB_SETCURSEL, refusal.page, 0);
  TurnTo(refusal.page);
  view_->GoTo(refusal.field);
  TellReason(refusal.reason);
  MessageBeep(MB_ICONWARNING);
}

void FormPane::Adapt() {
  Page& page = form_.pages[shown_];
  view_->Collect(page);
  const Page before = page;
  if (!form_.adapt || !form_.adapt(form_)) return;
  for (std::size_t k = 0; k < page.fields.size(); ++k) {
    if (page.fields[k].choices != before.fields[k].choices) view_->ShowChoices(k, page.fields[k]);
  }
}

HWND FormPane::First() const { return list_ ? list_ : GetNextDlgTabItem(view_->window(), nullptr, FALSE); }

LRESULT FormPane::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_COMMAND && list_ && reinterpret_cast<HWND>(lparam) == list_) {
    if (HIWORD(wparam) == LBN_SELCHANGE) TurnTo(static_cast<std::size_t>(SendMessageW(list_, LB_GETCURSEL, 0, 0)));
    return 0;
  }
  if (message == WM_CTLCOLORSTATIC && reinterpret_cast<HWND>(lparam) == reason_) {
    const LRESULT brush = ChildWindow::Handle(message, wparam, lparam);
    SetTextColor(reinterpret_cast<HDC>(wparam), kReasonColour);
    return brush;
  }
  if (message == FormView::kChanged) {
    Adapt();
    if (changed_) changed_();
  }
  return ChildWindow::Handle(message, wparam, lparam);
}

}  // namespace ulix::controls
