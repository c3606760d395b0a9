// The questions of one page of a form, as child windows.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "controls/dialogs/child_window.h"
#include "controls/dialogs/metrics.h"
#include "forms/form.h"

namespace ulix::controls {

// Lives on the thread of its windows. Rows of label, entry and unit, or of a button that chooses a file; a page of
// ticks only is one list. Longer than the place it is given, it scrolls.
class FormView final : public ChildWindow {
 public:
  // Sent to the parent when something was entered.
  static constexpr UINT kChanged = WM_APP + 1;

  FormView(HWND parent, const Metrics& metrics);

  void Place(const RECT& place);
  // Takes the place of what was shown before; entries of that are gone unless they were collected.
  void Show(const Page& page);
  // Puts what was entered into the page that is shown.
  void Collect(Page& page) const;
  // Gives the field the focus.
  void GoTo(std::size_t field);

  // The width that a page needs, and its height.
  static SIZE SizeOf(const Page& page, const Metrics& metrics);

 private:
  struct Row {
    HWND entry = nullptr;   // none for what is shown only
    HWND browse = nullptr;  // asks for the entry's file
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
  void Browse(const Row& row);
  HWND Make(const wchar_t* kind, const std::wstring& text, DWORD style, const RECT& place);
  void Clear();
  void ScrollTo(int top);
  void BringIntoView(HWND entry);
  void UpdateScrollBar();

  const Metrics& metrics_;
  HWND list_ = nullptr;  // of a page of ticks
  std::vector<Row> rows_;
  int height_ = 0;  // of all rows
  int scrolled_ = 0;
  bool showing_ = false;  // while entries change because a page is shown
};

}  // namespace ulix::controls
