// Base class of a dialog window. It needs no template: its content is created when it opens.
#pragma once

#include <windows.h>

#include <exception>
#include <string>

namespace ulix::controls {

// A derived class creates the content in OnOpen. Enter and Escape arrive as the commands IDOK and IDCANCEL.
class DialogWindow {
 public:
  DialogWindow() = default;
  virtual ~DialogWindow() = default;
  DialogWindow(const DialogWindow&) = delete;
  DialogWindow& operator=(const DialogWindow&) = delete;

 protected:
  // Shows the dialog modal to `owner`. Returns the value given to End, or a negative number when the window cannot be
  // created. An exception of OnOpen or OnCommand ends the dialog and is thrown again here.
  INT_PTR Run(HWND owner);
  // Shows the dialog without waiting for its end. Returns its window, or null when it cannot be created. Throws what
  // OnOpen threw; a later exception closes the window.
  HWND Open(HWND owner);
  void End(int result) { EndDialog(window_, result); }
  HWND window() const { return window_; }

  // Creates the content, sizes the window and centres it over its owner.
  virtual void OnOpen() = 0;
  // Handles a command. Returns false when the command is not known.
  virtual bool OnCommand(int command) = 0;

  void SetTitle(const std::wstring& title) { SetWindowTextW(window_, title.c_str()); }
  // Creates a window of the class `kind` inside the dialog.
  HWND Make(const wchar_t* kind, const std::wstring& text, DWORD style, const RECT& place, int id, HFONT font);
  // Sets the size of the client area and centres the window over its owner, or on the screen.
  void Size(int width, int height);

 private:
  static INT_PTR CALLBACK Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  template <typename Body>
  bool Try(Body&& body);
  HWND window_ = nullptr;
  std::exception_ptr failure_;
};

}  // namespace ulix::controls
