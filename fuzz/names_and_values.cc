// Names and values that users type or write in files. "NAME=VALUE" lines set a model's settings and a simulated
// device's properties, and are parsed as every other argument of the command line. The first byte selects the model.
#include <cmath>
#include <memory>
#include <string>

#include "base/text.h"
#include "drivers/catalogue.h"
#include "fuzz/require.h"
#include "simulators/simulator.h"
#include "tests/support/manual_clock.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/failures.h"

namespace ulix {
namespace {

// Whether the body accepted its text: it threw no usage error.
template <typename Body>
bool Taken(Body&& body) {
  try {
    body();
    return true;
  } catch (const cli::UsageError& error) {
    Require(*error.what() != '\0', "a refusal says why");
    return false;
  }
}

void CheckSetting(Settings& settings, std::string_view line) {
  const auto before = settings.Snapshot();
  if (!Taken([&] { cli::ApplySetting(settings, line); })) {
    Require(settings.Snapshot() == before, "a setting that is refused changes nothing");
    return;
  }
  const SettingRow* row = settings.Find(line.substr(0, line.find('=')));
  Require(row != nullptr && !cli::AllowedValues(*row, Language::kEnglish).empty(), "what is set is there");
  const auto after = settings.Snapshot();
  Require(settings.SetText(*row, settings.TextOf(*row)) == S_OK && settings.Snapshot() == after,
          "a setting takes its own text");
}

void CheckProperty(Simulator& simulator, std::string_view line) {
  const auto before = simulator.Properties();
  const std::size_t equals = std::min(line.find('='), line.size());
  const std::string_view value = line.substr(std::min(equals + 1, line.size()));
  if (Failed(simulator.Set(line.substr(0, equals), value))) {
    Require(simulator.Properties() == before, "a property that is refused changes nothing");
  }
  Require(simulator.Properties().size() == before.size(), "properties come from nowhere");
}

void CheckArguments(std::string_view text) {
  cli::PortArgument port;
  if (Taken([&] { port = cli::ParsePort(text); }) && std::holds_alternative<int>(port)) {
    Require(std::get<int>(port) >= 1 && std::get<int>(port) <= 65535, "a port number is one");
  }
  Taken([&] { cli::ParseCode(text); });
  Taken([&] { Require(std::isfinite(cli::ParseValue(std::string(text))), "a value is finite"); });
  Taken([&] { Require(!cli::ParseAssignment("X", text).first.empty(), "an assignment has a name"); });
}

void CheckLines(const CatalogueEntry& model, std::string_view lines) {
  ManualClock clock;
  const auto simulator = FindSimulator(model.card->model_id)(clock);
  Settings settings(model.card->settings);
  for (const std::string_view line : SplitWords(lines, "\n")) {
    CheckSetting(settings, line);
    CheckProperty(*simulator, line);
    CheckArguments(line);
  }
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto models = ulix::Catalogue();
  ulix::CheckLines(models[data[0] % models.size()], ulix::TextOfInput(data + 1, size - 1));
  return 0;
}
