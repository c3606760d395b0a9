// Runs a plan: sets the source, waits until reference and units are stable, reads them by turns, and keeps a journal
// from which the run goes on after a crash.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/date.h"
#include "calibration/plan.h"
#include "calibration/reference_certificate.h"
#include "calibration/stability.h"
#include "core/instrument.h"

namespace ulix::calibration {

enum class Activity {
  kConnecting,
  kPreloading,
  kApproaching,  // near and stable are waited for
  kDwelling,     // stable, and the point's dwell is not over
  kReading,
  kAdjusting,  // somebody adjusts the units
  kLeavingSafe,
  kFinished,
};

// One channel of the run, the reference first, then the units.
struct ChannelStatus {
  std::string name;
  std::optional<double> value;  // the last reading, in the plan's unit; none when it failed
  std::string error;            // of the last reading
  StabilityReport stability;
};

// A point that was taken, in a few numbers.
struct PointSummary {
  Phase phase = Phase::kAsFound;
  std::size_t index = 0;
  double nominal = 0;
  Direction direction = Direction::kRising;
  double reference = 0;
  std::vector<double> indications;  // means, in the order of the units
};

// What there is to see of a run, after each look.
struct RunStatus {
  Activity activity = Activity::kConnecting;
  StabilityState state = StabilityState::kWaiting;  // of the channel that is furthest from being stable
  Phase phase = Phase::kAsFound;
  std::size_t point = 0;  // index in the plan
  int attempt = 1;
  double nominal = 0;
  std::size_t readings_done = 0, readings_wanted = 0;  // rounds of this point
  double seconds = 0;                                  // since the run began
  Date time = 0;                                       // local
  std::optional<double> point_seconds_left, run_seconds_left;
  std::vector<ChannelStatus> channels;
  bool catching_up = false;  // the journal of a run that is gone on with is gone through
};

// Called on the thread of the run.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  virtual void OnStatus(const RunStatus&) {}
  virtual void OnPoint(const PointSummary&) {}
  // Something that a person should know, a line: English.
  virtual void OnMessage(const std::string&) {}
};

// What a run takes from whoever starts it.
struct RunServices {
  // What a driver needs in order to find an instrument; the machine's own by default.
  std::function<DriverServices(const PlannedInstrument&)> services_of = [](const auto&) { return DriverServices(); };
  // Given each instrument before it is connected; may be empty.
  std::function<void(const PlannedInstrument&, Instrument&)> prepared;
  // The certificate of the reference, kept in the journal; null where the plan names none.
  const ReferenceCertificate* reference = nullptr;
  Clock* clock = &SystemClock();             // waits of the run
  Clock* instrument_clock = &SystemClock();  // of the instruments
  Language language = Language::kEnglish;    // of the instruments' error texts
  const std::atomic<bool>* stop = nullptr;   // set by whoever ends the run early
  // Asks a person to adjust the units; true when that was done. Empty: nobody is there. The source is safe meanwhile.
  std::function<bool()> confirm_adjustment;
  RunObserver* observer = nullptr;
  // Of a simulated bench, whose clock stands still but for the run's waits: what adjusts its units, and what makes it
  // fast (true) or gives it its speed back (false). Such a run is gone on with in the same moment, by doing all of it
  // again; a real one begins the point anew that it was in.
  bool simulated = false;
  std::function<void()> adjust;
  std::function<void(bool fast)> hurry;
};

enum class RunMode { kNew, kResume };

struct RunEnd {
  enum Kind {
    kComplete,     // every point was taken
    kEndedEarly,   // the source was made safe; kResume goes on
    kCannotStart,  // nothing was asked of any instrument: the folder, the journal
  };
  Kind kind = kCannotStart;
  std::string reason;  // a sentence for a person; empty when complete
  bool safe = true;    // whether the source took its safe value, or was never set
};

// Carries out a checked plan with a journal in `folder`, which is made where it is not there. Returns at the end, at
// the first thing that ends the run, or soon after `stop` is set: in each case with the source at its safe value, as
// far as it listens, and with every instrument handed back. Nothing is thrown.
RunEnd RunCalibration(const Plan& plan, const std::string& folder, RunMode mode, const RunServices& services);

}  // namespace ulix::calibration
