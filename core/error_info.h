// The error information of a thread: the last failure of a member that it called.
#pragma once

#include <string>

#include "base/result.h"

namespace ulix {

struct ErrorInfo {
  HRESULT code = S_OK;
  std::string description;  // Windows-1252, in the instrument's language; empty for a code without a text.
};

// Takes the calling thread's error information and clears it. The code is S_OK when no member failed since the last
// call.
ErrorInfo TakeErrorInfo();
// Allocates nothing. A description of more than 500 characters is cut.
void SetLastErrorInfo(const ErrorInfo& info);

}  // namespace ulix
