// An instrument's configuration record. A table describes the settings; the record holds them as stored values; they
// are read and written by key.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"
#include "base/text.h"
#include "base/variant_stream.h"
#include "platform/mutex.h"

namespace ulix {

// The label of a code. `name` is what programs, the command line and some instruments use. `shown` is what people see
// in forms and reports.
struct EnumLabel {
  std::uint32_t code;
  const char* name;
  LocalizedText shown = {};  // empty: the name is shown

  std::string In(Language language) const { return shown.en ? shown.In(language) : name; }
};

struct CodeRange {
  std::uint32_t first, last;  // both included
  constexpr bool Has(std::uint32_t code) const { return code >= first && code <= last; }
};

// A setting that has a meaning only for some codes of another setting: a sensor type has one only if a temperature is
// measured.
struct Dependence {
  struct Row {
    CodeRange other;  // codes of the other setting
    CodeRange own;    // codes of this setting that are allowed with them; a code without a label is ignored
  };
  const char* on;  // the other setting's key
  std::span<const Row> rows;

  // Whether this setting has a meaning for this code of the other setting.
  constexpr bool MeansSomething(std::uint32_t other) const {
    return std::any_of(rows.begin(), rows.end(), [&](const Row& row) { return row.other.Has(other); });
  }
  // Whether the two codes are allowed together.
  constexpr bool Has(std::uint32_t other, std::uint32_t own) const {
    return std::any_of(rows.begin(), rows.end(),
                       [&](const Row& row) { return row.other.Has(other) && row.own.Has(own); });
  }
};

// One setting. Several settings may share one stored value: their rows follow each other, have the same number, and use
// different bits.
struct SettingRow {
  const char* key;
  LocalizedText label;
  int stored;                              // number of the stored value, from 0 without gaps
  VariantType type;                        // type of the stored value: kUi1, kUi4, kR4 or kBstr
  unsigned shift = 0;                      // position of the setting's lowest bit in the stored value
  unsigned bits = 0;                       // number of bits; 0 for a real or a text
  std::span<const EnumLabel> labels = {};  // empty for a plain number
  double initial = 0;                      // the value after a reset; texts start empty
  bool is_signed = false;                  // whether the 32 bits of a kUi4 are a signed number
  const Dependence* depends = nullptr;     // limits the choice in forms; SetText accepts any code
};

// A stored value: the bits of an integer, a real, or a text in Windows-1252.
using StoredValue = std::variant<std::uint32_t, float, std::string>;

// Any thread may call any member. A reader always sees a whole record, never parts of two.
//
// settings.SetText(*settings.Find("unit"), "C");
// const auto values = settings.Current();
class Settings {
 public:
  explicit Settings(std::span<const SettingRow> rows);

  std::span<const SettingRow> rows() const { return rows_; }
  // The row of a key, in upper or lower case. Null when there is none.
  const SettingRow* Find(std::string_view key) const;

  // Sets every setting to its initial value.
  void Reset();

  // The present stored values. The result never changes afterwards, and no value is copied.
  std::shared_ptr<const std::vector<StoredValue>> Current() const;
  // A copy of the present values to change, and their replacement as a whole. `values` must come from Snapshot.
  std::vector<StoredValue> Snapshot() const { return *Current(); }
  void Replace(std::vector<StoredValue> values);

  // The value as text: the name of its code, or else its number. With `shown_in` the label in that language in place of
  // the name.
  std::string TextOf(const SettingRow& row, std::optional<Language> shown_in = std::nullopt) const;
  // Sets a value from the name of a code (in upper or lower case) or from a number. E_INVALIDARG, with nothing changed,
  // for any other text and for a number that does not fit. A text setting accepts every text.
  HRESULT SetText(const SettingRow& row, std::string_view text);

  // All stored values in order. Load stops at the first value that is missing, has another type, or is not a finite
  // number. It returns that code and keeps the values before.
  void Save(VariantWriter& writer) const;
  HRESULT Load(VariantReader& reader);

 private:
  template <typename Put>
  void Change(Put&& put);

  std::span<const SettingRow> rows_;
  mutable platform::Mutex mutex_;
  std::shared_ptr<const std::vector<StoredValue>> values_;  // guarded by mutex_; others may hold it too
};

// Read and change one setting in a snapshot. The function must fit the type of the setting.
std::uint32_t CodeIn(const std::vector<StoredValue>& values, const SettingRow& row);
std::int32_t SignedIn(const std::vector<StoredValue>& values, const SettingRow& row);
const std::string& TextIn(const std::vector<StoredValue>& values, const SettingRow& row);
float RealIn(const std::vector<StoredValue>& values, const SettingRow& row);
void PutCode(std::vector<StoredValue>& values, const SettingRow& row, std::uint32_t code);
void PutReal(std::vector<StoredValue>& values, const SettingRow& row, float value);
void PutText(std::vector<StoredValue>& values, const SettingRow& row, std::string value);

// The name of a code; empty when it has none.
std::string_view LabelOf(std::span<const EnumLabel> labels, std::uint32_t code);
// A command followed by `labels`, with commas between them. None when a label is empty, because its code has no name.
std::optional<std::string> CommandOf(std::string command, std::span<const std::string> labels);
// The code of a name, in upper or lower case. None when there is none.
std::optional<std::uint32_t> CodeOfLabel(std::span<const EnumLabel> labels, std::string_view name);

}  // namespace ulix
