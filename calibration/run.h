// Runs a plan: sets the source, waits until reference and units are stable, and reads them in turn. The run writes a
// journal, from which it can be resumed after a crash.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/date.h"
#include "calibration/plan.h"
#include "calibration/problem.h"
#include "calibration/reference_certificate.h"
#include "calibration/stability.h"
#include "core/instrument.h"

namespace ulix::calibration {

enum class Activity {
  kConnecting,
  kPreloading,
  kApproaching,  // waits until all channels are near and stable
  kDwelling,     // stable; waits for the end of the point's dwell
  kReading,
  kAdjusting,  // a person adjusts the units
  kLeavingSafe,
  kFinished,
};

// One channel of the run, the reference first, then the units.
struct ChannelStatus {
  std::string name;
  std::optional<double> value;  // the last reading, in the plan's unit; none when it failed
  std::string error;            // error of the last reading
  StabilityReport stability;
};

// A summary of a point that was read.
struct PointSummary {
  Phase phase = Phase::kAsFound;
  std::size_t index = 0;
  double nominal = 0;
  Direction direction = Direction::kRising;
  double reference = 0;
  std::vector<double> indications;  // means, in the order of the units under test
};

// The state of a run, after each reading of all channels.
struct RunStatus {
  Activity activity = Activity::kConnecting;
  StabilityState state = StabilityState::kWaiting;  // of the channel that is furthest from being stable
  Phase phase = Phase::kAsFound;
  std::size_t point = 0;  // index in the plan
  int attempt = 1;
  double nominal = 0;
  std::size_t readings_done = 0, readings_wanted = 0;  // rounds of readings at this point
  double seconds = 0;                                  // since the start of the run
  Date time = 0;                                       // local
  std::optional<double> point_seconds_left, run_seconds_left;
  std::vector<ChannelStatus> channels;
  bool catching_up = false;  // a resumed run is still reading its journal
};

// Called on the thread of the run.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  virtual void OnStatus(const RunStatus&) {}
  virtual void OnPoint(const PointSummary&) {}
  // Something that a person should know, in one line.
  virtual void OnMessage(const BilingualText&) {}
};

// What the caller gives a run.
struct RunServices {
  // The services of the driver of an instrument: ports, sockets, clock. Those of this machine by default.
  std::function<DriverServices(const PlannedInstrument&)> services_of = [](const auto&) { return DriverServices(); };
  // Called with each instrument before it is connected; may be empty.
  std::function<void(const PlannedInstrument&, Instrument&)> prepared;
  // The certificate of the reference, which the journal records; null when the plan names none.
  const ReferenceCertificate* reference = nullptr;
  Clock* clock = &SystemClock();             // for the waits of the run
  Clock* instrument_clock = &SystemClock();  // for the instruments
  Language language = Language::kEnglish;    // of error texts of the instruments
  const std::atomic<bool>* stop = nullptr;   // set to end the run early
  // Asks a person to adjust the units under test; true when the person has done so. Empty if no person is there.
  // Meanwhile the source has its safe value.
  std::function<bool()> confirm_adjustment;
  RunObserver* observer = nullptr;
  // For a simulated bench, whose time passes only while the run waits. `adjust` adjusts its units; `hurry` makes it as
  // fast as possible (true) or gives it its own speed again (false). A simulated run is resumed at the same moment, by
  // carrying out all of it again. A real run begins the interrupted point again.
  bool simulated = false;
  std::function<void()> adjust;
  std::function<void(bool fast)> hurry;
};

enum class RunMode { kNew, kResume };

struct RunEnd {
  enum Kind {
    kComplete,     // every point was read
    kEndedEarly,   // the source was made safe; kResume goes on
    kCannotStart,  // nothing was sent to any instrument; the folder or the journal cannot be used
  };
  Kind kind = kCannotStart;
  BilingualText reason;              // a sentence for a person; empty when complete
  bool safe = true;                  // whether the source has accepted its safe value, or was never set
  bool was_set = false;              // whether the source was set to any point
  BilingualText unsafe_reason = {};  // why the source is not safe; possible after a complete run too
};

// Carries out a checked plan. The journal is written in `folder`, which is made when it is missing. Returns after the
// last point, when something ends the run early, or soon after RunServices::stop is set. In each case the source has
// been set to its safe value, if it accepts it (RunEnd::safe), and every instrument is disconnected. Throws nothing.
RunEnd RunCalibration(const Plan& plan, const std::string& folder, RunMode mode, const RunServices& services);

}  // namespace ulix::calibration
