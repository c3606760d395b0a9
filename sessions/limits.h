// The bounds of every session, the same for all kinds of link.
#pragma once

#include <cstdint>

namespace ulix {

inline constexpr int kMaxSyncQueries = 6;  // of one exchange

// In read timeouts of the link: how long other replies may come before the expected one, how long a line may take to be
// quiet for one read timeout, and how long an outstanding reply may take to come.
inline constexpr std::uint32_t kMaxReadTimeouts = 5;
inline constexpr std::uint32_t kMaxSilenceTimeouts = 3;
inline constexpr std::uint32_t kDrainReadTimeouts = 10;

}  // namespace ulix
