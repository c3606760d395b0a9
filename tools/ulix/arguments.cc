#include "tools/ulix/arguments.h"
#include "links/port_url.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "base/numbers.h"
#include "base/text.h"
#include "links/local_number.h"
#include "platform/files.h"
#include "tools/ulix/csv.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

constexpr int kHighestPort = 32767;  // The highest port that a configuration can store.

// The integer that is the whole of `text`, in the given base.
std::optional<std::int64_t> WholeInteger(std::string_view text, int base) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// The number between the dots of a key such as "channel.12.range"; empty for a key without one. Refers to `key`.
std::string_view NumberIn(std::string_view key) {
  const std::size_t first = key.find('.');
  const std::size_t last = key.rfind('.');
  return first == last ? std::string_view() : key.substr(first + 1, last - first - 1);
}

// The list of keys. Keys that differ only in their number are listed once: "model, channel.N.range (N is 0 to 34)".
std::string Keys(const Settings& settings) {
  std::vector<std::string> patterns;
  std::string_view greatest;
  for (const SettingRow& row : settings.rows()) {
    std::string pattern = row.key;
    const std::string_view number = NumberIn(row.key);
    if (!number.empty()) pattern.replace(pattern.find(number), number.size(), "N");
    if (std::find(patterns.begin(), patterns.end(), pattern) == patterns.end()) patterns.push_back(std::move(pattern));
    if (!number.empty()) greatest = number;
  }
  std::string keys;
  for (const std::string& pattern : patterns) keys += (keys.empty() ? "" : ", ") + pattern;
  if (keys.empty()) return Shown(TextId::kNoSettings);
  return greatest.empty() ? keys : Shown(TextId::kNumberedKeys, {keys, std::string(greatest)});
}

std::vector<std::string> AllKeys(const Settings& settings) {
  std::vector<std::string> keys;
  for (const SettingRow& row : settings.rows()) keys.emplace_back(row.key);
  return keys;
}

// Whether two paths are the same file. A device is never the same file: several outputs may use it.
bool IsSameFile(const std::filesystem::path& one, const std::filesystem::path& other) {
  namespace fs = std::filesystem;
  std::error_code failed;
  if (fs::exists(one, failed) && !fs::is_regular_file(one, failed)) return false;
  const fs::path whole = fs::weakly_canonical(fs::absolute(one, failed), failed);
  return !failed && whole == fs::weakly_canonical(fs::absolute(other, failed), failed);
}

std::string NotTaken(const std::string& text, TextId kind, const std::string& min, const std::string& max) {
  return Shown(TextId::kNotWithin, {text, Shown(kind), min, max});
}

}  // namespace

// The parser of the command line would read a leading zero as octal and 0x as hexadecimal, so it gets new digits.
CLI::Validator WholeNumber(std::int64_t min, std::int64_t max) {
  const auto take = [=](std::string& text) {
    std::string_view digits = Trimmed(text);
    if (digits.starts_with('+')) digits.remove_prefix(1);
    const auto value = WholeInteger(digits, 10);
    const bool fits = value && *value >= min && *value <= max;
    const std::string typed = std::exchange(text, std::to_string(value.value_or(0)));
    return fits ? std::string() : NotTaken(typed, TextId::kPlanAWholeNumber, std::to_string(min), std::to_string(max));
  };
  return {take, ""};
}

CLI::Validator Number(float min, float max) {
  const auto take = [=](std::string& text) {
    const auto value = TypedNumber(text);
    const bool fits = value && *value >= min && *value <= max;
    if (fits) text = FormatShortest(static_cast<float>(*value));
    return fits ? std::string() : NotTaken(text, TextId::kPlanANumber, FormatShortest(min), FormatShortest(max));
  };
  return {take, ""};
}

// Accepts "90s", "10m" and "2h"; a number alone is seconds.
CLI::Validator OneOf(std::vector<std::string> words) {
  const auto check = [words = std::move(words)](const std::string& typed) {
    if (std::find(words.begin(), words.end(), typed) != words.end()) return std::string();
    std::string takes;
    for (const std::string& word : words) takes += (takes.empty() ? "" : ", ") + word;
    return Shown(TextId::kNotAllowed, {typed, takes}) + DidYouMean(typed, words);
  };
  return {check, ""};
}

CLI::Validator Duration() {
  const auto take = [](std::string& text) {
    constexpr std::string_view kUnits = "smh";
    constexpr std::array kSeconds = {1.0, 60.0, 3600.0};
    const std::size_t unit = text.empty() ? std::string::npos : kUnits.find(text.back());
    const auto number = TypedNumber(unit == std::string::npos ? text : text.substr(0, text.size() - 1));
    const double seconds = number.value_or(-1) * (unit == std::string::npos ? 1.0 : kSeconds[unit]);
    if (seconds < 0 || seconds > std::numeric_limits<float>::max()) {
      return Shown(TextId::kNotADuration, {text});
    }
    text = FormatFixed(seconds, 3);
    return std::string();
  };
  return {take, ""};
}

std::string MissingText(const CLI::Option& option) {
  std::string takes = option.get_description();
  takes.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(takes.front())));
  const std::string type = option.get_type_name();
  return Shown(TextId::kIsMissing, {type.empty() ? takes : type + " (" + takes + ")"});
}

PortArgument ParsePort(std::string_view text) {
  if (EqualIgnoringCase(text, "sim")) return SimulatedPort{};
  if (IsUrl(text) && !ParsePortUrl(text)) {
    throw UsageError("--port", Shown(TextId::kUrlOfNoPort, {std::string(text)}));
  }
  if (text.find_first_of("/\\") != std::string_view::npos) return std::string(text);
  const bool named = EqualIgnoringCase(text.substr(0, 3), "COM");
  const auto number = WholeInteger(named ? text.substr(3) : text, 10);
  if (number && *number >= 1 && *number <= kHighestPort) return static_cast<int>(*number);
  throw UsageError("--port", Shown(TextId::kNotAPort, {std::string(text)}));
}

HRESULT ParseCode(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const auto value = WholeInteger(hexadecimal ? text.substr(2) : text, hexadecimal ? 16 : 10);
  const bool fits = value && *value <= std::numeric_limits<std::uint32_t>::max() &&
                    *value >= (hexadecimal ? 0 : std::numeric_limits<std::int32_t>::min());
  if (fits) return static_cast<HRESULT>(static_cast<std::uint32_t>(*value));
  throw UsageError("CODE", Shown(TextId::kNotACode, {std::string(text)}));
}

float ParseValue(const std::string& text) {
  const std::optional<double> value = TypedNumber(text);
  if (value && std::abs(*value) <= std::numeric_limits<float>::max()) return static_cast<float>(*value);
  throw UsageError("VALUE", Shown(TextId::kNotAValue, {text}));
}

std::pair<std::string, std::string> ParseAssignment(const std::string& argument, std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    throw UsageError(argument, Shown(TextId::kNotAnAssignment, {std::string(text)}));
  }
  return {std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
}

std::optional<std::string> LibraryText(std::string_view typed) {
  std::string text = AnsiFromUtf8(typed);
  return Utf8FromAnsi(text) == typed ? std::optional(std::move(text)) : std::nullopt;
}

void ApplySetting(Settings& settings, std::string_view assignment) {
  const auto [key, value] = ParseAssignment("--set", assignment);
  const SettingRow* row = settings.Find(key);
  if (row == nullptr) {
    throw UsageError("--set", Shown(TextId::kNotASetting, {key, Keys(settings)}) + DidYouMean(key, AllKeys(settings)));
  }
  auto text = LibraryText(value);
  // Users type a real number with their own decimal separator.
  const auto number = row->type == VariantType::kR4 ? TypedNumber(value) : std::nullopt;
  if (number) text = FormatShortest(static_cast<float>(*number));
  if (!text || Failed(settings.SetText(*row, *text))) {
    throw UsageError("--set", Shown(TextId::kSettingCannotBe, {row->key, value, AllowedValues(*row, ShownLanguage())}));
  }
}

void CheckOneOutput(const std::string& csv, bool json) {
  if (json && csv == kStandardOutput) throw UsageError("--csv", Shown(TextId::kCsvBesideJson));
}

void CheckFilesDiffer(const std::string& csv, const std::string& plot, const std::string& report) {
  const auto check = [](const char* name, const std::string& file, const std::string& other) {
    if (file.empty() || other.empty() || !IsSameFile(file, other)) return;
    throw UsageError(name, Shown(TextId::kAskedForTwice, {file}));
  };
  check("--csv", csv, plot);
  check("--csv", csv, report);
  check("--plot", plot, report);
}

std::string AllowedValues(const SettingRow& row, Language language) {
  if (row.type == VariantType::kBstr) return Shown(TextId::kTextOfWindows1252, language);
  if (row.bits == 0) return Shown(TextId::kPlanANumber, language);
  if (row.labels.empty() && row.is_signed) return "-2147483648 to 2147483647";
  if (row.labels.empty()) return "0 to " + std::to_string((std::uint64_t{1} << row.bits) - 1);
  std::string values;
  for (const EnumLabel& word : row.labels) {
    if (!values.empty()) values += ", ";
    values += std::string(word.name) + "=" + std::to_string(word.code);
  }
  return values;
}

void CheckMayReplace(const std::string& argument, const std::string& file, bool force) {
  std::error_code failed;
  if (file.empty() || force || !std::filesystem::is_regular_file(platform::PathOf(file), failed)) return;
  throw UsageError(argument, Shown(TextId::kFileIsThere, {file}));
}

void CheckKind(const std::string& argument, const std::string& file, const std::string& extension) {
  const std::filesystem::path path = platform::PathOf(file);
  if (file.empty() || platform::IsNoFile(path)) return;
  if (EqualIgnoringCase(path.extension().string(), extension)) return;
  throw UsageError(argument, Shown(TextId::kWrongExtension, {file, extension}));
}

}  // namespace ulix::cli
