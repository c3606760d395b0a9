// Runs an acquisition group and hands its reports to whoever shows or keeps them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/group_settings.h"
#include "drivers/channel_arrays.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/connection.h"

namespace ulix::cli {

struct ScanReport {
  std::uint32_t group = 0;
  ChannelArrays data;
  double late_s = 0;  // how long after its scan it came, where that is more than a period; else 0
};

// Takes reports on the main thread.
class ScanOutput {
 public:
  virtual ~ScanOutput() = default;
  virtual void Show(const ScanReport& report) = 0;
  // The scan has ended; the instrument is still connected.
  virtual void Finish() {}
};
using ScanOutputs = std::vector<std::unique_ptr<ScanOutput>>;

// Ends at the first limit that is reached, and at an interrupt.
struct ScanPlan {
  GroupSettings settings;
  std::optional<std::uint64_t> count;  // of reports
  std::optional<double> duration_s;
};

// How many reports there were. The first output that fails ends the scan; the others are finished before its failure is
// thrown, and so are all of them when the instrument fails after the first report. The session is connected, and keeps
// nothing of the group.
std::uint64_t RunScan(Session& session, std::span<const Channel> channels, const ScanPlan& plan, ScanOutputs& outputs);

// One reading of each channel, in their order. A channel that could not be asked has a code of its own as well.
ChannelArrays ReadOnce(Session& session, std::span<const Channel> channels, std::uint32_t timeout_ms);

}  // namespace ulix::cli
