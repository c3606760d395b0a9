// Runs an acquisition group and passes its reports to the outputs: screen, files, plot, report.
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
  double late_s = 0;  // delay after its scan, when longer than a period; else 0
};

// An output of a scan. Called on the main thread.
class ScanOutput {
 public:
  virtual ~ScanOutput() = default;
  virtual void Show(const ScanReport& report) = 0;
  // Called when the scan has ended. The instrument is still connected.
  virtual void Finish() {}
};
using ScanOutputs = std::vector<std::unique_ptr<ScanOutput>>;

// What to scan and when to end. The scan ends at the first limit that is reached, and at an interrupt (Ctrl-C).
struct ScanPlan {
  GroupSettings settings;
  std::optional<std::uint64_t> count;  // number of reports
  std::optional<double> duration_s;
};

// Runs a scan on a connected session and returns the number of reports. The first output that fails ends the scan; its
// failure is thrown after the other outputs have been finished. When the instrument fails after the first report, all
// outputs are finished before the failure is thrown. The group is removed from the session afterwards.
std::uint64_t RunScan(Session& session, std::span<const Channel> channels, const ScanPlan& plan, ScanOutputs& outputs);

// Reads each channel once. The result has the order of `channels`. A channel that could not be read has its own error
// code.
ChannelArrays ReadOnce(Session& session, std::span<const Channel> channels, std::uint32_t timeout_ms);

}  // namespace ulix::cli
