// Why the last member that failed on this thread did.
#pragma once

#include <string>

#include "base/result.h"

namespace ulix {

struct ErrorInfo {
  HRESULT code = S_OK;
  std::string description;  // Windows-1252; empty for codes that have no text
};

// The calling thread's error information; S_OK when no member has failed since it was last taken. Taking it clears it.
ErrorInfo TakeErrorInfo();
void SetLastErrorInfo(ErrorInfo info);

}  // namespace ulix
