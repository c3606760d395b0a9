// What the user has chosen: language and decimal separator.
#pragma once

#include "base/text.h"

namespace ulix::platform {

// The language of the user interface, asked of the system at each call.
Language UserLanguage();

// The character between units and decimals in what the user types and reads; '.' when the system does not say.
char UserDecimalSeparator();

}  // namespace ulix::platform
