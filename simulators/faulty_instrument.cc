#include "simulators/faulty_instrument.h"

#include <algorithm>
#include <utility>

namespace ulix {
namespace {

// The most pieces of replies that wait to be sent. A host that never reads, or that queries faster than a slow line
// answers, loses the rest.
constexpr std::size_t kMaxPieces = 8192;

}  // namespace

FaultyInstrument::FaultyInstrument(std::unique_ptr<Simulator> simulator, const FaultSet& faults)
    : simulator_(std::move(simulator)), faults_(faults) {}

void FaultyInstrument::SetFaults(const FaultSet& faults) {
  std::lock_guard lock(mutex_);
  faults_ = faults;
  exchanges_ = 0;
  held_.clear();
  if (Leaving()) under_way_.clear();
}

void FaultyInstrument::Receive(std::string_view bytes, MonotonicTime now) {
  std::lock_guard lock(mutex_);
  if (Leaving()) return;
  for (SimulatedReply& reply : simulator_->Receive(bytes)) {
    if (!reply.expected || Leaving()) continue;
    ++exchanges_;
    Reply(faults_.ApplyFaults(std::move(reply.bytes), simulator_->Refusal()), now);
  }
}

std::string FaultyInstrument::TakeDue(MonotonicTime now) {
  std::lock_guard lock(mutex_);
  std::string due;
  while (!under_way_.empty() && under_way_.front().due <= now) {
    due += under_way_.front().bytes;
    under_way_.pop_front();
  }
  return due;
}

std::optional<MonotonicTime> FaultyInstrument::NextDue() const {
  std::lock_guard lock(mutex_);
  return under_way_.empty() ? std::nullopt : std::optional(under_way_.front().due);
}

bool FaultyInstrument::Vanished() const {
  std::lock_guard lock(mutex_);
  return Leaving() && under_way_.empty();
}

bool FaultyInstrument::Leaving() const {
  const auto last = faults_.Amount(FaultKind::kDrop);
  return last && exchanges_ >= *last;
}

void FaultyInstrument::Reply(std::string bytes, MonotonicTime now) {
  if (faults_.Has(FaultKind::kLate)) std::swap(bytes, held_);
  Schedule(bytes, std::max(now, free_at_) + faults_.Time(FaultKind::kDelay));
}

void FaultyInstrument::Schedule(std::string_view bytes, MonotonicTime start) {
  const Milliseconds drip = faults_.Time(FaultKind::kDrip);
  const std::size_t size = drip.count() > 0 ? 1 : bytes.size();
  for (; !bytes.empty() && under_way_.size() < kMaxPieces; bytes.remove_prefix(size), start += drip) {
    under_way_.push_back({start, std::string(bytes.substr(0, size))});
    free_at_ = start;
  }
}

}  // namespace ulix
