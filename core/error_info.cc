#include "core/error_info.h"

#include <algorithm>
#include <array>

namespace ulix {
namespace {

constexpr std::size_t kMaxDescription = 500;  // longer than every text of the catalogue with its values

// Without a destructor and of a fixed size: to keep it takes no memory, and a failure is often that of memory.
struct KeptInfo {
  HRESULT code;
  std::size_t length;
  std::array<char, kMaxDescription> text;
};

KeptInfo& OfThisThread() {
  thread_local KeptInfo info;
  return info;
}

}  // namespace

ErrorInfo TakeErrorInfo() {
  KeptInfo& kept = OfThisThread();
  ErrorInfo info{kept.code, std::string(kept.text.data(), kept.length)};
  kept.code = S_OK;
  kept.length = 0;
  return info;
}

void SetLastErrorInfo(const ErrorInfo& info) {
  KeptInfo& kept = OfThisThread();
  kept.code = info.code;
  kept.length = std::min(info.description.size(), kMaxDescription);
  std::copy_n(info.description.data(), kept.length, kept.text.data());
}

}  // namespace ulix
