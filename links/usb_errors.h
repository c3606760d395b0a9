// The texts of the winUsbCommErr codes, for all controls with a USB link.
#pragma once

#include <span>

#include "resources/error_row.h"

namespace ulix {

std::span<const ErrorRow> UsbErrorTexts();

}  // namespace ulix
