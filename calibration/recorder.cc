#include "calibration/recorder.h"

#include <algorithm>
#include <utility>

namespace ulix::calibration {
namespace {

constexpr double kSyncSeconds = 10;  // in the time of the run
constexpr char kResume[] = "resume";

// Whether two entries agree in everything except their place in the journal.
bool Agree(const Json& written, const Json& done) {
  const auto items = done.items();
  return std::all_of(items.begin(), items.end(), [&](const auto& item) {
    const auto found = written.find(item.key());
    return found != written.end() && *found == item.value();
  });
}

JournalFailed FailedAt(const Json& entry, TextId why) {
  const std::string line = std::to_string(entry.at("n").get<std::uint64_t>() + 1);
  return {Bilingual(TextId::kJournalLine, {line, "journal.jsonl", Bilingual(why)})};
}

}  // namespace

Recorder::Recorder(JournalWriter writer, std::optional<JournalReader> reader, bool again)
    : writer_(std::move(writer)), reader_(std::move(reader)), again_(again), goes_on_(reader_.has_value()) {
  Advance();
}

void Recorder::Advance() {
  next_.reset();
  Json entry;
  if (reader_ && reader_->Next(entry)) next_ = std::move(entry);
}

void Recorder::Note(const Json& entry) {
  if (entry.contains("t")) last_seconds_ = entry.at("t").get<double>();
  if (entry.contains("at")) last_time_ = entry.at("at").get<std::string>();
}

void Recorder::Write(const Entries& entries, bool sync) {
  if (!writer_.Append(entries)) throw JournalFailed{Bilingual(TextId::kJournalFull)};
  for (const Json& entry : entries) Note(entry);
  // A simulated run is not synchronised to the disk, which would take most of its time. So it survives the end of the
  // program, but perhaps not a power failure.
  if (again_ || (!sync && last_seconds_ - last_sync_ < kSyncSeconds)) return;
  last_sync_ = last_seconds_;
  if (!writer_.Sync()) throw JournalFailed{Bilingual(TextId::kJournalNotKept)};
}

// Takes entries from the journal. Steps that were carried out again must give the same entries.
Recorder::Entries Recorder::Take(const std::string& kind, std::size_t count, const Entries& done) {
  Entries taken;
  while (taken.size() < count && next_) {
    if (next_kind() != kind) throw FailedAt(*next_, TextId::kJournalOtherStep);
    if (again_ && !Agree(*next_, done[taken.size()])) {
      throw FailedAt(*next_, TextId::kJournalOtherBench);
    }
    Note(*next_);
    taken.push_back(std::move(*next_));
    Advance();
  }
  return taken;
}

// Continues at the end of the journal, where the program ended. A simulated bench is in the same state as then. A real
// bench has changed meanwhile, so the run must connect again.
void Recorder::GoOn() {
  if (!std::exchange(goes_on_, false)) return;
  if (caught_up) caught_up();
  if (again_) return;
  Write({stamped(kResume, {{"why", "the program was started again"}})}, true);
  throw RunRestarted();
}

Recorder::Entries Recorder::Do(const std::string& kind, std::size_t count, const std::function<Entries()>& act,
                               bool sync) {
  if (next_kind() == kResume) {
    Note(*next_);
    Advance();
    throw RunRestarted();
  }
  if (!catching_up()) {
    GoOn();
    Entries done = act();
    Write(done, sync);
    return done;
  }
  Entries done = again_ ? act() : Entries();
  Entries taken = Take(kind, count, done);
  if (taken.size() == count) return taken;
  GoOn();  // only a part of the last step is in the journal
  Write({done.begin() + static_cast<std::ptrdiff_t>(taken.size()), done.end()}, sync);
  return done;
}

bool Recorder::Resumed() {
  if (next_kind() == kResume) {
    Note(*next_);
    Advance();
    return true;
  }
  if (catching_up() || !std::exchange(goes_on_, false)) return false;
  if (caught_up) caught_up();
  Write({stamped(kResume, {{"why", "the run is gone on with"}})}, true);
  return true;
}

}  // namespace ulix::calibration
