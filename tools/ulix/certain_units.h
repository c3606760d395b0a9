// Which channels have a certain unit although some settings of the instrument are unknown.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "drivers/settings.h"

namespace ulix::cli {

// What is certain of a channel.
struct CertainTraits {
  bool unit = true;
  bool decimals = true;
  bool on = true;

  bool all() const { return unit && decimals && on; }
};

// One for each channel of the model: what stays as it is with `values`, whichever code any single setting has that is
// not known. Nothing is sent: a driver of its own is asked.
std::vector<CertainTraits> CertainTraitsOf(const std::string& model, const std::vector<StoredValue>& values,
                                           const std::function<bool(const SettingRow& row)>& is_known);

}  // namespace ulix::cli
