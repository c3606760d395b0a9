// Connects a run with its journal. A new run carries out each step and writes it. A resumed run first takes the steps
// from the journal, up to its end, and then carries out the remaining ones.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "calibration/journal.h"
#include "calibration/problem.h"

namespace ulix::calibration {

// Thrown to end the run. The source must then be set to its safe value.
struct RunStopped {
  BilingualText why;
};
// Thrown at the place where the program was started again. The run then connects again and repeats the point.
struct RunRestarted {};
// Thrown when the journal cannot be written, or does not belong to this plan.
struct JournalFailed {
  BilingualText why;
};

class Recorder {
 public:
  using Entries = std::vector<Json>;

  // Without `reader` the run is new. `again` is for simulated runs: each step in the journal is also carried out again,
  // and must give the same entries.
  Recorder(JournalWriter writer, std::optional<JournalReader> reader, bool again);

  // Whether the next step is in the journal already.
  bool catching_up() const { return next_.has_value(); }
  // The kind of the next entry of the journal; empty at its end.
  std::string next_kind() const { return next_ ? next_->at("k").get<std::string>() : std::string(); }
  const Json& next() const { return *next_; }
  // Whether the next step will be carried out, for the first time or again.
  bool acts() const { return again_ || !catching_up(); }
  // Called at the end of the journal of a resumed run, before the first new step.
  std::function<void()> caught_up;
  // Makes an entry with its kind, the present time and its fields.
  std::function<Json(const std::string& kind, Json fields)> stamped;

  // Performs one step. `act` carries it out and returns its `count` entries, which are then written to the journal. A
  // real run writes them through to the disk if `sync` is set, and at least every ten seconds. Throws RunRestarted if
  // the journal says that the program was started again at this place, and JournalFailed.
  Entries Do(const std::string& kind, std::size_t count, const std::function<Entries()>& act, bool sync = true);
  // Call this when the run has stopped. True if the journal continues after this stop, or if the resumed run continues
  // here.
  bool Resumed();

  double last_seconds() const { return last_seconds_; }  // the time "t" of the last entry
  const std::string& last_time() const { return last_time_; }

 private:
  void Advance();
  void GoOn();
  Entries Take(const std::string& kind, std::size_t count, const Entries& done);
  void Write(const Entries& entries, bool sync);
  void Note(const Json& entry);

  JournalWriter writer_;
  std::optional<JournalReader> reader_;
  std::optional<Json> next_;
  const bool again_;
  bool goes_on_ = false;  // whether the run was resumed and has written nothing yet
  double last_seconds_ = 0;
  std::string last_time_;
  double last_sync_ = 0;
};

}  // namespace ulix::calibration
