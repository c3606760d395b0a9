// What the identifications of instruments have in common.
#pragma once

#include <string>
#include <string_view>

namespace ulix {

// The serial number in an identification: the third of four fields between commas, or the word after "SN"; else empty.
std::string SerialNumberIn(std::string_view identification);

}  // namespace ulix
