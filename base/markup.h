// Texts inside HTML and SVG.
#pragma once

#include <string>
#include <string_view>

namespace ulix {

// As the content of an element or the value of an attribute; control characters, which neither can hold, become blanks.
std::string Escaped(std::string_view text);

}  // namespace ulix
