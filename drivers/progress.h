// Progress of a long transfer, and the way to stop it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "base/result.h"
#include "base/text.h"

namespace ulix {

// The percentage done, 0 to 100. A total of 0 counts as done.
constexpr int PercentOf(std::uint32_t done, std::uint32_t total) {
  return total == 0 ? 100 : static_cast<int>(std::min<std::uint64_t>(std::uint64_t{done} * 100 / total, 100));
}

struct ProgressStep {
  int percent = 0;                     // 0 to 100
  LocalizedText title;                 // title of the whole operation
  LocalizedText text;                  // the present step; each '%' stands for a number
  std::vector<std::uint32_t> numbers;  // the numbers for the text
};

// Receives each step of an operation. Returning false asks the operation to stop. Called on the working thread, with no
// lock held. Every operation ends with a step of 100 percent, whose result is ignored.
using Progress = std::function<bool(const ProgressStep&)>;

// The result of an operation that was asked to stop: E_ABORT.
inline constexpr HRESULT kCancelled = static_cast<HRESULT>(0x80004004U);

}  // namespace ulix
