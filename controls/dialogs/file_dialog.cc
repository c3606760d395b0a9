#include "controls/dialogs/file_dialog.h"

#include <commdlg.h>

#include <algorithm>
#include <array>

#include "controls/dialogs/window_text.h"

namespace ulix::controls {
namespace {

constexpr std::size_t kLongestPath = 1024;

// The filter of the system dialog: pairs of name and pattern, each string ended by a zero, and one more zero at the
// end.
std::wstring FilterOf(const FileQuestion& question) {
  const std::wstring end(1, L'\0');
  return WideOf(question.files) + end + WideOf(question.pattern) + end + end;
}

// The extension of the pattern: "p90" for "*.p90".
std::wstring ExtensionOf(const FileQuestion& question) {
  return WideOf(question.pattern.substr(question.pattern.rfind('.') + 1));
}

}  // namespace

std::optional<std::string> AskForFile(const FileQuestion& question, HWND owner) {
  const std::wstring title = WideOf(question.title), filter = FilterOf(question), extension = ExtensionOf(question);
  std::array<wchar_t, kLongestPath> path{};
  const std::wstring suggested = WideOf(question.suggested);
  if (suggested.size() < path.size()) std::copy(suggested.begin(), suggested.end(), path.begin());
  OPENFILENAMEW wanted{};
  wanted.lStructSize = sizeof(wanted);
  wanted.hwndOwner = owner;
  wanted.lpstrFilter = filter.c_str();
  wanted.lpstrFile = path.data();
  wanted.nMaxFile = static_cast<DWORD>(path.size());
  wanted.lpstrTitle = title.c_str();
  wanted.lpstrDefExt = extension.c_str();
  // OFN_NOCHANGEDIR: the dialog must not change the current folder of the host.
  wanted.Flags = OFN_EXPLORER | OFN_NOCHANGEDIR | OFN_HIDEREADONLY | OFN_PATHMUSTEXIST;
  wanted.Flags |= question.to_write ? OFN_OVERWRITEPROMPT : OFN_FILEMUSTEXIST;
  const bool chosen = question.to_write ? GetSaveFileNameW(&wanted) : GetOpenFileNameW(&wanted);
  if (!chosen) return CommDlgExtendedError() == 0 ? std::nullopt : std::optional<std::string>("");
  const std::wstring found = path.data();
  return AnsiFromUtf16(std::u16string(found.begin(), found.end()));
}

}  // namespace ulix::controls
