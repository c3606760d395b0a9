// The verb watch. "watch stable" waits until channels are stable, for users who calibrate by hand. "watch mqtt://..."
// shows the benches of a laboratory.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <limits>
#include <memory>
#include <mutex>

#include "calibration/stability.h"
#include "calibration/stability_rule.h"
#include "platform/clock.h"
#include "platform/terminal.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/calibration_view.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/fleet_watch.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/live_output.h"
#include "tools/ulix/output.h"
#include "tools/ulix/scan.h"
#include "tools/ulix/screen_block.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

using calibration::StabilityDetector;
using calibration::StabilityLimits;
using calibration::StabilityState;

constexpr char kStable[] = "stable";

struct WatchOptions {
  ConnectionOptions connection;
  FleetWatchOptions fleet;
  std::string what;
  std::vector<std::string> channels;
  float spread = 0, drift = 0, near = 0, target = 0;
  double window = 600, give_up = 0;
  int min_samples = 10;
  std::uint32_t period_ms = 1000;
};

class Watch {
 public:
  Watch(Session& session, const WatchOptions& options, std::vector<Channel> channels, bool has_target);
  int Run();

 private:
  void Take(double seconds);
  void Show(double seconds);
  StabilityState Worst() const;
  // Waits until the next reading. Returns false when the user ends the watch.
  bool Wait(MonotonicTime until) const;

  Session& session_;
  const WatchOptions& options_;
  std::vector<Channel> channels_;
  std::vector<StabilityDetector> detectors_;
  std::vector<WatchedChannel> watched_;
  std::vector<StabilityState> printed_;
  const std::atomic<bool>& interrupted_ = CatchInterrupts();
  ScreenBlock block_;
};

StabilityLimits LimitsOf(const WatchOptions& options, bool has_target) {
  StabilityLimits limits{
      .window = options.window, .spread = options.spread, .drift = options.drift, .min_samples = options.min_samples};
  if (has_target) limits.target = options.target;
  if (options.near > 0) limits.near = options.near;
  if (options.give_up > 0) limits.give_up = options.give_up;
  return limits;
}

Watch::Watch(Session& session, const WatchOptions& options, std::vector<Channel> channels, bool has_target)
    : session_(session), options_(options), channels_(std::move(channels)) {
  for (const Channel& channel : channels_) {
    detectors_.emplace_back(LimitsOf(options, has_target));
    const std::string unit = channel.unit.empty() ? "" : " (" + channel.unit + ")";
    watched_.push_back(
        {.status = {.name = channel.name + unit, .value = {}, .error = {}, .stability = {}}, .history = {}});
  }
  printed_.assign(channels_.size(), StabilityState::kWaiting);
}

void Watch::Take(double seconds) {
  const ChannelArrays arrays = ReadOnce(session_, channels_, options_.connection.timeout_ms);
  for (std::size_t k = 0; k < channels_.size(); ++k) {
    WatchedChannel& watched = watched_[k];
    const bool failed = Failed(arrays.errors.at(k)) || arrays.doubts.at(k) != Doubt::kNone;
    watched.status.value = failed ? std::nullopt : std::optional<double>(arrays.values.at(k));
    watched.status.error = Failed(arrays.errors.at(k)) ? session_.Explain(arrays.errors.at(k)) : "";
    watched.status.stability = detectors_[k].Add(seconds, watched.status.value);
    watched.history.push_back(failed ? std::nullopt : std::optional(arrays.values.at(k)));
    if (watched.history.size() > kWatchHistory) watched.history.pop_front();
  }
}

// Shows the states. A terminal has a table that is redrawn in place; other outputs get a line for each change of state.
void Watch::Show(double seconds) {
  const Language language = LanguageOf(options_.connection);
  if (OnTerminal()) {
    const auto width = static_cast<std::size_t>(std::max(platform::TerminalWidth(), 20)) - 1;
    const auto height = static_cast<std::size_t>(std::max(platform::TerminalHeight(), 8));
    return block_.Show(WatchLines(watched_, width, height - 3, language));
  }
  for (std::size_t k = 0; k < watched_.size(); ++k) {
    const auto& report = watched_[k].status.stability;
    if (report.state == printed_[k]) continue;
    printed_[k] = report.state;
    const std::string left = report.seconds_left ? ", " + ClockText(*report.seconds_left) : "";
    PrintLine(ClockText(seconds) + "  " + watched_[k].status.name + ": " + StateText(report.state, language) + left);
  }
}

StabilityState Watch::Worst() const {
  const bool stable = std::all_of(watched_.begin(), watched_.end(), [](const WatchedChannel& channel) {
    return channel.status.stability.state == StabilityState::kStable;
  });
  return stable ? StabilityState::kStable : StabilityState::kSettling;
}

bool Watch::Wait(MonotonicTime until) const {
  constexpr Milliseconds kGlance(50);
  while (!interrupted_ && SystemClock().Now() < until) {
    const auto left = std::chrono::duration_cast<Milliseconds>(until - SystemClock().Now());
    SystemClock().SleepFor(std::clamp(left, Milliseconds(1), kGlance));
  }
  return !interrupted_;
}

int Watch::Run() {
  const MonotonicTime began = SystemClock().Now();
  for (MonotonicTime next = began;; next = std::max(next + Milliseconds(options_.period_ms), SystemClock().Now())) {
    if (!Wait(next)) throw OperationFailed(kNoReading, Shown(TextId::kWatchInterrupted));
    const double seconds = std::chrono::duration<double>(SystemClock().Now() - began).count();
    Take(seconds);
    Show(seconds);
    if (Worst() == StabilityState::kStable) return 0;
    const bool gave_up = options_.give_up > 0 && seconds >= options_.give_up;
    if (gave_up) throw OperationFailed(kNoReading, Shown(TextId::kWatchGaveUp, {ClockText(options_.give_up)}));
  }
}

int WatchStable(const WatchOptions& options, bool has_target) {
  if (options.near > 0 && !has_target) throw UsageError("--near", Shown(TextId::kEffectWith, {"--target"}));
  Session session(options.connection);
  if (!session.instrument().card().channels_in_instrument) SelectInputs(session.Channels(), options.channels);
  session.ConnectAndAsk();
  auto channels = SelectInputs(session.Channels(), options.channels);
  if (channels.empty()) throw UsageError("CHANNEL", Shown(TextId::kNoInput));
  return Watch(session, options, std::move(channels), has_target).Run();
}

bool IsAddress(const std::string& what) { return what.starts_with("mqtt://") || what.starts_with("mqtts://"); }

std::string NothingToWatch(const std::string& what) {
  if (what == kStable || IsAddress(what)) return {};
  return Shown(TextId::kNothingWatched, {what});
}

// Options of the other form of the verb have no effect.
void RefuseAllBut(const CLI::App& verb, const std::string& what, const std::vector<CLI::Option*>& taken) {
  const auto is_other = [&](const CLI::Option* option) {
    return !option->empty() && std::find(taken.begin(), taken.end(), option) == taken.end();
  };
  for (const CLI::Option* option : verb.get_options(is_other)) {
    throw UsageError(option->get_name(), Shown(TextId::kNoEffectOn, {verb.get_name() + " " + what}));
  }
}

void AddStability(CLI::App& verb, WatchOptions& options) {
  constexpr float kMaxLimit = std::numeric_limits<float>::max();
  const std::string group = "watch stable";
  const auto add = [&](const char* name, auto& value, const std::string& help, const char* type,
                       const CLI::Validator& check) {
    verb.add_option(name, value, help)->type_name(type)->transform(check)->group(group);
  };
  add("--spread", options.spread, Shown(TextId::kHelpSpread), "X", Number(0, kMaxLimit));
  add("--drift", options.drift, Shown(TextId::kHelpDrift), "X", Number(0, kMaxLimit));
  add("--window", options.window, Shown(TextId::kHelpWindow), "T", Duration());
  add("--min-samples", options.min_samples, Shown(TextId::kHelpMinSamples), "N", WholeNumber(2, 1000000));
  add("--target", options.target, Shown(TextId::kHelpTarget), "X", Number(-kMaxLimit, kMaxLimit));
  add("--near", options.near, Shown(TextId::kHelpNear), "X", Number(0, kMaxLimit));
  add("--period", options.period_ms, Shown(TextId::kHelpWatchPeriod), "MS", WholeNumber(100, 3600000));
  add("--give-up", options.give_up, Shown(TextId::kHelpGiveUp), "T", Duration());
}

std::vector<CLI::Option*> AddFleet(CLI::App& verb, FleetWatchOptions& options) {
  const std::string group = "watch mqtt://HOST/GROUP";
  std::vector<CLI::Option*> added;
  const auto add = [&](const char* name, std::string& file, const std::string& help) {
    added.push_back(verb.add_option(name, file, help)->type_name("FILE")->group(group));
  };
  add("--password-file", options.password_file, Shown(TextId::kHelpPasswordFile));
  add("--ca-file", options.ca_file, Shown(TextId::kHelpCaFile));
  add("--certificate", options.certificate, Shown(TextId::kHelpClientCertificate));
  add("--key", options.key, Shown(TextId::kHelpClientKey));
  added[2]->needs(added[3]);
  added[3]->needs(added[2]);
  added.push_back(verb.add_flag("--no-tls", options.no_tls, Shown(TextId::kHelpNoTls)));
  added.push_back(verb.add_flag("--json", options.json, Shown(TextId::kHelpReportJson)));
  added.push_back(verb.add_option("--duration", options.duration_s, Shown(TextId::kHelpDuration))
                      ->type_name("T")
                      ->transform(Duration()));
  added.push_back(AddHttp(verb, options.http));
  for (CLI::Option* option : added) option->group(group);
  return added;
}

}  // namespace

Action DefineWatch(CLI::App& verb) {
  const auto options = std::make_shared<WatchOptions>();
  verb.add_option("WHAT", options->what, Shown(TextId::kHelpWatched))->required()->type_name("")->check(NothingToWatch);
  verb.add_option("MODEL", options->connection.model, Shown(TextId::kHelpWatchModel))->type_name("");
  verb.add_option("CHANNEL", options->channels, Shown(TextId::kHelpChannels))->type_name("");
  AddStability(verb, *options);
  const auto fleet = AddFleet(verb, options->fleet);
  AddConnection(verb, options->connection);
  verb.footer(Shown(TextId::kHelpWatchNotes));
  return [=, &verb] {
    if (IsAddress(options->what)) {
      auto taken = fleet;
      taken.insert(taken.end(), {verb.get_option("WHAT"), verb.get_option("--lang")});
      RefuseAllBut(verb, options->what, taken);
      options->fleet.url = options->what;
      options->fleet.language = LanguageOf(options->connection);
      return WatchFleet(options->fleet);
    }
    for (const CLI::Option* option : fleet) {
      if (!option->empty()) throw UsageError(option->get_name(), Shown(TextId::kNoEffectOn, {"watch stable"}));
    }
    CheckModel(options->connection.model);
    const CLI::Option& spread = *verb.get_option("--spread");
    if (spread.empty()) throw UsageError("--spread", MissingText(spread));
    if (const auto sparse =
            calibration::WhyWindowIsSparse(options->window, options->period_ms / 1000.0, options->min_samples)) {
      throw UsageError("--window", sparse->In(LanguageOf(options->connection)));
    }
    if (options->drift == 0) options->drift = options->spread;
    return WatchStable(*options, !verb.get_option("--target")->empty());
  };
}

}  // namespace ulix::cli
