// Finds out what is certain about the channels while some settings of the instrument are unknown.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "drivers/settings.h"

namespace ulix::cli {

// What is certain about a channel.
struct CertainTraits {
  bool unit = true;
  bool decimals = true;
  bool on = true;

  bool all() const { return unit && decimals && on; }
};

// The traits of each channel of the model that stay the same with `values` when any single unknown setting takes any of
// its codes. Sends nothing: the answers come from a separate driver.
std::vector<CertainTraits> CertainTraitsOf(const std::string& model, const std::vector<StoredValue>& values,
                                           const std::function<bool(const SettingRow& row)>& is_known);

}  // namespace ulix::cli
