// Between a run and its journal: what a run does is done and written down, or, while a run is gone on with, taken from
// what was written down.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "calibration/journal.h"

namespace ulix::calibration {

// The run stops here; the source is to be made safe.
struct RunStopped : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// The program was started again: connect anew and begin the point anew.
struct RunRestarted {};
// The journal cannot be written, or does not fit.
struct JournalFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Recorder {
 public:
  using Entries = std::vector<Json>;

  // Without a reader: a new run. `again`: everything is done again while the journal is gone through, and must give
  // what it says.
  Recorder(JournalWriter writer, std::optional<JournalReader> reader, bool again);

  // Whether what comes next was written down already.
  bool catching_up() const { return next_.has_value(); }
  // The kind of the entry that comes next; empty when there is none.
  std::string next_kind() const { return next_ ? next_->at("k").get<std::string>() : std::string(); }
  const Json& next() const { return *next_; }
  // Whether things are done now, be it again.
  bool acts() const { return again_ || !catching_up(); }
  // Called when the journal has been gone through and things begin to happen.
  std::function<void()> caught_up;
  // An entry of now, with its kind, its time and what it says.
  std::function<Json(const std::string& kind, Json fields)> stamped;

  // One step: `act` does it and gives its `count` entries. They are written when it returns; on the disk if `sync` is
  // set, and whenever some seconds have passed since the last time, but in a simulated run. RunRestarted where the
  // program was started again at this place; JournalFailed.
  Entries Do(const std::string& kind, std::size_t count, const std::function<Entries()>& act, bool sync = true);
  // The end of the program, behind which the journal may go on: whether it does, or does so now.
  bool Resumed();

  double last_seconds() const { return last_seconds_; }  // "t" of the last entry
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
  bool goes_on_ = false;  // the journal of another process was gone through, and nothing was written yet
  double last_seconds_ = 0;
  std::string last_time_;
  double last_sync_ = 0;
};

}  // namespace ulix::calibration
