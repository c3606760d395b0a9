// The bounds of every session, the same for all kinds of link.
#pragma once

#include <cstdint>

namespace ulix {

// How many sync queries one exchange may send, and how often it may repeat its query after a stray reply.
inline constexpr int kMaxSyncQueries = 6;

// Times in multiples of the link's read timeout. kMaxReadTimeouts: how long an exchange reads other replies before the
// expected one. kMaxSilenceTimeouts: how long it waits for the line to be silent for one read timeout.
// kDrainReadTimeouts: how long an outstanding reply may still come.
inline constexpr std::uint32_t kMaxReadTimeouts = 5;
inline constexpr std::uint32_t kMaxSilenceTimeouts = 3;
inline constexpr std::uint32_t kDrainReadTimeouts = 10;

}  // namespace ulix
