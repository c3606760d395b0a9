#include "tools/ulix/failures.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace ulix::cli {

OperationFailed::OperationFailed(HRESULT code, const std::string& text) : std::runtime_error(FailureLine(code, text)) {}

std::string CodeText(HRESULT code) {
  std::array<char, 11> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(code));
  return text.data();
}

std::string FailureLine(HRESULT code, const std::string& text) {
  std::string line = text.empty() ? CodeText(code) : CodeText(code) + " " + text;
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

}  // namespace ulix::cli
