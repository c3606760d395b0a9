// One run of a plan. Internal to the run engine; other folders use run.h.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "calibration/recorder.h"
#include "calibration/results.h"
#include "calibration/run.h"
#include "calibration/station.h"

namespace ulix::calibration {

// A channel that the run reads: first the reference, then the units under test, then the cold junctions.
struct Slot {
  std::string role;
  ChannelRef ref;
  SensorSpec sensor;
  std::optional<Scale> scale;
  double resolution = 0;                // from the plan, in its unit; 0: use the channel's step
  double step = 0;                      // step of the channel, in the unit of the channel
  std::optional<std::size_t> junction;  // index of the cold junction's slot
  bool in_plan_unit = true;             // true for reference and units under test

  Station* station = nullptr;
  ChannelId channel = 0;
  std::string unit;             // unit of the channel, when known
  std::optional<double> value;  // the last reading; none when it failed
  std::string error;
  std::optional<double> failing_since;
  StabilityDetector detector{StabilityLimits{}};
};

class Runner {
 public:
  using Entries = Recorder::Entries;

  Runner(const Plan& plan, const RunServices& services, Recorder recorder, const Json& header)
      : plan_(plan), services_(services), recorder_(std::move(recorder)), header_(header) {
    began_ = services_.clock->Now();
    recorder_.stamped = [this](const std::string& kind, Json fields) { return Stamped(kind, std::move(fields)); };
    recorder_.caught_up = [this] { CaughtUp(); };
    MakeSlots();
  }
  ~Runner() { CloseAll(); }
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  RunEnd Run();

 private:
  static constexpr std::size_t kReference = 0;  // index in the slots
  enum class Purpose { kApproach, kPoint };

  // Time and journal.
  double Now() const;
  Json Stamped(const std::string& kind, Json fields) const;
  void CaughtUp();
  Entries Note(const std::string& kind, Json fields, bool sync = true);
  void WaitUntil(double seconds);
  void PassTo(double seconds);
  void CheckStop();
  [[noreturn]] void StopNow(const BilingualText& why);

  // Instruments.
  void MakeSlots();
  std::size_t AddSlot(Slot slot);
  void AddJunction(Slot& slot);
  void ConnectAll();
  Result<std::unique_ptr<Station>> MakeStation(const PlannedInstrument& planned);
  void ConnectOne(const PlannedInstrument& planned);
  void FindChannels();
  void CloseAll();
  Station& StationOf(const ChannelRef& ref) { return *stations_.at(ref.instrument); }
  void SetSource(double value);
  void TrySafeValue();
  void SendValue(double value);
  // Sets the source to its safe value. Returns why this failed; empty if it succeeded or if the source was never set.
  BilingualText LeaveSafe();
  BilingualText SendSafeValue();
  Result<Station*> ReachSource();

  // Readings.
  std::vector<Json> ReadSlots(const std::vector<std::size_t>& slots, Purpose purpose);
  Json ReadSlot(std::size_t number, Purpose purpose);
  void ReadAll();
  void CheckUnits();
  void ReadRound();
  void Read(const std::vector<std::size_t>& order, Purpose purpose);
  void Take(const Json& entry, Purpose purpose);
  BilingualText RoleOf(const Slot& slot) const;
  static std::string PlaceOf(const Slot& slot) { return slot.ref.instrument + "/" + slot.ref.channel; }
  std::optional<double> Converted(const Slot& slot, double raw, const std::string& unit, std::string& why) const;
  void CheckUnit(const Slot& slot, const std::string& unit);
  void CheckLost(Slot& slot, const Json& entry);
  void CheckIdentity(Slot& slot);

  // The course of the run.
  void TakePhases();
  void TakePhase();
  void Preload();
  void GoTo(double value, double dwell, const PlannedPoint& like);
  void TakePoint();
  void Approach();
  bool ReadPoint();
  void PrepareDetectors(const PlannedPoint& to);
  StabilityState WorstState();
  void NoteState(StabilityState state);
  void CheckLimits();
  void ReadAmbient();
  bool AwaitAdjustment();
  RunEnd EndWithoutJournal(const BilingualText& why);
  const PlannedPoint& point() const { return plan_.points[status_.point]; }
  void Tell(Activity activity);
  void Tell() { Tell(status_.activity); }
  void Message(const BilingualText& text) const {
    if (services_.observer) services_.observer->OnMessage(text);
  }
  void Summarize();

  const Plan& plan_;
  const RunServices& services_;
  Recorder recorder_;
  const Json& header_;
  MonotonicTime began_;
  double offset_ = 0;  // the time of the run at `began_`, in seconds
  double next_scan_ = 0;

  std::vector<Slot> slots_;
  std::map<std::string, std::unique_ptr<Station>> stations_;
  std::map<std::string, std::string> identities_;
  ChannelId source_channel_ = 0;
  bool connected_ = false;
  bool source_was_set_ = false;
  std::vector<std::string> doubtful_stations_;  // those that failed and were not identified again yet

  std::size_t phase_ = 0;  // index in the plan
  bool phase_began_ = false;
  bool adjusted_ = false;
  bool adjustment_was_asked_ = false;
  double point_began_ = 0;
  StabilityState state_ = StabilityState::kWaiting;
  std::vector<std::vector<SampledValue>> taken_;  // the readings of the present point, by slot
  std::vector<double> schedule_;                  // the planned duration of each point, in seconds
  RunStatus status_;
};

}  // namespace ulix::calibration
