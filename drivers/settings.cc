#include "drivers/settings.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/numbers.h"
#include "base/rows.h"

namespace ulix {
namespace {

bool IsReal(const SettingRow& row) { return row.type == VariantType::kR4; }

std::uint32_t MaskOf(const SettingRow& row) { return row.bits >= 32 ? ~0U : (1U << row.bits) - 1U; }

// The 32 bits of an integer; a negative one in two's complement.
std::uint32_t BitsOf(double number) { return static_cast<std::uint32_t>(static_cast<std::int64_t>(number)); }

StoredValue EmptyValue(VariantType type) {
  switch (type) {
    case VariantType::kR4:
      return 0.0F;
    case VariantType::kBstr:
      return std::string();
    default:
      return 0U;
  }
}

const StoredValue& StoredOf(const std::vector<StoredValue>& values, const SettingRow& row) {
  return values[static_cast<std::size_t>(row.stored)];
}

std::vector<StoredValue> InitialValues(std::span<const SettingRow> rows) {
  std::vector<StoredValue> values;
  for (const SettingRow& row : rows) {
    if (static_cast<std::size_t>(row.stored) == values.size()) values.push_back(EmptyValue(row.type));
    if (row.type == VariantType::kBstr) continue;
    if (IsReal(row)) {
      PutReal(values, row, static_cast<float>(row.initial));
    } else {
      PutCode(values, row, BitsOf(row.initial));
    }
  }
  return values;
}

std::optional<std::uint32_t> CodeOfText(const SettingRow& row, std::string_view text) {
  if (const auto code = CodeOfLabel(row.labels, text)) return code;
  const auto number = ParseDecimal(text);
  const double lowest = row.is_signed ? std::numeric_limits<std::int32_t>::min() : 0;
  const double highest = row.is_signed ? std::numeric_limits<std::int32_t>::max() : MaskOf(row);
  if (!number || *number < lowest || *number > highest || std::trunc(*number) != *number) return std::nullopt;
  return BitsOf(*number);
}

std::optional<float> RealOfText(std::string_view text) {
  const auto number = ParseDecimal(text);
  if (!number || !std::isfinite(static_cast<float>(*number))) return std::nullopt;
  return static_cast<float>(*number);
}

void SaveValue(VariantWriter& writer, VariantType type, const StoredValue& value) {
  switch (type) {
    case VariantType::kR4:
      return writer.R4(std::get<float>(value));
    case VariantType::kBstr:
      return writer.Bstr(std::get<std::string>(value));
    case VariantType::kUi1:
      return writer.Ui1(static_cast<std::uint8_t>(std::get<std::uint32_t>(value)));
    default:
      return writer.Ui4(std::get<std::uint32_t>(value));
  }
}

Expected<StoredValue> LoadValue(VariantReader& reader, VariantType type) {
  switch (type) {
    case VariantType::kR4:
      return reader.R4().and_then([](float value) -> Expected<StoredValue> {
        if (!std::isfinite(value)) return Failure(E_INVALIDARG);
        return StoredValue(value);
      });
    case VariantType::kBstr:
      return reader.Bstr().map([](std::string&& text) { return StoredValue(std::move(text)); });
    case VariantType::kUi1:
      return reader.Ui1().map([](std::uint8_t value) { return StoredValue(std::uint32_t{value}); });
    default:
      return reader.Ui4().map([](std::uint32_t value) { return StoredValue(value); });
  }
}

}  // namespace

std::uint32_t CodeIn(const std::vector<StoredValue>& values, const SettingRow& row) {
  return (std::get<std::uint32_t>(StoredOf(values, row)) >> row.shift) & MaskOf(row);
}

std::int32_t SignedIn(const std::vector<StoredValue>& values, const SettingRow& row) {
  return static_cast<std::int32_t>(CodeIn(values, row));
}

const std::string& TextIn(const std::vector<StoredValue>& values, const SettingRow& row) {
  return std::get<std::string>(StoredOf(values, row));
}

float RealIn(const std::vector<StoredValue>& values, const SettingRow& row) {
  return std::get<float>(StoredOf(values, row));
}

void PutCode(std::vector<StoredValue>& values, const SettingRow& row, std::uint32_t code) {
  auto& word = std::get<std::uint32_t>(values[static_cast<std::size_t>(row.stored)]);
  const std::uint32_t mask = MaskOf(row) << row.shift;
  word = (word & ~mask) | ((code << row.shift) & mask);
}

void PutReal(std::vector<StoredValue>& values, const SettingRow& row, float value) {
  values[static_cast<std::size_t>(row.stored)] = value;
}

void PutText(std::vector<StoredValue>& values, const SettingRow& row, std::string value) {
  values[static_cast<std::size_t>(row.stored)] = std::move(value);
}

std::string_view LabelOf(std::span<const EnumLabel> labels, std::uint32_t code) {
  const EnumLabel* found = RowWith(labels, &EnumLabel::code, code);
  return found ? found->name : std::string_view();
}

std::optional<std::string> CommandOf(std::string command, std::span<const std::string> labels) {
  const char* before = "";
  for (const std::string& label : labels) {
    if (label.empty()) return std::nullopt;
    command += std::exchange(before, ",") + label;
  }
  return command;
}

std::optional<std::uint32_t> CodeOfLabel(std::span<const EnumLabel> labels, std::string_view name) {
  const auto found = std::find_if(labels.begin(), labels.end(),
                                  [&](const EnumLabel& label) { return EqualIgnoringCase(label.name, name); });
  if (found == labels.end()) return std::nullopt;
  return found->code;
}

Settings::Settings(std::span<const SettingRow> rows) : rows_(rows) { Reset(); }

const SettingRow* Settings::Find(std::string_view key) const {
  const auto found =
      std::find_if(rows_.begin(), rows_.end(), [&](const SettingRow& row) { return EqualIgnoringCase(row.key, key); });
  return found == rows_.end() ? nullptr : &*found;
}

void Settings::Reset() { Replace(InitialValues(rows_)); }

std::shared_ptr<const std::vector<StoredValue>> Settings::Current() const {
  const std::lock_guard lock(mutex_);
  return values_;
}

void Settings::Replace(std::vector<StoredValue> values) {
  auto replacement = std::make_shared<const std::vector<StoredValue>>(std::move(values));
  const std::lock_guard lock(mutex_);
  values_ = std::move(replacement);
}

// Changes a copy. Holders of the earlier values keep them unchanged.
template <typename Put>
void Settings::Change(Put&& put) {
  const std::lock_guard lock(mutex_);
  auto changed = std::make_shared<std::vector<StoredValue>>(*values_);
  put(*changed);
  values_ = std::move(changed);
}

std::string Settings::TextOf(const SettingRow& row, std::optional<Language> shown_in) const {
  const auto current = Current();
  const std::vector<StoredValue>& values = *current;
  if (IsReal(row)) return FormatShortest(RealIn(values, row));
  if (row.type == VariantType::kBstr) return TextIn(values, row);
  const std::uint32_t code = CodeIn(values, row);
  if (const EnumLabel* word = RowWith(row.labels, &EnumLabel::code, code))
    return shown_in ? word->In(*shown_in) : word->name;
  return row.is_signed ? std::to_string(SignedIn(values, row)) : std::to_string(code);
}

HRESULT Settings::SetText(const SettingRow& row, std::string_view text) {
  if (row.type == VariantType::kBstr) {
    Change([&](auto& values) { PutText(values, row, std::string(text)); });
    return S_OK;
  }
  const auto real = IsReal(row) ? RealOfText(text) : std::nullopt;
  const auto code = IsReal(row) ? std::nullopt : CodeOfText(row, text);
  if (real) Change([&](auto& values) { PutReal(values, row, *real); });
  if (code) Change([&](auto& values) { PutCode(values, row, *code); });
  return real || code ? S_OK : E_INVALIDARG;
}

void Settings::Save(VariantWriter& writer) const {
  const auto values = Current();
  int next = 0;
  for (const SettingRow& row : rows_) {
    if (row.stored != next) continue;
    SaveValue(writer, row.type, StoredOf(*values, row));
    ++next;
  }
}

HRESULT Settings::Load(VariantReader& reader) {
  std::vector<StoredValue> loaded;
  HRESULT result = S_OK;
  for (const SettingRow& row : rows_) {
    if (row.stored != static_cast<int>(loaded.size())) continue;
    auto value = LoadValue(reader, row.type);
    result = CodeOf(value);
    if (Failed(result)) break;
    loaded.push_back(std::move(*value));
  }
  Change([&](auto& values) { std::move(loaded.begin(), loaded.end(), values.begin()); });
  return result;
}

}  // namespace ulix
