// Debug traces: lines for whoever develops against the library. They carry no behaviour.
#pragma once

#include <string_view>

namespace ulix {

using TraceSink = void (*)(std::string_view line);

// Where lines go; null, the initial state, drops them. Lines come on any thread.
void SetTraceSink(TraceSink sink);
// A line that the sink throws at, for want of memory, is lost.
void TraceLine(std::string_view line) noexcept;

}  // namespace ulix
