// The texts of the serialCommErr codes, for all controls with a serial link.
#pragma once

#include <span>

#include "resources/error_row.h"

namespace ulix {

std::span<const ErrorRow> SerialErrorTexts();

}  // namespace ulix
