#include "controls/dialogs/child_window.h"

#include "controls/module.h"

namespace ulix::controls {
namespace {

constexpr wchar_t kClassName[] = L"UlixWindow";

}  // namespace

ChildWindow::ChildWindow(HWND parent, DWORD style, DWORD extended) {
  RegisterOnce();
  CreateWindowExW(extended, kClassName, L"", WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, parent, nullptr,
                  ModuleInstance(), this);
}

ChildWindow::~ChildWindow() {
  if (window_) DestroyWindow(window_);
}

void ChildWindow::RegisterOnce() {
  static const ATOM registered = [] {
    WNDCLASSEXW description{};
    description.cbSize = sizeof(description);
    description.style = CS_DBLCLKS | CS_HREDRAW | CS_VREDRAW;
    description.lpfnWndProc = Receive;
    description.hInstance = ModuleInstance();
    description.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    description.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    description.lpszClassName = kClassName;
    return RegisterClassExW(&description);
  }();
  static_cast<void>(registered);
}

LRESULT CALLBACK ChildWindow::Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_NCCREATE) {
    auto* self = static_cast<ChildWindow*>(reinterpret_cast<CREATESTRUCTW*>(lparam)->lpCreateParams);
    self->window_ = window;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
  }
  auto* self = reinterpret_cast<ChildWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == WM_NCDESTROY && self) {
    self->window_ = nullptr;
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    self = nullptr;
  }
  if (!self) return DefWindowProcW(window, message, wparam, lparam);
  // The system's code between this function and its caller must not see an exception.
  try {
    return self->Handle(message, wparam, lparam);
  } catch (...) {
    MessageBeep(MB_ICONERROR);
    return 0;
  }
}

LRESULT ChildWindow::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  return DefWindowProcW(window_, message, wparam, lparam);
}

}  // namespace ulix::controls
