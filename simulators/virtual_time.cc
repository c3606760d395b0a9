#include "simulators/virtual_time.h"

#include <algorithm>
#include <chrono>

#include "platform/mutex.h"

namespace ulix {
namespace {

constexpr double kVirtualSecondsPerDay = 86400;
// Not zero, so that a time that was never set is easy to recognise.
constexpr MonotonicTime kVirtualStart{std::chrono::hours(1000)};
// A wait at a limited speed returns at this interval, so that its caller can check for other events.
constexpr Milliseconds kGlance{50};
constexpr Milliseconds kPatience{5};

MonotonicTime::duration Seconds(double seconds) {
  return std::chrono::duration_cast<MonotonicTime::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

class VirtualTime::View final : public Clock {
 public:
  enum Kind { kPacing, kJumping, kPatient };
  View(VirtualTime& time, Kind kind) : time_(time), kind_(kind) {}
  MonotonicTime Now() override { return time_.Now(); }
  Date LocalTime() override {
    const double seconds = std::chrono::duration<double>(time_.Now() - time_.start_).count();
    return time_.local_start_ + seconds / kVirtualSecondsPerDay;
  }
  void WaitUntil(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed,
                 MonotonicTime until) override {
    if (time_.Now() >= until) return;
    if (kind_ == kPatient) {
      changed.wait_for(lock, kPatience);
    } else if (kind_ == kJumping) {
      time_.MoveTo(until);
    } else {
      Pace(lock, changed, until);
    }
  }

 private:
  void Pace(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed, MonotonicTime until) {
    double speed = 0;
    MonotonicTime due;
    {
      const std::lock_guard guard(time_.mutex_);
      speed = time_.speed_;
      if (speed > 0) {
        const double ahead = std::chrono::duration<double>(until - time_.pace_now_).count();
        due = time_.pace_real_ + Seconds(ahead / speed);
      }
    }
    const MonotonicTime real = std::chrono::steady_clock::now();
    if (speed <= 0 || due <= real) return time_.MoveTo(until);
    changed.wait_until(lock, std::min(due, real + kGlance));
    const double passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - due).count();
    time_.MoveTo(passed >= 0 ? until : until + Seconds(passed * speed));
  }

  VirtualTime& time_;
  const Kind kind_;
};

VirtualTime::VirtualTime(double speed, Date local_start)
    : speed_(speed),
      now_(kVirtualStart),
      pace_now_(kVirtualStart),
      pace_real_(std::chrono::steady_clock::now()),
      local_start_(local_start),
      start_(kVirtualStart),
      pacing_(std::make_unique<View>(*this, View::kPacing)),
      jumping_(std::make_unique<View>(*this, View::kJumping)),
      patient_(std::make_unique<View>(*this, View::kPatient)) {}

VirtualTime::~VirtualTime() = default;

Clock& VirtualTime::pacing() { return *pacing_; }
Clock& VirtualTime::jumping() { return *jumping_; }
Clock& VirtualTime::patient() { return *patient_; }

MonotonicTime VirtualTime::Now() {
  const std::lock_guard guard(mutex_);
  return now_;
}

void VirtualTime::MoveTo(MonotonicTime until) {
  const std::lock_guard guard(mutex_);
  now_ = std::max(now_, until);
}

void VirtualTime::SetSpeed(double speed) {
  const std::lock_guard guard(mutex_);
  speed_ = speed;
  pace_now_ = now_;
  pace_real_ = std::chrono::steady_clock::now();
}

}  // namespace ulix
