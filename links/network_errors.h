// The texts of the networkCommErr codes, for all controls with a network link.
#pragma once

#include <span>

#include "resources/error_row.h"

namespace ulix {

std::span<const ErrorRow> NetworkErrorTexts();

}  // namespace ulix
