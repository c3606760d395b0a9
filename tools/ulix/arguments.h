// Parsers of the arguments that users type. Every function throws UsageError for a text that it refuses.
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

// Validators for an option's transform(): a whole number in decimal digits, with any leading zeros, and a number with a
// point. The bounds are included.
CLI::Validator WholeNumber(std::int64_t min, std::int64_t max);
CLI::Validator Number(float min, float max);
// Accepts exactly one of these words. The message about another word lists them and names the nearest one.
CLI::Validator OneOf(std::vector<std::string> words);
// Accepts "90", "90s", "10m" or "2h"; the value is in seconds.
CLI::Validator Duration();

// The message about a required option that is missing.
std::string MissingText(const CLI::Option& option);

struct SimulatedPort {};
// A port number, a device path or URL, or the model's own simulator.
using PortArgument = std::variant<int, std::string, SimulatedPort>;

PortArgument ParsePort(std::string_view text);

// A result code: hexadecimal with 0x, or decimal with or without a sign.
HRESULT ParseCode(std::string_view text);

// A finite number that a channel can hold, with a point or the user's own decimal separator.
float ParseValue(const std::string& text);

// Splits "KEY=VALUE". The value may contain '=' and may be empty. `argument` is the name in an error message.
std::pair<std::string, std::string> ParseAssignment(const std::string& argument, std::string_view text);

// A typed UTF-8 text in Windows-1252; none when it has a character outside Windows-1252.
std::optional<std::string> LibraryText(std::string_view typed);

// Sets one "KEY=VALUE" in the record, by label or by stored number.
void ApplySetting(Settings& settings, std::string_view assignment);

// The accepted values of a setting: "V50=1, V5=2", or the range of a number.
std::string AllowedValues(const SettingRow& row, Language language);

// Refuses to replace an existing file without `force`. A pipe or a device may always be written to.
void CheckMayReplace(const std::string& argument, const std::string& file, bool force);
// Expects the file's name to have this extension, in upper or lower case.
void CheckKind(const std::string& argument, const std::string& file, const std::string& extension);

// Refuses CSV and JSON on standard output together.
void CheckOneOutput(const std::string& csv, bool json);

// Expects the output files of a measurement to be different files. An empty name is no output.
void CheckFilesDiffer(const std::string& csv, const std::string& plot, const std::string& report);

}  // namespace ulix::cli
