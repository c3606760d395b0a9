// The bounds of every session, the same for all kinds of link. Those in read timeouts are multiples of the link's.
#pragma once

#include <cstdint>

namespace ulix {

inline constexpr int kMaxSyncQueries = 6;                // sync queries that one exchange sends
inline constexpr std::uint32_t kMaxReadTimeouts = 5;     // how long other replies may come before the expected one
inline constexpr std::uint32_t kMaxSilenceTimeouts = 3;  // how long a line may take to be quiet for one read timeout
inline constexpr std::uint32_t kDrainReadTimeouts = 10;  // after that long an outstanding reply comes no more

}  // namespace ulix
