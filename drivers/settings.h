// An instrument's configuration record: described by a table, held as stored values, read and written by key.
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

// A label that stands for a code: what programs, the command line and some instruments call it, and what people are
// shown in its place in forms and reports.
struct EnumLabel {
  std::uint32_t code;
  const char* name;
  LocalizedText shown = {};  // none: the name itself

  std::string In(Language language) const { return shown.en ? shown.In(language) : name; }
};

struct CodeRange {
  std::uint32_t first, last;  // both of it
  constexpr bool Has(std::uint32_t code) const { return code >= first && code <= last; }
};

// A setting that means something beside some codes of another one only, as a sensor does beside temperatures.
struct Dependence {
  struct Row {
    CodeRange other;  // codes of the other setting
    CodeRange own;    // that go with them; a code without a label stands for none
  };
  const char* on;  // the other setting's key
  std::span<const Row> rows;

  // Whether any code of the setting goes with that code of the other one.
  constexpr bool MeansSomething(std::uint32_t other) const {
    return std::any_of(rows.begin(), rows.end(), [&](const Row& row) { return row.other.Has(other); });
  }
  constexpr bool Has(std::uint32_t other, std::uint32_t own) const {
    return std::any_of(rows.begin(), rows.end(),
                       [&](const Row& row) { return row.other.Has(other) && row.own.Has(own); });
  }
};

// One setting. The rows of one stored value follow each other and share its number; their bits do not overlap.
struct SettingRow {
  const char* key;
  LocalizedText label;
  int stored;                              // number of the stored value that holds it, from 0 without gaps
  VariantType type;                        // type of that value: kUi1, kUi4, kR4 or kBstr
  unsigned shift = 0;                      // place of the setting's bits in it
  unsigned bits = 0;                       // how many; 0 for a real or a text
  std::span<const EnumLabel> labels = {};  // empty for a plain number
  double initial = 0;                      // the code or the value after a reset; texts start empty
  bool is_signed = false;                  // whether all 32 bits of a kUi4 are a signed number
  const Dependence* depends = nullptr;     // for people who choose; any code is taken and kept
};

// A value as the record holds it: the bits of an integer, a real, or a text in Windows-1252.
using StoredValue = std::variant<std::uint32_t, float, std::string>;

// Thread-safe: a reader sees a whole record, never parts of two.
class Settings {
 public:
  explicit Settings(std::span<const SettingRow> rows);

  std::span<const SettingRow> rows() const { return rows_; }
  // The row of a key, any case; null when there is none.
  const SettingRow* Find(std::string_view key) const;

  void Reset();

  // Every stored value as it is now: what is handed out is never changed, and costs no copy.
  std::shared_ptr<const std::vector<StoredValue>> Current() const;
  // A copy of it, and its replacement as a whole. `values` comes from Snapshot.
  std::vector<StoredValue> Snapshot() const { return *Current(); }
  void Replace(std::vector<StoredValue> values);

  // The value as its word where it has one, else as its number; the word as people are shown it in a language, where
  // one is given.
  std::string TextOf(const SettingRow& row, std::optional<Language> shown_in = std::nullopt) const;
  // By word (any case) or by stored number; E_INVALIDARG, and nothing changed, for anything else or a number that the
  // setting has no room for.
  HRESULT SetText(const SettingRow& row, std::string_view text);

  // All stored values in order. Loading stops at the first that is of another type or not there, returns that code and
  // keeps what came before.
  void Save(VariantWriter& writer) const;
  HRESULT Load(VariantReader& reader);

 private:
  template <typename Put>
  void Change(Put&& put);

  std::span<const SettingRow> rows_;
  mutable platform::Mutex mutex_;
  std::shared_ptr<const std::vector<StoredValue>> values_;  // guarded by mutex_; others may hold it too
};

// The setting inside a snapshot.
std::uint32_t CodeIn(const std::vector<StoredValue>& values, const SettingRow& row);
std::int32_t SignedIn(const std::vector<StoredValue>& values, const SettingRow& row);
const std::string& TextIn(const std::vector<StoredValue>& values, const SettingRow& row);
float RealIn(const std::vector<StoredValue>& values, const SettingRow& row);
void PutCode(std::vector<StoredValue>& values, const SettingRow& row, std::uint32_t code);
void PutReal(std::vector<StoredValue>& values, const SettingRow& row, float value);
void PutText(std::vector<StoredValue>& values, const SettingRow& row, std::string value);

// The word of a code; empty when it has none.
std::string_view LabelOf(std::span<const EnumLabel> words, std::uint32_t code);
// A command and its words, with commas between them. None when a word is empty: its code has no label.
std::optional<std::string> CommandOf(std::string command, std::span<const std::string> words);
std::optional<std::uint32_t> CodeOfLabel(std::span<const EnumLabel> words, std::string_view word);

}  // namespace ulix
