// Settings by key and text: each line of the input is "key=text".
#include "drivers/settings.h"

#include <array>

#include "drivers/calibrators/kelvo10/tables.h"
#include "fuzz/require.h"

namespace ulix {
namespace {

// A setting of each type, and two settings that share a stored value.
constexpr std::array kWords = {EnumLabel{0, "off"}, EnumLabel{3, "on"}};
constexpr std::array kEveryKind = {
    SettingRow{"low", {"", ""}, 0, VariantType::kUi1, 0, 3, kWords, 0},
    SettingRow{"high", {"", ""}, 0, VariantType::kUi1, 3, 5, {}, 7},
    SettingRow{"whole", {"", ""}, 1, VariantType::kUi4, 0, 32, kWords, 1},
    SettingRow{"signed", {"", ""}, 2, VariantType::kUi4, 0, 32, {}, -1, true},
    SettingRow{"real", {"", ""}, 3, VariantType::kR4, 0, 0, {}, 1.5},
    SettingRow{"text", {"", ""}, 4, VariantType::kBstr, 0, 0, {}, 0},
};

std::vector<std::string> Texts(const Settings& settings) {
  std::vector<std::string> texts;
  for (const SettingRow& row : settings.rows()) texts.push_back(settings.TextOf(row));
  return texts;
}

void CheckSet(Settings& settings, const SettingRow& row, std::string_view text) {
  const auto before = settings.Snapshot();
  auto expected = Texts(settings);
  const HRESULT result = settings.SetText(row, text);
  if (Failed(result)) {
    Require(result == E_INVALIDARG, "a text is refused as an argument");
    return Require(settings.Snapshot() == before, "and changes nothing");
  }
  expected[static_cast<std::size_t>(&row - settings.rows().data())] = settings.TextOf(row);
  Require(Texts(settings) == expected, "one setting changes no other");
  const auto after = settings.Snapshot();
  Require(settings.SetText(row, settings.TextOf(row)) == S_OK, "a setting takes its own text");
  Require(settings.Snapshot() == after, "and is the same by it");
}

void CheckSaved(const Settings& settings) {
  MemoryStream stream;
  VariantWriter writer(stream);
  settings.Save(writer);
  Settings loaded(settings.rows());
  VariantReader reader(stream);
  Require(loaded.Load(reader) == S_OK, "what was saved loads");
  Require(loaded.Snapshot() == settings.Snapshot(), "and is the same record");
}

void CheckLines(std::span<const SettingRow> rows, std::string_view lines) {
  Settings settings(rows);
  for (const std::string_view line : SplitWords(lines, "\n")) {
    const std::size_t end = line.find('=');
    const SettingRow* row = settings.Find(line.substr(0, end));
    if (row && end != std::string_view::npos) CheckSet(settings, *row, line.substr(end + 1));
  }
  CheckSaved(settings);
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ulix::CheckLines(ulix::kelvo10::kSettings, ulix::TextOfInput(data, size));
  ulix::CheckLines(ulix::kEveryKind, ulix::TextOfInput(data, size));
  return 0;
}
