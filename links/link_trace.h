// What links tell about the bytes that they move.
#pragma once

#include <functional>
#include <string_view>

namespace ulix {

enum class TraceDirection { kSent, kReceived };
// Told of every piece that went over a link, on the thread that moved it.
using LinkTrace = std::function<void(TraceDirection, std::string_view bytes)>;

}  // namespace ulix
