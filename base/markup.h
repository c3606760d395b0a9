// Texts inside HTML and SVG.
#pragma once

#include <string>
#include <string_view>

namespace ulix {

// The text as content of an element or value of an attribute. Control characters, which neither can hold, become
// blanks.
std::string Escaped(std::string_view text);

}  // namespace ulix
