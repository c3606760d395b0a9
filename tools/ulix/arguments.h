// What the user types, taken apart. Every function throws UsageError for a text that it does not take.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/result.h"
#include "drivers/settings.h"

namespace CLI {
class Option;
class Validator;
}  // namespace CLI

namespace ulix::cli {

// What an option takes, to be given to its transform(): a whole number in decimal digits, whatever zeros lead it, and a
// number with a point; both bounds are taken.
CLI::Validator WholeNumber(std::int64_t least, std::int64_t most);
CLI::Validator Number(float least, float most);
// One of these words as it stands; another is answered by them and by the nearest.
CLI::Validator OneOf(std::vector<std::string> words);
// "90", "90s", "10m" or "2h" as seconds.
CLI::Validator Duration();

// What is said of an option that is required and missing.
std::string MissingText(const CLI::Option& option);

struct SimulatedPort {};
// A port number, a device path, or the model's own simulator.
using PortArgument = std::variant<int, std::string, SimulatedPort>;

PortArgument ParsePort(std::string_view text);

// A result code: hexadecimal with 0x, or decimal with or without a sign.
HRESULT ParseCode(std::string_view text);

// A whole finite number that fits a channel; a point or the user's own separator.
float ParseValue(const std::string& text);

// "KEY=VALUE"; the value may hold further '=' and be empty. `argument` is what a failure names.
std::pair<std::string, std::string> ParseAssignment(const std::string& argument, std::string_view text);

// A text typed in UTF-8 as the library has it; none when Windows-1252 does not hold it.
std::optional<std::string> LibraryText(std::string_view typed);

// One "KEY=VALUE" into the record, by word or by stored number.
void ApplySetting(Settings& settings, std::string_view assignment);

// "V50=1, V5=2", or what a plain number may be.
std::string AllowedValues(const SettingRow& row);

// A file that is there already is only replaced when that is asked for; what is no ordinary file is written to.
void CheckMayReplace(const std::string& argument, const std::string& file, bool force);
// Whether the file's name ends so, any case; UsageError naming what is possible otherwise.
void CheckKind(const std::string& argument, const std::string& file, const std::string& extension);

// The files that go with a measurement, each empty when it was not asked for: no two may be one.
void CheckFilesDiffer(const std::string& csv, const std::string& plot, const std::string& report);

}  // namespace ulix::cli
