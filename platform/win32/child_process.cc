#include "platform/child_process.h"

#include <windows.h>

namespace ulix::platform {
namespace {

// An argument in the form in which the runtime of the started program parses it: in quotes, with backslashes before a
// quote doubled.
std::string Quoted(const std::string& argument) {
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') quoted.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, '\\') + "\"";
}

std::optional<int> EndOf(HANDLE process, std::chrono::seconds limit) {
  const auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(limit).count();
  DWORD status = 0;
  const bool ended = WaitForSingleObject(process, static_cast<DWORD>(longest)) == WAIT_OBJECT_0;
  if (!ended) TerminateProcess(process, 1);
  return ended && GetExitCodeProcess(process, &status) != 0 ? std::optional(static_cast<int>(status)) : std::nullopt;
}

}  // namespace

std::optional<int> RunProgram(const std::vector<std::string>& command, std::chrono::seconds limit) {
  std::string line;
  for (const std::string& argument : command) line += (line.empty() ? "" : " ") + Quoted(argument);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                     &process) == 0) {
    return std::nullopt;
  }
  const auto status = EndOf(process.hProcess, limit);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return status;
}

}  // namespace ulix::platform
