// Texts of the network codes, for every control that is reached over Ethernet.
#pragma once

#include <span>

#include "resources/error_row.h"

namespace ulix {

std::span<const ErrorRow> NetworkErrorTexts();

}  // namespace ulix
