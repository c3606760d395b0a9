#include "core/error_info.h"

#include <utility>

namespace ulix {
namespace {

ErrorInfo& OfThisThread() {
  thread_local ErrorInfo info;
  return info;
}

}  // namespace

ErrorInfo TakeErrorInfo() { return std::exchange(OfThisThread(), ErrorInfo{}); }
void SetLastErrorInfo(ErrorInfo info) { OfThisThread() = std::move(info); }

}  // namespace ulix
