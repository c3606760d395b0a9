// How a long transfer tells how far it is, and is told to stop.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "base/result.h"
#include "base/text.h"

namespace ulix {

// Of nothing, all is done.
constexpr int PercentOf(std::uint32_t done, std::uint32_t total) {
  return total == 0 ? 100 : static_cast<int>(std::min<std::uint64_t>(std::uint64_t{done} * 100 / total, 100));
}

struct ProgressStep {
  int percent = 0;                     // 0 to 100
  LocalizedText title;                 // of the whole operation
  LocalizedText text;                  // what is being done, '%' where a number stands
  std::vector<std::uint32_t> numbers;  // of the text
};

// False asks the operation to stop. Called on the thread that works, with no lock held. Every operation ends with a
// step of 100, whose answer does not matter.
using Progress = std::function<bool(const ProgressStep&)>;

// The result of an operation that was asked to stop: E_ABORT.
inline constexpr HRESULT kCancelled = static_cast<HRESULT>(0x80004004U);

}  // namespace ulix
