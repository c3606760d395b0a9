// A window of ours inside another one.
#pragma once

#include <windows.h>

namespace ulix::controls {

// Derived classes handle its messages. Lives on one thread; destroyed with the object, or by its parent's end before.
class ChildWindow {
 public:
  ChildWindow(const ChildWindow&) = delete;
  ChildWindow& operator=(const ChildWindow&) = delete;

  HWND window() const { return window_; }

 protected:
  // `style` and `extended` are added to those of a visible child.
  ChildWindow(HWND parent, DWORD style, DWORD extended);
  virtual ~ChildWindow();
  virtual LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);

 private:
  static LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  static void RegisterOnce();
  HWND window_ = nullptr;
};

}  // namespace ulix::controls
