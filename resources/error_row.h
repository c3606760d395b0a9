// One published error code with its texts.
#pragma once

#include "base/result.h"
#include "base/text.h"

namespace ulix {

struct ErrorRow {
  HRESULT code;
  LocalizedText long_text;
  const char* short_text;
  int long_id;  // string-table numbers of the two texts
  int short_id;
};

}  // namespace ulix
