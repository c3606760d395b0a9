// The texts of a control's error codes: its own codes and its link's.
#pragma once

#include "drivers/driver.h"

namespace ulix {

// The row of a code. Null for a code of another model or link, and for exception codes.
const ErrorRow* FindErrorText(const Driver& driver, HRESULT code);

}  // namespace ulix
