// Texts of the codes that a control answers for: its own and its link's.
#pragma once

#include "drivers/driver.h"

namespace ulix {

// Null for any other code, and for exception codes.
const ErrorRow* FindErrorText(const Driver& driver, HRESULT code);

}  // namespace ulix
