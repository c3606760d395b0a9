// The user's language and decimal separator, as the system has them.
#pragma once

#include "base/text.h"

namespace ulix::platform {

// The language of the user interface. Each call asks the system again.
Language UserLanguage();

// The character between units and decimals in what the user types and reads; '.' when the system does not say.
char UserDecimalSeparator();

}  // namespace ulix::platform
