#include "tools/ulix/certain_units.h"

#include "drivers/catalogue.h"
#include "drivers/driver.h"

namespace ulix::cli {
namespace {

using Traits = std::vector<ChannelTraits>;

Traits TraitsWith(Driver& driver, std::vector<StoredValue> values) {
  driver.settings().Replace(std::move(values));
  Traits traits;
  for (ChannelId id = 0; id < driver.card().channels.size(); ++id) traits.push_back(driver.DescribeChannel(id));
  return traits;
}

void Compare(CertainTraits& certain, const ChannelTraits& one, const ChannelTraits& other) {
  certain.unit &= one.unit == other.unit;
  certain.decimals &= one.resolution == other.resolution;
  certain.on &= one.on == other.on;
}

// The codes of a setting: those of its list, or all numbers of a setting with few bits, such as the range of a
// function.
std::vector<std::uint32_t> CodesOf(const SettingRow& row) {
  constexpr unsigned kBitsOfCode = 4;
  std::vector<std::uint32_t> codes;
  for (const EnumLabel& label : row.labels) codes.push_back(label.code);
  if (!codes.empty() || row.bits > kBitsOfCode || row.bits == 0) return codes;
  for (std::uint32_t code = 0; code < 1U << row.bits; ++code) codes.push_back(code);
  return codes;
}

}  // namespace

std::vector<CertainTraits> CertainTraitsOf(const std::string& model, const std::vector<StoredValue>& values,
                                           const std::function<bool(const SettingRow& row)>& is_known) {
  const auto driver = FindModel(model)->create({});
  const Traits present = TraitsWith(*driver, values);
  std::vector<CertainTraits> certain(present.size());
  for (const SettingRow& row : driver->settings().rows()) {
    if (is_known(row)) continue;
    for (const std::uint32_t code : CodesOf(row)) {
      auto changed = values;
      PutCode(changed, row, code);
      const Traits other = TraitsWith(*driver, std::move(changed));
      for (ChannelId id = 0; id < present.size(); ++id) Compare(certain[id], present[id], other[id]);
    }
  }
  return certain;
}

}  // namespace ulix::cli
