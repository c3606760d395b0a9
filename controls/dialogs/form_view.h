// Shows the questions of one page of a form as child windows.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "controls/dialogs/child_window.h"
#include "controls/dialogs/metrics.h"
#include "forms/form.h"

namespace ulix::controls {

// A row has a label, an entry and a unit, or a button that chooses a file. A page that consists of ticks only is one
// list. A page that is longer than its place scrolls. Use it on the thread of its windows only.
class FormView final : public ChildWindow {
 public:
  // The message sent to the parent when an entry changes.
  static constexpr UINT kChanged = WM_APP + 1;

  FormView(HWND parent, const Metrics& metrics);

  void Place(const RECT& place);
  // Replaces the page that is shown. Entries that were not collected are lost.
  void Show(const Page& page);
  // Replaces the choices of a field of the page that is shown.
  void ShowChoices(std::size_t field, const Field& shown);
  // Writes the entries into `page`, which must be the page that is shown.
  void Collect(Page& page) const;
  // Sets the focus to the field.
  void GoTo(std::size_t field);

  // The size that a page needs without scrolling.
  static SIZE SizeOf(const Page& page, const Metrics& metrics);

 private:
  struct Row {
    HWND entry = nullptr;   // null for a read-only field
    HWND browse = nullptr;  // the button that chooses the file of the entry
    FileQuestion file;
    int top = 0;
    int bottom = 0;
  };

  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override;
  void HandleScroll(int action, int position);
  void HandleCommand(int what, HWND from);
  void TellParent();
  void ShowRows(const Page& page);
  void ShowList(const Page& page);
  Row MakeRow(const Field& field, int label_width, std::wstring& taken);
  HWND MakeEntry(const Field& field, const RECT& place, const std::wstring& label);
  HWND MakeList(const Field& field, RECT place);
  static void FillList(HWND box, const Field& field);
  void Browse(const Row& row);
  HWND Make(const wchar_t* kind, const std::wstring& text, DWORD style, const RECT& place);
  void Clear();
  void ScrollTo(int top);
  void BringIntoView(HWND entry);
  void UpdateScrollBar();

  const Metrics& metrics_;
  HWND list_ = nullptr;  // the list of a page that consists of ticks
  std::vector<Row> rows_;
  int height_ = 0;  // height of all rows
  int scrolled_ = 0;
  bool showing_ = false;  // true while Show fills the entries: their changes are not the user's
};

}  // namespace ulix::controls
