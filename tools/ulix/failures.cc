#include "tools/ulix/failures.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "drivers/progress.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

struct SystemRow {
  HRESULT code;
  TextId text;
};
constexpr std::array kSystemRows = {
    SystemRow{E_NOTIMPL, TextId::kSystemNotImplemented}, SystemRow{E_FAIL, TextId::kSystemFailed},
    SystemRow{E_OUTOFMEMORY, TextId::kSystemNoMemory},   SystemRow{E_INVALIDARG, TextId::kInvalidArgument},
    SystemRow{E_UNEXPECTED, TextId::kSystemUnexpected},  SystemRow{kCancelled, TextId::kSystemAborted},
    SystemRow{kFileNotFound, TextId::kSystemNoFile},     SystemRow{kWriteFault, TextId::kSystemWriteFault},
};

}  // namespace

std::string SystemText(HRESULT code, Language language) {
  const auto row = std::find_if(kSystemRows.begin(), kSystemRows.end(),
                                [code](const SystemRow& candidate) { return candidate.code == code; });
  return row == kSystemRows.end() ? std::string() : Shown(row->text, language);
}

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
