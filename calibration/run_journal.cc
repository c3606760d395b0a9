#include "calibration/run_journal.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <tuple>
#include <utility>

#include "calibration/plan_loader.h"
#include "calibration/plan_sensor.h"
#include "platform/files.h"

namespace ulix::calibration {
namespace {

// The readings of a channel during the approach, thinned out for a plot.
class Approach {
 public:
  explicit Approach(std::size_t max_readings) : max_readings_(max_readings) {}
  void Add(const SampledValue& reading) {
    if (max_readings_ == 0 || count_++ % stride_ != 0) return;
    readings_.push_back(reading);
    if (readings_.size() < 2 * max_readings_) return;
    std::size_t kept = 0;
    for (std::size_t k = 0; k < readings_.size(); k += 2) readings_[kept++] = readings_[k];
    readings_.resize(kept);
    stride_ *= 2;
  }
  std::vector<SampledValue> Take() {
    count_ = 0;
    stride_ = 1;
    return std::exchange(readings_, {});
  }

 private:
  std::size_t max_readings_, count_ = 0, stride_ = 1;
  std::vector<SampledValue> readings_;
};

class ResultBuilder {
 public:
  ResultBuilder(RunResult& result, std::size_t approach) : result_(result), approach_(approach) {}
  void Take(const Json& entry);

 private:
  void TakeHeader(const Json& entry);
  void TakeInstrument(const Json& entry);
  void TakeChannels(const Json& entry);
  void TakeAmbient(const Json& entry);
  void BeginPhase(const Json& entry);
  void BeginPoint(const Json& entry);
  void BeginReading(const Json& entry);
  void TakeReading(const Json& entry);
  void EndPoint(const Json& entry);
  void TakeEnd(const Json& entry, bool complete);
  PhaseResult& phase() { return result_.phases.back(); }
  static Date TimeOf(const Json& entry) { return DateOfIso(entry.value("at", "")).value_or(0); }

  RunResult& result_;
  std::size_t approach_;
  std::size_t slots_ = 0;  // reference and units under test
  double ResolutionOf(std::size_t slot, double value) const;

  std::vector<double> steps_;       // of the channels, in the units of the channels
  std::vector<std::string> units_;  // of the channels
  PointResult point_;
  std::vector<std::vector<SampledValue>> readings_;
  std::vector<Approach> approaches_;
  std::vector<std::pair<double, double>> windows_;  // spread and drift
};

void ResultBuilder::TakeHeader(const Json& entry) {
  result_.run_id = entry.value("id", "");
  result_.version = entry.value("version", "");
  result_.simulated = entry.value("simulated", false);
  result_.reference_digest = entry.value("reference", Json::object()).value("sha256", "");
  result_.plan = LoadPlan(entry.value("plan", ""), entry.value("folder", "")).plan;
  slots_ = result_.plan.units.size() + 1;
  steps_.assign(slots_, 0);
  units_.assign(slots_, "");
}

void ResultBuilder::TakeInstrument(const Json& entry) {
  if (entry.contains("failed")) return;
  InstrumentFact fact;
  fact.name = entry.value("i", "");
  fact.model = entry.value("model", "");
  fact.port = entry.value("port", "");
  fact.identification = entry.value("identity", "");
  if (const auto* planned = result_.plan.FindInstrument(fact.name)) fact.serial_number = planned->serial_number;
  const Json settings = entry.value("settings", Json::object());
  for (const auto& [key, text] : settings.items()) {
    fact.settings.emplace_back(key, text.get<std::string>());
  }
  std::erase_if(result_.instruments, [&](const InstrumentFact& known) { return known.name == fact.name; });
  result_.instruments.push_back(std::move(fact));
}

void ResultBuilder::TakeChannels(const Json& entry) {
  const Json& slots = entry.value("slots", Json::array());
  for (std::size_t k = 0; k < std::min(slots_, slots.size()); ++k) {
    steps_[k] = slots[k].value("step", 0.0);
  }
}

// The resolution in the plan's unit at `value`: that of the plan, or else from the channel's step.
double ResultBuilder::ResolutionOf(std::size_t slot, double value) const {
  const auto of = [&](const auto& planned) {
    if (planned.resolution > 0) return planned.resolution;
    return StepInPlanUnit(planned.sensor, planned.scale, steps_[slot], units_[slot], value);
  };
  return slot == 0 ? of(result_.plan.reference) : of(result_.plan.units[slot - 1]);
}

void ResultBuilder::TakeAmbient(const Json& entry) {
  if (result_.phases.empty()) return;
  AmbientReading reading;
  reading.phase = phase().phase;
  reading.time = TimeOf(entry);
  const auto take = [&](const char* key, std::optional<double>& value) {
    if (entry.contains(key)) value = entry.at(key).get<double>();
  };
  take("temperature", reading.temperature);
  take("humidity", reading.humidity);
  take("pressure", reading.pressure);
  phase().ambient.push_back(reading);
}

void ResultBuilder::BeginPhase(const Json& entry) {
  PhaseResult begun;
  begun.phase = entry.value("phase", "") == "as-left" ? Phase::kAsLeft : Phase::kAsFound;
  begun.began = begun.ended = TimeOf(entry);
  result_.phases.push_back(std::move(begun));
}

void ResultBuilder::BeginPoint(const Json& entry) {
  point_ = {};
  point_.phase = phase().phase;
  point_.index = entry.at("p");
  point_.nominal = entry.at("value");
  point_.direction = entry.value("dir", "") == "falling" ? Direction::kFalling : Direction::kRising;
  point_.cycle = entry.value("cycle", 1);
  point_.began = TimeOf(entry);
  approaches_.assign(slots_, Approach(approach_));
  readings_.assign(slots_, {});
}

void ResultBuilder::BeginReading(const Json& entry) {
  readings_.assign(slots_, {});
  windows_.assign(slots_, {});
  const Json& windows = entry.at("w");
  for (std::size_t k = 0; k < std::min(slots_, windows.size()); ++k) {
    windows_[k] = {windows[k].at(0).get<double>(), windows[k].at(1).get<double>()};
  }
}

void ResultBuilder::TakeReading(const Json& entry) {
  const std::size_t slot = entry.at("s");
  if (slot >= slots_ || readings_.empty() || !entry.contains("q")) return;
  const SampledValue value{entry.at("t"), TimeOf(entry), entry.at("q"), entry.value("v", 0.0)};
  if (entry.value("f", "") == "p") readings_[slot].push_back(value);
  approaches_[slot].Add(value);
  units_[slot] = entry.value("u", "");
}

void ResultBuilder::EndPoint(const Json& entry) {
  point_.attempts = entry.value("attempt", 1);
  point_.ended = TimeOf(entry);
  for (std::size_t k = 0; k < slots_; ++k) {
    ReadingSeries series = SeriesOf(std::move(readings_[k]));
    series.approach = approaches_[k].Take();
    series.resolution = ResolutionOf(k, series.mean);
    if (k < windows_.size()) std::tie(series.window_spread, series.window_drift) = windows_[k];
    if (k == 0)
      point_.reference = std::move(series);
    else
      point_.units.push_back(std::move(series));
  }
  phase().points.push_back(std::exchange(point_, {}));
  phase().ended = TimeOf(entry);
  readings_.clear();
}

void ResultBuilder::TakeEnd(const Json& entry, bool complete) {
  result_.complete = complete;
  result_.end_reason = TextIn(entry, "why");
}

void ResultBuilder::Take(const Json& entry) {
  using Handler = void (*)(ResultBuilder&, const Json&);
  static const std::map<std::string, Handler> handlers = {
      {"run", [](ResultBuilder& self, const Json& e) { self.TakeHeader(e); }},
      {"open", [](ResultBuilder& self, const Json& e) { self.TakeInstrument(e); }},
      {"channels", [](ResultBuilder& self, const Json& e) { self.TakeChannels(e); }},
      {"ambient", [](ResultBuilder& self, const Json& e) { self.TakeAmbient(e); }},
      {"phase", [](ResultBuilder& self, const Json& e) { self.BeginPhase(e); }},
      {"point", [](ResultBuilder& self, const Json& e) { self.BeginPoint(e); }},
      {"reading", [](ResultBuilder& self, const Json& e) { self.BeginReading(e); }},
      {"r", [](ResultBuilder& self, const Json& e) { self.TakeReading(e); }},
      {"taken", [](ResultBuilder& self, const Json& e) { self.EndPoint(e); }},
      {"phase-end", [](ResultBuilder& self, const Json&) { self.phase().complete = true; }},
      {"stop", [](ResultBuilder& self, const Json& e) { self.TakeEnd(e, false); }},
      {"end", [](ResultBuilder& self, const Json& e) { self.TakeEnd(e, true); }},
  };
  const auto found = handlers.find(entry.value("k", ""));
  if (found != handlers.end()) found->second(*this, entry);
}

}  // namespace

std::optional<Date> DateOfIso(std::string_view text) {
  CivilTime time{};
  const std::string copy(text);
  const int fields = std::sscanf(copy.c_str(), "%d-%d-%dT%d:%d:%d.%d", &time.year, &time.month, &time.day, &time.hour,
                                 &time.minute, &time.second, &time.millisecond);
  return fields == 7 ? std::optional(DateFromCivil(time)) : std::nullopt;
}

BilingualText WhyUnreadable(const JournalReader::Broken& broken, const std::string& path) {
  if (broken.line == 0) return broken.reason;
  return Bilingual(TextId::kJournalLine, {std::to_string(broken.line), path, broken.reason});
}

Result<Json> HeaderOfJournal(const std::string& path) {
  std::ifstream file(platform::PathOf(path), std::ios::binary);
  std::string line;
  std::getline(file, line);
  Json header = Json::parse(line, nullptr, false);
  const bool good = header.is_object() && header.value("k", "") == "run" && header.contains("plan-sha256");
  if (!good) return Refused(TextId::kJournalNoRun, {path});
  if (header.value("format", 0) != kJournalFormat) return Refused(TextId::kJournalFormat, {path});
  return header;
}

bool IsComplete(const std::string& path) {
  constexpr std::streamoff kTail = 4096;
  std::ifstream file(platform::PathOf(path), std::ios::binary | std::ios::ate);
  const std::streamoff size = file.tellg();
  file.seekg(std::max<std::streamoff>(0, size - kTail));
  std::string line, last;
  while (std::getline(file, line)) last = line;
  const Json entry = Json::parse(last, nullptr, false);
  return entry.is_object() && entry.value("k", "") == "end";
}

Result<RunResult> ReadRun(const std::string& folder, std::size_t approach) {
  const std::string path = JournalPath(folder);
  auto reader = JournalReader::Open(path);
  if (!reader) {
    return tl::unexpected(WhyUnreadable(reader.error(), path));
  }
  if (const auto header = HeaderOfJournal(path); !header) return tl::unexpected(header.error());
  RunResult result;
  result.journal_digest = reader->last_digest();
  ResultBuilder builder(result, approach);
  try {
    for (Json entry; reader->Next(entry);) builder.Take(entry);
  } catch (const std::exception& failure) {
    return tl::unexpected(Problem(path + ": " + failure.what()));
  }
  return result;
}

}  // namespace ulix::calibration
