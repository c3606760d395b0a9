#include "simulators/faults.h"

#include <algorithm>
#include <iterator>

#include "base/numbers.h"

namespace ulix {
namespace {

constexpr std::size_t kOversize = 4096;

struct FaultRow {
  std::string_view name;
  FaultKind kind;
  std::string_view argument;  // The argument's name in help texts; empty when there is none.
  int greatest = 0;
};

constexpr FaultRow kRows[] = {
    {"silent", FaultKind::kSilent, ""},
    {"delay", FaultKind::kDelay, "MS", 600'000},
    {"drip", FaultKind::kDrip, "MS", 600'000},
    {"garbage", FaultKind::kGarbage, ""},
    {"truncate", FaultKind::kTruncate, ""},
    {"oversize", FaultKind::kOversize, ""},
    {"late", FaultKind::kLate, ""},
    {"drop", FaultKind::kDrop, "N", 1'000'000},
    {"refuse", FaultKind::kRefuse, ""},
};
static_assert(std::size(kRows) == kFaultKinds);

std::string Usage(const FaultRow& row) {
  return row.argument.empty() ? std::string(row.name) : std::string(row.name).append("=").append(row.argument);
}

std::string AllUsages() {
  std::string all;
  for (const FaultRow& row : kRows) all += (all.empty() ? "" : ", ") + Usage(row);
  return all;
}

std::optional<int> ParseAmount(std::string_view text, int greatest) {
  const auto number = ParseDecimal(text);
  if (!number || *number < 0 || *number > greatest) return std::nullopt;
  const int amount = static_cast<int>(*number);
  return amount == *number ? std::optional(amount) : std::nullopt;
}

// Replaces bytes by bytes from 0x80 up: none is a digit, a letter or a control character.
std::string Garbled(std::string reply) {
  for (std::size_t i = 0; i + 1 < reply.size(); ++i) reply[i] = static_cast<char>(0x80 | ((i * 37 + 11) & 0x7F));
  return reply;
}

std::string Swollen(const std::string& reply) {
  const std::string body = reply.substr(0, std::max<std::size_t>(reply.size() - 1, 1));
  std::string swollen;
  while (swollen.size() < kOversize) swollen += body;
  return swollen + reply.back();
}

}  // namespace

calibration::Result<Fault> ParseFault(std::string_view text) {
  const std::string_view name = text.substr(0, text.find('='));
  const bool has_argument = name.size() < text.size();
  const auto row = std::find_if(std::begin(kRows), std::end(kRows),
                                [&](const FaultRow& candidate) { return candidate.name == name; });
  if (row == std::end(kRows)) {
    return calibration::Refused(TextId::kNoFault, {std::string(name), AllUsages()});
  }
  if (row->argument.empty()) {
    if (has_argument) return calibration::Refused(TextId::kFaultTakesNothing, {Usage(*row)});
    return Fault{row->kind};
  }
  const auto amount = has_argument ? ParseAmount(text.substr(name.size() + 1), row->greatest) : std::nullopt;
  if (!amount) {
    return calibration::Refused(TextId::kFaultTakesNumber, {Usage(*row), std::to_string(row->greatest)});
  }
  return Fault{row->kind, *amount};
}

std::string FaultSet::ApplyFaults(std::string reply, const std::string& refusal) const {
  if (Has(FaultKind::kRefuse)) reply = refusal;
  if (reply.empty() || Has(FaultKind::kSilent)) return {};
  if (Has(FaultKind::kGarbage)) reply = Garbled(std::move(reply));
  if (Has(FaultKind::kOversize)) reply = Swollen(reply);
  if (Has(FaultKind::kTruncate)) reply.resize(reply.size() / 2);
  return reply;
}

}  // namespace ulix
