// Faults that a test or a user can set on the line to a simulated instrument.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "calibration/problem.h"
#include "platform/clock.h"

namespace ulix {

enum class FaultKind {
  kSilent,    // No reply.
  kDelay,     // Milliseconds before each reply.
  kDrip,      // Milliseconds between the bytes of a reply.
  kGarbage,   // Senseless bytes in place of a reply. Its last byte stays, so that a line still ends.
  kTruncate,  // Only the first half of each reply.
  kOversize,  // Each reply repeated, thousands of bytes before its last one.
  kLate,      // The reply to a query comes after the next query.
  kDrop,      // The device vanishes after it has answered this many queries; at once for 0.
  kRefuse,    // The instrument's own error reply to every query.
};
inline constexpr std::size_t kFaultKinds = 9;

struct Fault {
  FaultKind kind;
  int amount = 0;  // For kDelay and kDrip milliseconds, for kDrop queries.
};

// Parses "KIND" or "KIND=ARG". The failure is a sentence that names the mistake and what is accepted.
calibration::Result<Fault> ParseFault(std::string_view text);

// The faults that apply at the same time, at most one of each kind.
class FaultSet {
 public:
  FaultSet() = default;
  FaultSet(std::initializer_list<Fault> faults) {
    for (const Fault& fault : faults) Add(fault);
  }
  void Add(Fault fault) { amounts_[static_cast<std::size_t>(fault.kind)] = fault.amount; }
  bool Has(FaultKind kind) const { return Amount(kind).has_value(); }
  std::optional<int> Amount(FaultKind kind) const { return amounts_[static_cast<std::size_t>(kind)]; }
  Milliseconds Time(FaultKind kind) const { return Milliseconds(Amount(kind).value_or(0)); }

  // The bytes of a reply with these faults. Delays are not applied here.
  std::string ApplyFaults(std::string reply, const std::string& refusal) const;

 private:
  std::array<std::optional<int>, kFaultKinds> amounts_;
};

}  // namespace ulix
