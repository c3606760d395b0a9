// Trace lines for developers. They have no influence on the library's behaviour.
#pragma once

#include <string_view>

namespace ulix {

using TraceSink = void (*)(std::string_view line);

// Sets the receiver of trace lines. With null, the initial state, lines are dropped. Lines come on any thread.
void SetTraceSink(TraceSink sink);
// Writes a line. When the sink throws, the line is lost.
void TraceLine(std::string_view line) noexcept;

}  // namespace ulix
