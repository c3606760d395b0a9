// Base class of a child window.
#pragma once

#include <windows.h>

namespace ulix::controls {

// Derived classes handle the messages of the window. Use it on one thread only. The window is destroyed with the
// object, or earlier with its parent window.
class ChildWindow {
 public:
  ChildWindow(const ChildWindow&) = delete;
  ChildWindow& operator=(const ChildWindow&) = delete;

  HWND window() const { return window_; }

 protected:
  // `style` and `extended` are added to the styles of a visible child window.
  ChildWindow(HWND parent, DWORD style, DWORD extended);
  virtual ~ChildWindow();
  // An exception ends the handling of the message, with a sound.
  virtual LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);

 private:
  static LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  static void RegisterOnce();
  HWND window_ = nullptr;
};

}  // namespace ulix::controls
