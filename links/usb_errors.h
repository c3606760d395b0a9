// Texts of the USB link's codes, for every control that owns such a link.
#pragma once

#include <span>

#include "resources/error_row.h"

namespace ulix {

std::span<const ErrorRow> UsbErrorTexts();

}  // namespace ulix
