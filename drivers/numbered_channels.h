// Tables for instruments with many similar channels: numbered names, and the same settings for each channel.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "drivers/model_card.h"
#include "drivers/numbered_text.h"

namespace ulix {

// One input channel for each name. The names must outlive the rows.
template <std::size_t kCount, std::size_t kSize>
constexpr std::array<ChannelRow, kCount> NumberedInputs(const std::array<NumberedTextOf<kSize>, kCount>& names) {
  std::array<ChannelRow, kCount> rows{};
  for (std::size_t id = 0; id < kCount; ++id) rows[id] = {names[id].data(), ChanIn};
  return rows;
}

// One setting that every channel has: a small code, or a text. Each is stored as a value of its own.
struct ChannelField {
  const char* key;      // the part after "channel.12."
  LocalizedText label;  // the part after "Channel 12"
  unsigned bits;        // of a code; 0 for a text
  std::span<const EnumLabel> labels;
  std::uint32_t initial = 0;
};

// The keys and labels of every channel's fields. The rows point to these texts.
template <const auto& kFields, std::size_t kCount>
struct ChannelFieldTexts {
  using OfField = std::array<NumberedText, kCount>;
  static consteval auto Make(const char* before, auto after) {
    std::array<OfField, kFields.size()> texts{};
    for (std::size_t field = 0; field < kFields.size(); ++field) {
      texts[field] = NumberTexts<kCount>(before, after(kFields[field]));
    }
    return texts;
  }
  static constexpr auto kKeys = Make("channel.", [](const ChannelField& field) { return field.key; });
  static constexpr auto kEnglish = Make("Channel ", [](const ChannelField& field) { return field.label.en; });
  static constexpr auto kFrench = Make("Voie ", [](const ChannelField& field) { return field.label.fr; });
};

// Fills rows of a table, from row `first` on, with the fields of `kCount` channels: all fields of the first channel,
// then those of the next one. The stored values have the same numbers as the rows.
template <const auto& kFields, std::size_t kCount, std::size_t kRows>
constexpr void PutChannelSettings(std::array<SettingRow, kRows>& rows, std::size_t first) {
  using Texts = ChannelFieldTexts<kFields, kCount>;
  for (std::size_t id = 0; id < kCount; ++id) {
    for (std::size_t field = 0; field < kFields.size(); ++field) {
      const ChannelField& kind = kFields[field];
      const std::size_t at = first + id * kFields.size() + field;
      rows.at(at) = {Texts::kKeys[field][id].data(),
                     {Texts::kEnglish[field][id].data(), Texts::kFrench[field][id].data()},
                     static_cast<int>(at),
                     kind.bits == 0 ? VariantType::kBstr : VariantType::kUi1,
                     0,
                     kind.bits,
                     kind.labels,
                     static_cast<double>(kind.initial)};
    }
  }
}

}  // namespace ulix
