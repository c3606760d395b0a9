// Faults that can be ordered on the line to a simulated instrument.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

#include "platform/clock.h"

namespace ulix {

enum class FaultKind {
  kSilent,    // answers nothing
  kDelay,     // milliseconds before each reply
  kDrip,      // milliseconds between the bytes of a reply
  kGarbage,   // bytes that mean nothing in place of a reply; its last byte stays, so that a line still ends
  kTruncate,  // the first half of each reply
  kOversize,  // each reply said over and over, thousands of bytes before its last one
  kLate,      // the reply of a query comes after the next query
  kDrop,      // the device vanishes when it has answered that many queries; at once for 0
  kRefuse,    // the instrument's own error reply to every query
};
inline constexpr std::size_t kFaultKinds = 9;

struct Fault {
  FaultKind kind;
  int amount = 0;  // of kDelay, kDrip and kDrop
};

// "KIND" or "KIND=ARG". The failure is a sentence that names what is wrong and what would be right.
tl::expected<Fault, std::string> ParseFault(std::string_view text);

// The faults in force at one time, at most one of each kind.
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

  // The bytes of a reply with these faults in them; the timing is not part of it.
  std::string ApplyFaults(std::string reply, const std::string& refusal) const;

 private:
  std::array<std::optional<int>, kFaultKinds> amounts_;
};

}  // namespace ulix
