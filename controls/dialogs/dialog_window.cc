#include "controls/dialogs/dialog_window.h"

#include <algorithm>
#include <utility>

#include "controls/module.h"

namespace ulix::controls {
namespace {

// A dialog template without controls. The three empty strings are menu, class and title.
struct EmptyTemplate {
  DLGTEMPLATE header{};
  WORD menu = 0, window_class = 0, title = 0;
};

EmptyTemplate TemplateOfDialog() {
  EmptyTemplate made;
  made.header.style = DS_MODALFRAME | WS_POPUP | WS_CAPTION | WS_SYSMENU;
  made.header.dwExtendedStyle = WS_EX_CONTROLPARENT;
  return made;
}

}  // namespace

INT_PTR DialogWindow::Run(HWND owner) {
  const EmptyTemplate made = TemplateOfDialog();
  const INT_PTR result =
      DialogBoxIndirectParamW(ModuleInstance(), &made.header, owner, Receive, reinterpret_cast<LPARAM>(this));
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  return result;
}

HWND DialogWindow::Open(HWND owner) {
  const EmptyTemplate made = TemplateOfDialog();
  const HWND opened =
      CreateDialogIndirectParamW(ModuleInstance(), &made.header, owner, Receive, reinterpret_cast<LPARAM>(this));
  if (!failure_) return opened;
  DestroyWindow(window_);
  std::rethrow_exception(std::exchange(failure_, nullptr));
}

HWND DialogWindow::Make(const wchar_t* kind, const std::wstring& text, DWORD style, const RECT& place, int id,
                        HFONT font) {
  const HWND made = CreateWindowExW(0, kind, text.c_str(), WS_CHILD | WS_VISIBLE | style, place.left, place.top,
                                    place.right - place.left, place.bottom - place.top, window_,
                                    reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), ModuleInstance(), nullptr);
  SendMessageW(made, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  return made;
}

void DialogWindow::Size(int width, int height) {
  RECT outer{0, 0, width, height}, around;
  AdjustWindowRectEx(&outer, static_cast<DWORD>(GetWindowLongPtrW(window_, GWL_STYLE)), FALSE, WS_EX_CONTROLPARENT);
  const HWND owner = GetWindow(window_, GW_OWNER);
  if (!owner || IsIconic(owner) || !GetWindowRect(owner, &around))
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &around, 0);
  const int across = outer.right - outer.left, down = outer.bottom - outer.top;
  const int left = (around.left + around.right - across) / 2, top = (around.top + around.bottom - down) / 2;
  SetWindowPos(window_, nullptr, std::max(0, left), std::max(0, top), across, down, SWP_NOZORDER);
}

// The system's code between this function and its caller must not see an exception.
template <typename Body>
bool DialogWindow::Try(Body&& body) {
  try {
    return body();
  } catch (...) {
    failure_ = std::current_exception();
    End(IDCANCEL);
    return true;
  }
}

INT_PTR CALLBACK DialogWindow::Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_INITDIALOG) {
    auto* self = reinterpret_cast<DialogWindow*>(lparam);
    self->window_ = window;
    SetWindowLongPtrW(window, DWLP_USER, lparam);
    self->Try([&] { return self->OnOpen(), true; });
    return FALSE;  // OnOpen has set the focus
  }
  auto* self = reinterpret_cast<DialogWindow*>(GetWindowLongPtrW(window, DWLP_USER));
  if (message != WM_COMMAND || !self) return FALSE;
  return self->Try([&] { return self->OnCommand(LOWORD(wparam)); }) ? TRUE : FALSE;
}

}  // namespace ulix::controls
