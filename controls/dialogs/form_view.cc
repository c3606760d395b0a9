#include "controls/dialogs/form_view.h"

#include <commctrl.h>

#include <algorithm>

#include "controls/dialogs/file_dialog.h"
#include "controls/dialogs/window_text.h"
#include "controls/module.h"

namespace ulix::controls {
namespace {

constexpr double kLineHeight = 1.9, kEntryHeight = 1.55;  // height of a row and of its entry, in lines of text
constexpr double kEntryWidth = 24, kUnitWidth = 6, kUnitGap = 0.5, kBrowseWidth = 4, kRowGap = 1.5;  // in characters
constexpr double kLabelDown = 0.2;  // from the top of an entry to that of its label
constexpr double kListLines = 14;

bool IsTickList(const Page& page) {
  return !page.fields.empty() && std::all_of(page.fields.begin(), page.fields.end(),
                                             [](const Field& field) { return field.kind == FieldKind::kCheckBox; });
}

int LabelWidth(const Page& page, const Metrics& metrics) {
  int width = metrics.Across(10);
  for (const Field& field : page.fields) width = std::max(width, metrics.WidthOf(WideOf(field.label)));
  return width + metrics.Across(kRowGap);
}

// The label with an access key: an underlined letter that no other label of the page has. Ampersands in the label are
// doubled.
std::wstring WithAccelerator(const std::string& label, std::wstring& taken) {
  std::wstring text;
  bool marked = false;
  for (const wchar_t letter : WideOf(label)) {
    const wchar_t lower = static_cast<wchar_t>(letter < 128 ? std::tolower(static_cast<int>(letter)) : letter);
    if (!marked && lower >= L'a' && lower <= L'z' && taken.find(lower) == std::wstring::npos) {
      taken += lower;
      text += L'&';
      marked = true;
    }
    if (letter == L'&') text += letter;
    text += letter;
  }
  return text;
}

// The number of text lines of a field. A read-only text is broken into lines; the border takes part of its width.
int LinesOf(const Field& field, const Metrics& metrics) {
  constexpr double kTextWidth = kEntryWidth + kUnitWidth - kRowGap - 1;
  return field.kind == FieldKind::kShown ? metrics.LinesOf(WideOf(field.value), metrics.Across(kTextWidth)) : 1;
}

double RowLines(const Field& field, const Metrics& metrics) { return kLineHeight + LinesOf(field, metrics) - 1; }

// A multi-line edit control handles Enter, Escape and Tab itself. A read-only one must leave them to the dialog.
LRESULT CALLBACK ShowOnly(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR, DWORD_PTR) {
  if (message == WM_GETDLGCODE) return DLGC_HASSETSEL | DLGC_WANTARROWS;
  return DefSubclassProc(window, message, wparam, lparam);
}

// The value of a tick box.
std::string TextOfTick(bool ticked) { return ticked ? "1" : ""; }

RECT Moved(const RECT& place, int right, int width) {
  return {place.left + right, place.top, place.left + right + width, place.bottom};
}

}  // namespace

FormView::FormView(HWND parent, const Metrics& metrics)
    : ChildWindow(parent, WS_CLIPCHILDREN, WS_EX_CONTROLPARENT), metrics_(metrics) {
  INITCOMMONCONTROLSEX wanted{sizeof(wanted), ICC_LISTVIEW_CLASSES};
  InitCommonControlsEx(&wanted);
}

void FormView::Place(const RECT& place) {
  MoveWindow(window(), place.left, place.top, place.right - place.left, place.bottom - place.top, TRUE);
  UpdateScrollBar();
}

SIZE FormView::SizeOf(const Page& page, const Metrics& metrics) {
  const int width = LabelWidth(page, metrics) + metrics.Across(kEntryWidth + kUnitWidth);
  double lines = IsTickList(page) ? kListLines : 0;
  if (!IsTickList(page)) {
    for (const Field& field : page.fields) lines += RowLines(field, metrics);
  }
  return {width, metrics.Down(lines)};
}

void FormView::Show(const Page& page) {
  showing_ = true;
  Clear();
  IsTickList(page) ? ShowList(page) : ShowRows(page);
  UpdateScrollBar();
  showing_ = false;
}

void FormView::ShowRows(const Page& page) {
  const int label_width = LabelWidth(page, metrics_);
  std::wstring taken;
  for (const Field& field : page.fields) rows_.push_back(MakeRow(field, label_width, taken));
}

FormView::Row FormView::MakeRow(const Field& field, int label_width, std::wstring& taken) {
  Row row;
  row.top = height_;
  row.bottom = height_ += metrics_.Down(RowLines(field, metrics_));
  const RECT line{0, row.top, 0, row.top + metrics_.Down(kEntryHeight + LinesOf(field, metrics_) - 1)};
  RECT label = Moved(line, 0, label_width);
  label.top += metrics_.Down(kLabelDown);
  const bool is_shown = field.kind == FieldKind::kShown, is_tick = field.kind == FieldKind::kCheckBox;
  const std::wstring text = is_shown ? WideOf(field.label) : WithAccelerator(field.label, taken);
  // The label of a tick box is part of the box, so that a click on the label ticks it too.
  if (!is_tick) Make(L"STATIC", text, is_shown ? SS_LEFT | SS_NOPREFIX : SS_LEFT, label);
  row.entry = MakeEntry(field, Moved(line, label_width, metrics_.Across(kEntryWidth)), text);
  const int behind = label_width + metrics_.Across(kEntryWidth + kUnitGap);
  if (field.kind == FieldKind::kFile) {
    row.file = field.file;
    row.browse = Make(L"BUTTON", L"...", WS_TABSTOP, Moved(line, behind, metrics_.Across(kBrowseWidth)));
  }
  const RECT unit = Moved(label, behind, metrics_.Across(kUnitWidth - kUnitGap));
  if (!field.unit.empty()) Make(L"STATIC", WideOf(field.unit), SS_LEFT | SS_NOPREFIX, unit);
  return row;
}

HWND FormView::MakeEntry(const Field& field, const RECT& place, const std::wstring& label) {
  switch (field.kind) {
    case FieldKind::kShown: {
      // An edit control, so that the user can select and copy the text.
      RECT wide = place, inside;
      GetClientRect(window(), &inside);
      OffsetRect(&wide, 0, metrics_.Down(kLabelDown));  // without a border, its text stands beside that of the label
      wide.right = std::max(wide.right, inside.right - metrics_.Across(kRowGap));
      SetWindowSubclass(Make(L"EDIT", WideOf(field.value), ES_READONLY | ES_MULTILINE | WS_TABSTOP, wide), ShowOnly, 0,
                        0);
      return nullptr;
    }
    case FieldKind::kCheckBox: {
      const HWND box = Make(L"BUTTON", label, BS_AUTOCHECKBOX | WS_TABSTOP, place);
      SendMessageW(box, BM_SETCHECK, field.value.empty() ? BST_UNCHECKED : BST_CHECKED, 0);
      return box;
    }
    case FieldKind::kChoice:
    case FieldKind::kOpenList:
      return MakeList(field, place);
    default:
      return Make(L"EDIT", WideOf(field.value), ES_AUTOHSCROLL | WS_TABSTOP | WS_BORDER, place);
  }
}

HWND FormView::MakeList(const Field& field, RECT place) {
  place.bottom += metrics_.Down(14);  // height of the open list
  const DWORD kind = field.kind == FieldKind::kChoice ? CBS_DROPDOWNLIST : CBS_DROPDOWN | CBS_AUTOHSCROLL;
  const HWND box = Make(L"COMBOBOX", L"", kind | WS_VSCROLL | WS_TABSTOP, place);
  FillList(box, field);
  return box;
}

void FormView::FillList(HWND box, const Field& field) {
  SendMessageW(box, CB_RESETCONTENT, 0, 0);
  for (const std::string& choice : field.choices)
    SendMessageW(box, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(WideOf(choice).c_str()));
  const auto chosen = std::find(field.choices.begin(), field.choices.end(), field.value);
  if (chosen != field.choices.end()) {
    SendMessageW(box, CB_SETCURSEL, static_cast<WPARAM>(chosen - field.choices.begin()), 0);
  } else {
    SetWindowTextW(box, WideOf(field.value).c_str());
  }
}

void FormView::ShowChoices(std::size_t field, const Field& shown) {
  if (field < rows_.size() && rows_[field].entry) FillList(rows_[field].entry, shown);
}

void FormView::ShowList(const Page& page) {
  RECT place;
  GetClientRect(window(), &place);
  list_ = Make(WC_LISTVIEWW, L"", LVS_REPORT | LVS_NOCOLUMNHEADER | LVS_SINGLESEL | WS_TABSTOP | WS_BORDER, place);
  ListView_SetExtendedListViewStyle(list_, LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT);
  LVCOLUMNW column{};
  column.mask = LVCF_WIDTH;
  column.cx = place.right - GetSystemMetrics(SM_CXVSCROLL) - 4;
  SendMessageW(list_, LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
  for (std::size_t k = 0; k < page.fields.size(); ++k) {
    std::wstring label = WideOf(page.fields[k].label);
    LVITEMW item{};
    item.mask = LVIF_TEXT;
    item.iItem = static_cast<int>(k);
    item.pszText = label.data();
    SendMessageW(list_, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
    ListView_SetCheckState(list_, static_cast<int>(k), !page.fields[k].value.empty());
  }
}

void FormView::Collect(Page& page) const {
  for (std::size_t k = 0; k < page.fields.size(); ++k) {
    Field& field = page.fields[k];
    if (list_) {
      field.value = TextOfTick(ListView_GetCheckState(list_, static_cast<int>(k)) != 0);
    } else if (k < rows_.size() && rows_[k].entry) {
      const HWND entry = rows_[k].entry;
      // The text of a list follows its selection later, in some systems.
      const auto chosen = field.kind == FieldKind::kChoice ? SendMessageW(entry, CB_GETCURSEL, 0, 0) : CB_ERR;
      const bool is_tick = field.kind == FieldKind::kCheckBox;
      const bool ticked = is_tick && SendMessageW(entry, BM_GETCHECK, 0, 0) == BST_CHECKED;
      field.value = is_tick ? TextOfTick(ticked) : TextOfWindow(entry);
      if (chosen >= 0 && static_cast<std::size_t>(chosen) < field.choices.size())
        field.value = field.choices[static_cast<std::size_t>(chosen)];
    }
  }
}

void FormView::GoTo(std::size_t field) {
  if (field >= rows_.size()) return;
  BringIntoView(rows_[field].entry);
  SetFocus(rows_[field].entry);
  SendMessageW(rows_[field].entry, EM_SETSEL, 0, -1);
}

// The file dialog starts with the path in the entry. Afterwards the entry has the focus, so that Enter accepts the form
// instead of opening the file dialog again.
void FormView::Browse(const Row& row) {
  FileQuestion question = row.file;
  question.suggested = TextOfWindow(row.entry);
  const auto path = AskForFile(question, GetAncestor(window(), GA_ROOT));
  if (!path || path->empty()) return;
  SetFocus(row.entry);
  SetWindowTextW(row.entry, WideOf(*path).c_str());
}

HWND FormView::Make(const wchar_t* kind, const std::wstring& text, DWORD style, const RECT& place) {
  const HWND made =
      CreateWindowExW(0, kind, text.c_str(), WS_CHILD | WS_VISIBLE | style, place.left, place.top,
                      place.right - place.left, place.bottom - place.top, window(), nullptr, ModuleInstance(), nullptr);
  SendMessageW(made, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_.font()), TRUE);
  return made;
}

void FormView::Clear() {
  ScrollTo(0);
  while (const HWND child = GetWindow(window(), GW_CHILD)) DestroyWindow(child);
  rows_.clear();
  list_ = nullptr;
  height_ = 0;
}

void FormView::ScrollTo(int top) {
  RECT visible;
  GetClientRect(window(), &visible);
  top = std::clamp(top, 0, std::max(0, height_ - static_cast<int>(visible.bottom)));
  ScrollWindowEx(window(), 0, scrolled_ - top, nullptr, nullptr, nullptr, nullptr,
                 SW_SCROLLCHILDREN | SW_INVALIDATE | SW_ERASE);
  scrolled_ = top;
  UpdateScrollBar();
}

void FormView::BringIntoView(HWND entry) {
  RECT visible;
  GetClientRect(window(), &visible);
  const auto row = std::find_if(rows_.begin(), rows_.end(), [&](const Row& each) { return each.entry == entry; });
  if (!entry || row == rows_.end()) return;
  if (row->top < scrolled_) ScrollTo(row->top);
  if (row->bottom > scrolled_ + visible.bottom) ScrollTo(row->bottom - visible.bottom);
}

void FormView::UpdateScrollBar() {
  RECT visible;
  GetClientRect(window(), &visible);
  SCROLLINFO info{};
  info.cbSize = sizeof(info);
  info.fMask = SIF_RANGE | SIF_PAGE | SIF_POS;
  info.nMax = std::max(0, height_ - 1);
  info.nPage = static_cast<UINT>(visible.bottom);
  info.nPos = scrolled_;
  SetScrollInfo(window(), SB_VERT, &info, TRUE);
}

void FormView::HandleScroll(int action, int position) {
  RECT visible;
  GetClientRect(window(), &visible);
  const int line = metrics_.Down(kLineHeight);
  switch (action) {
    case SB_LINEUP:
      ScrollTo(scrolled_ - line);
      break;
    case SB_LINEDOWN:
      ScrollTo(scrolled_ + line);
      break;
    case SB_PAGEUP:
      ScrollTo(scrolled_ - visible.bottom);
      break;
    case SB_PAGEDOWN:
      ScrollTo(scrolled_ + visible.bottom);
      break;
    case SB_THUMBTRACK:
      ScrollTo(position);
      break;
    default:
      break;
  }
}

void FormView::TellParent() {
  if (!showing_) SendMessageW(GetParent(window()), kChanged, 0, 0);
}

void FormView::HandleCommand(int what, HWND from) {
  // A click on a tick box has code 0, like a menu command, but it has a window.
  const bool clicked = what == BN_CLICKED && from;
  const auto row = std::find_if(rows_.begin(), rows_.end(), [&](const Row& each) { return each.browse == from; });
  if (clicked && row != rows_.end()) return Browse(*row);
  if (what == EN_SETFOCUS || what == CBN_SETFOCUS) BringIntoView(from);
  if (what == EN_CHANGE || what == CBN_SELCHANGE || what == CBN_EDITCHANGE || clicked) TellParent();
}

LRESULT FormView::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_VSCROLL:
      HandleScroll(LOWORD(wparam), HIWORD(wparam));
      return 0;
    case WM_MOUSEWHEEL:
      ScrollTo(scrolled_ - GET_WHEEL_DELTA_WPARAM(wparam) / WHEEL_DELTA * 3 * metrics_.Down(kLineHeight));
      return 0;
    case WM_NOTIFY:
      if (reinterpret_cast<NMHDR*>(lparam)->code == LVN_ITEMCHANGED) TellParent();
      return 0;
    case WM_COMMAND:
      HandleCommand(HIWORD(wparam), reinterpret_cast<HWND>(lparam));
      return 0;
    default:
      return ChildWindow::Handle(message, wparam, lparam);
  }
}

}  // namespace ulix::controls
