#include "controls/dialogs/form_pane.h"

#include <algorithm>

#include "controls/dialogs/window_text.h"
#include "controls/module.h"

namespace ulix::controls {
namespace {

constexpr double kListWidth = 18, kGap = 1.5;  // in characters
constexpr double kMostLines = 30;              // of a page before it scrolls

int ListWidth(const Form& form, const Metrics& metrics) {
  return form.pages.size() > 1 ? metrics.Across(kListWidth + kGap) : 0;
}

}  // namespace

FormPane::FormPane(HWND parent, Form& form, const Metrics& metrics)
    : ChildWindow(parent, WS_CLIPCHILDREN, WS_EX_CONTROLPARENT), form_(form), metrics_(metrics) {
  if (form_.pages.size() > 1) {
    constexpr DWORD kStyle = WS_CHILD | WS_VISIBLE | LBS_NOTIFY | WS_BORDER | WS_VSCROLL | WS_TABSTOP | LBS_NOINTEGRALHEIGHT;
    list_ = CreateWindowExW(0, L"LISTBOX", L"", kStyle, 0, 0, 0, 0, window(), nullptr, ModuleInstance(), nullptr);
    SendMessageW(list_, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_.font()), TRUE);
    for (const Page& page : form_.pages)
      SendMessageW(list_, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(WideOf(page.title).c_str()));
    SendMessageW(list_, LB_SETCURSEL, 0, 0);
  }
  view_.emplace(window(), metrics_);
}

SIZE FormPane::SizeOf(const Form& form, const Metrics& metrics) {
  SIZE inner{0, metrics.Down(4)};
  for (const Page& page : form.pages) {
    const SIZE size = FormView::SizeOf(page, metrics);
    inner.cx = std::max(inner.cx, size.cx);
    inner.cy = std::max(inner.cy, std::min<LONG>(size.cy, metrics.Down(kMostLines)));
  }
  return {ListWidth(form, metrics) + inner.cx + GetSystemMetrics(SM_CXVSCROLL), inner.cy};
}

void FormPane::Place(const RECT& place) {
  const int width = place.right - place.left, height = place.bottom - place.top;
  MoveWindow(window(), place.left, place.top, width, height, TRUE);
  const int list = ListWidth(form_, metrics_);
  if (list_) MoveWindow(list_, 0, 0, list - metrics_.Across(kGap), height, TRUE);
  view_->Place({list, 0, width, height});
  view_->Show(form_.pages[shown_]);
}

void FormPane::Collect() { view_->Collect(form_.pages[shown_]); }

void FormPane::TurnTo(std::size_t page) {
  if (page == shown_ || page >= form_.pages.size()) return;
  Collect();
  shown_ = page;
  view_->Show(form_.pages[page]);
}

void FormPane::Refuse(const Refusal& refusal) {
  if (list_) SendMessageW(list_, LB_SETCURSEL, refusal.page, 0);
  TurnTo(refusal.page);
  view_->Refuse(refusal.field, refusal.reason);
}

HWND FormPane::First() const { return list_ ? list_ : GetNextDlgTabItem(view_->window(), nullptr, FALSE); }

LRESULT FormPane::Handle(UINT message, WPARAM wide, LPARAM lengthy) {
  if (message == WM_COMMAND && list_ && reinterpret_cast<HWND>(lengthy) == list_) {
    if (HIWORD(wide) == LBN_SELCHANGE) TurnTo(static_cast<std::size_t>(SendMessageW(list_, LB_GETCURSEL, 0, 0)));
    return 0;
  }
  if (message == FormView::kChanged && changed_) changed_();
  return ChildWindow::Handle(message, wide, lengthy);
}

}  // namespace ulix::controls
