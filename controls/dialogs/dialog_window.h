// A dialog window without a template: its content is made when it opens.
#pragma once

#include <windows.h>

#include <string>

namespace ulix::controls {

// Derive from it and make the content in OnOpen. Enter and Escape come as the commands IDOK and IDCANCEL.
class DialogWindow {
 public:
  DialogWindow() = default;
  virtual ~DialogWindow() = default;
  DialogWindow(const DialogWindow&) = delete;
  DialogWindow& operator=(const DialogWindow&) = delete;

 protected:
  // Modal to `owner`; what End was given, or a negative number when there is no window to be had.
  INT_PTR Run(HWND owner);
  // Not modal; the window of the dialog, or null.
  HWND Open(HWND owner);
  void End(int result) { EndDialog(window_, result); }
  HWND window() const { return window_; }

  // Makes the content, sizes the window and centres it over its owner.
  virtual void OnOpen() = 0;
  // Whether the command was dealt with.
  virtual bool OnCommand(int command) = 0;

  void SetTitle(const std::wstring& title) { SetWindowTextW(window_, title.c_str()); }
  // A window of `kind` inside the dialog.
  HWND Make(const wchar_t* kind, const std::wstring& text, DWORD style, const RECT& place, int id, HFONT font);
  // Sets the size of the inside and moves the window to the middle of its owner, or of the screen.
  void Size(int width, int height);

 private:
  static INT_PTR CALLBACK Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  HWND window_ = nullptr;
};

}  // namespace ulix::controls
