#include "calibration/stability.h"

#include <algorithm>
#include <cmath>

#include "calibration/stability_rule.h"

namespace ulix::calibration {
namespace {

constexpr double kMaxGapShare = 0.1;  // as a share of the window
// The excess over the limits is compared with the one this share of the window earlier.
constexpr double kExcessShare = 0.25;

}  // namespace

TextId TextOf(StabilityState state) {
  constexpr TextId kTexts[] = {TextId::kLiveWaiting, TextId::kLiveNear, TextId::kLiveSettling, TextId::kLiveStable,
                               TextId::kLiveLost};
  return kTexts[static_cast<std::size_t>(state)];
}

const char* NameOf(StabilityState state) {
  constexpr const char* kNames[] = {"waiting", "near", "settling", "stable", "lost"};
  return kNames[static_cast<std::size_t>(state)];
}

void StabilityDetector::Sums::Add(double dt, double dv, double sign) {
  t += sign * dt;
  v += sign * dv;
  tt += sign * dt * dt;
  tv += sign * dt * dv;
  vv += sign * dv * dv;
}

void StabilityDetector::Reset() {
  Empty();
  first_.reset();
  was_stable_ = false;
  report_ = {};
}

void StabilityDetector::Empty() {
  samples_.clear();
  lows_.clear();
  highs_.clear();
  sums_ = {};
  since_rebase_ = 0;
  halving_ = excess_ = 0;
}

const StabilityReport& StabilityDetector::Add(double seconds, std::optional<double> value) {
  if (!first_) first_ = seconds;
  const bool good = value && std::isfinite(*value);
  if (!samples_.empty() && seconds <= samples_.back().seconds && good) return report_;
  const bool gap = !samples_.empty() && seconds - samples_.back().seconds > kMaxGapShare * limits_.window;
  if (!good || gap) Empty();
  if (good) Put({seconds, *value});
  Judge(seconds);
  return report_;
}

void StabilityDetector::Put(const Sample& sample) {
  if (samples_.empty()) {
    began_ = excess_at_ = sample.seconds;
    origin_ = sample;
  }
  DropBefore(sample.seconds - limits_.window);
  samples_.push_back(sample);
  sums_.Add(sample.seconds - origin_.seconds, sample.value - origin_.value, 1);
  while (!lows_.empty() && lows_.back().value >= sample.value) lows_.pop_back();
  while (!highs_.empty() && highs_.back().value <= sample.value) highs_.pop_back();
  lows_.push_back(sample);
  highs_.push_back(sample);
  if (++since_rebase_ > samples_.size()) Rebase();
}

void StabilityDetector::DropBefore(double seconds) {
  while (!samples_.empty() && samples_.front().seconds < seconds) {
    const Sample& oldest = samples_.front();
    sums_.Add(oldest.seconds - origin_.seconds, oldest.value - origin_.value, -1);
    samples_.pop_front();
  }
  while (!lows_.empty() && lows_.front().seconds < seconds) lows_.pop_front();
  while (!highs_.empty() && highs_.front().seconds < seconds) highs_.pop_front();
}

// Computes the sums again once for each window. Otherwise the rounding errors of hours of additions and subtractions
// would accumulate.
void StabilityDetector::Rebase() {
  origin_ = samples_.back();
  sums_ = {};
  since_rebase_ = 0;
  for (const Sample& sample : samples_) sums_.Add(sample.seconds - origin_.seconds, sample.value - origin_.value, 1);
}

bool StabilityDetector::IsNear(double value) const {
  return !limits_.target || std::abs(value - *limits_.target) <= limits_.near;
}

void StabilityDetector::JudgeSpread() {
  const double step = limits_.resolution / std::sqrt(12.0);
  report_.spread = highs_.front().value - lows_.front().value;
  report_.spread_limit = std::max(limits_.spread, step);
  // Binary numbers for decimals that differ by one step may differ by slightly more.
  constexpr double kOneStep = 1.001;
  if (report_.spread <= kOneStep * limits_.resolution) report_.spread = std::min(report_.spread, step);
}

void StabilityDetector::JudgeDrift() {
  const auto n = static_cast<double>(samples_.size());
  const double stt = sums_.tt - sums_.t * sums_.t / n;
  report_.drift = 0;
  report_.drift_limit = limits_.drift;
  if (samples_.size() < 3 || stt <= 0) return;
  const double stv = sums_.tv - sums_.t * sums_.v / n;
  const double svv = sums_.vv - sums_.v * sums_.v / n;
  const double residual = std::max(0.0, svv - stv * stv / stt) / (n - 2);
  report_.drift = std::abs(stv / stt) * limits_.window;
  report_.drift_limit = std::max(limits_.drift, std::sqrt(residual / stt) * limits_.window);
}

void StabilityDetector::Judge(double seconds) {
  report_.gave_up = seconds - *first_ > limits_.give_up;
  report_.seconds_left.reset();
  if (samples_.empty() || !IsNear(samples_.back().value)) {
    report_.state = was_stable_ ? StabilityState::kLost : StabilityState::kWaiting;
    began_ = seconds;
    if (samples_.empty()) return;
  }
  JudgeSpread();
  JudgeDrift();
  if (!IsNear(samples_.back().value)) return;
  const bool full =
      seconds - began_ >= limits_.window && samples_.size() >= static_cast<std::size_t>(limits_.min_samples);
  const bool kept = report_.spread <= report_.spread_limit && report_.drift <= report_.drift_limit;
  if (full && kept) {
    report_.state = StabilityState::kStable;
    was_stable_ = true;
  } else if (was_stable_) {
    report_.state = StabilityState::kLost;
  } else {
    report_.state = full ? StabilityState::kSettling : StabilityState::kNear;
  }
  report_.seconds_left = TimeLeft(seconds);
}

// The time left, if the excess decays exponentially: it halves in equal times.
std::optional<double> StabilityDetector::TimeLeft(double seconds) {
  if (report_.state == StabilityState::kStable) return 0;
  const double unfilled = std::max(0.0, limits_.window - (seconds - began_));
  const double excess =
      std::max(report_.spread / report_.spread_limit, report_.drift / std::max(report_.drift_limit, 1e-300));
  const double passed = seconds - excess_at_;
  if (passed >= kExcessShare * limits_.window) {
    if (excess_ > 0) halving_ = excess < excess_ ? passed / std::log2(excess_ / excess) : 0;
    excess_ = excess;
    excess_at_ = seconds;
  }
  const double decay = excess > 1 && halving_ > 0 ? halving_ * std::log2(excess) : 0;
  return std::max(unfilled, decay);
}

std::optional<Problem> WhyWindowIsSparse(double window, double sampling, int min_samples) {
  if (window / sampling < min_samples) {
    return Bilingual(TextId::kPlanFewSamples, {Shortened(window), std::to_string(min_samples), Shortened(sampling)});
  }
  constexpr double kMaxShare = 0.1;
  return sampling > window * kMaxShare ? std::optional(Bilingual(TextId::kPlanSparseSamples)) : std::nullopt;
}

}  // namespace ulix::calibration
