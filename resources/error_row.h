// One published error code with its texts.
#pragma once

#include "base/result.h"
#include "base/text.h"

namespace ulix {

struct ErrorRow {
  HRESULT code;
  LocalizedText long_text;
  const char* short_text;
  int long_id;  // The numbers of both texts in the string table.
  int short_id = long_id + 1000;
};

}  // namespace ulix
