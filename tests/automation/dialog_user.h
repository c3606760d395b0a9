// A simulated user of a control's dialogs: finds the window, presses keys, reads texts and takes pictures.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <cwctype>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace client {

class DialogUser {
 public:
  // The dialog that this process shows, with this title if one is given. Null when none appears in time.
  HWND Find(const std::wstring& title = L"") {
    wanted_ = title;
    Eventually([this] { return FindNow() != nullptr; });
    return dialog_;
  }
  // The same, without waiting.
  HWND FindNow() {
    dialog_ = nullptr;
    EnumWindows(Visit, reinterpret_cast<LPARAM>(this));
    return dialog_;
  }

  std::wstring Title() const { return TextOf(dialog_); }

  // The entry after a label, or the check box with that label.
  HWND Entry(const std::wstring& label) const {
    HWND found = nullptr;
    const auto children = Children();
    for (std::size_t k = 0; k < children.size(); ++k) {
      std::wstring text = TextOf(children[k]);
      std::erase(text, L'&');
      if (text != label) continue;
      found = ClassOf(children[k]) == L"Static" && k + 1 < children.size() ? children[k + 1] : children[k];
    }
    return found;
  }
  // The label before an entry; empty when it has none.
  std::wstring LabelOf(HWND entry) const {
    const HWND before = GetWindow(entry, GW_HWNDPREV);
    return before && ClassOf(before) == L"Static" ? TextOf(before) : L"";
  }
  // The entries that Tab reaches, in order.
  std::vector<HWND> Stops() const {
    std::vector<HWND> stops = Children();
    std::erase_if(stops, [](HWND child) { return !(GetWindowLongPtrW(child, GWL_STYLE) & WS_TABSTOP); });
    return stops;
  }
  HWND FirstOf(const std::wstring& kind) const {
    for (const HWND child : Children()) {
      if (ClassOf(child) == kind) return child;
    }
    return nullptr;
  }
  // Whether the dialog shows a text anywhere.
  bool Says(const std::wstring& text) const {
    for (const HWND child : Children()) {
      if (TextOf(child).find(text) != std::wstring::npos) return true;
    }
    return false;
  }

  // Gives an entry the focus, as a click would.
  void GoTo(HWND entry) const { SendMessageW(dialog_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(entry), TRUE); }
  HWND Focused() const {
    GUITHREADINFO info{};
    info.cbSize = sizeof(info);
    GetGUIThreadInfo(GetWindowThreadProcessId(dialog_, nullptr), &info);
    return info.hwndFocus;
  }
  // Presses a key in the window that has the focus. Without a window manager no window may have it: then the dialog is
  // brought to the foreground first.
  void Press(WORD key) const {
    HWND focused = nullptr;
    Eventually([&] {
      focused = Focused();
      if (!focused) SetForegroundWindow(dialog_);
      return focused != nullptr;
    });
    PostMessageW(focused, WM_KEYDOWN, key, 1);
    PostMessageW(focused, WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
  }
  // A letter while Alt is held down.
  void PressAlt(wchar_t letter) const {
    constexpr LPARAM kAltDown = LPARAM{1} << 29;
    PostMessageW(Focused(), WM_SYSKEYDOWN, static_cast<WPARAM>(std::towupper(letter)), 1 | kAltDown);
  }
  // Replaces the text of an entry, and waits until the entry shows it.
  bool Type(HWND entry, const std::wstring& text) const {
    GoTo(entry);
    SetWindowTextFor(entry, L"");
    const HWND target = Focused();
    for (const wchar_t letter : text) PostMessageW(target, WM_CHAR, letter, 1);
    return Eventually([&] { return TextOf(entry) == text; });
  }
  void Click(int button) const { PostMessageW(GetDlgItem(dialog_, button), BM_CLICK, 0, 0); }

  void Close() const { PostMessageW(dialog_, WM_COMMAND, IDCANCEL, 0); }

  template <typename Condition>
  static bool Eventually(Condition&& condition) {
    constexpr ULONGLONG kPatienceMs = 30000;
    for (const ULONGLONG begin = GetTickCount64(); GetTickCount64() - begin < kPatienceMs; Sleep(10)) {
      if (condition()) return true;
    }
    return false;
  }
  static std::wstring ClassOf(HWND window) {
    wchar_t name[64] = L"";
    GetClassNameW(window, name, 64);
    return name;
  }
  static std::wstring TextOf(HWND window) {
    wchar_t text[512] = L"";
    SendMessageW(window, WM_GETTEXT, 512, reinterpret_cast<LPARAM>(text));
    return text;
  }
  bool IsOpen() const { return IsWindow(dialog_) && IsWindowVisible(dialog_); }

  // Saves a picture of the dialog when ULIX_TEST_PICTURES names a folder.
  void Picture(const std::string& name) const { SavePicture(dialog_, name); }
  static void SavePicture(HWND window, const std::string& name) {
    const char* folder = std::getenv("ULIX_TEST_PICTURES");
    if (!folder) return;
    Sleep(200);  // Some parts are drawn when the program is idle.
    RECT place;
    GetWindowRect(window, &place);
    const int width = place.right - place.left, height = place.bottom - place.top;
    const HDC screen = GetDC(nullptr), memory = CreateCompatibleDC(screen);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    const HBITMAP bitmap = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ before = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, place.left, place.top, SRCCOPY);
    const bool french = PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_FRENCH;
    std::ofstream file(std::string(folder) + "\\" + name + (french ? "-fr" : "-en") + ".bgra", std::ios::binary);
    file << width << ' ' << height << '\n';
    file.write(static_cast<const char*>(bits), std::streamsize{4} * width * height);
    SelectObject(memory, before);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
  }

 private:
  static BOOL CALLBACK Visit(HWND window, LPARAM self) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != GetCurrentProcessId() || ClassOf(window) != L"#32770" || !IsWindowVisible(window)) return TRUE;
    auto* user = reinterpret_cast<DialogUser*>(self);
    if (!user->wanted_.empty() && TextOf(window) != user->wanted_) return TRUE;
    user->dialog_ = window;
    return FALSE;
  }
  static BOOL CALLBACK Keep(HWND window, LPARAM list) {
    reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
    return TRUE;
  }
  std::vector<HWND> Children() const {
    std::vector<HWND> children;
    EnumChildWindows(dialog_, Keep, reinterpret_cast<LPARAM>(&children));
    return children;
  }
  static void SetWindowTextFor(HWND entry, const wchar_t* text) {
    SendMessageW(entry, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
  }

  std::wstring wanted_;
  HWND dialog_ = nullptr;
};

}  // namespace client
