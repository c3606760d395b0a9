// What links tell about the bytes that they move.
#pragma once

#include <functional>
#include <string_view>

namespace ulix {

enum class TraceDirection { kSent, kReceived };
// Told of every piece that went over a link, on the thread that moved it and as soon as it has. What is sent comes as a
// whole message.
using LinkTrace = std::function<void(TraceDirection, std::string_view bytes)>;

}  // namespace ulix
