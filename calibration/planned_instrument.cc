#include "calibration/planned_instrument.h"

#include <cstdint>
#include <map>

#include "base/text.h"
#include "drivers/catalogue.h"

namespace ulix::calibration {
namespace {

// "COM5", "com5" and "5" are one.
std::string CanonicalPort(const std::string& port) {
  const bool com = port.size() > 3 && EqualIgnoringCase(port.substr(0, 3), "COM");
  return com ? port.substr(3) : port;
}

// A setting's value may be a number, a word or true and false.
std::optional<std::string> SettingText(const JsonNode& node) {
  if (const std::string* text = node.text()) return *text;
  if (const double* number = node.number()) return NumberText(*number);
  if (const bool* flag = node.flag()) return *flag ? "1" : "0";
  return std::nullopt;
}

void ReadPort(JsonReader& from, PlannedInstrument& instrument) {
  const JsonNode* port = from.Find("port");
  if (!port) return;
  const auto text = SettingText(*port);
  if (!text || text->empty())
    return from.Note(*port, "port", "is to be a port's number, a device, an address, or \"sim\"");
  instrument.port = EqualIgnoringCase(*text, "sim") ? "sim" : *text;
}

}  // namespace

void ReadInstrument(JsonReader& from, PlannedInstrument& instrument) {
  instrument.line = from.line();
  if (from.Require("model")) from.Text("model", instrument.model);
  ReadPort(from, instrument);
  from.Text("host", instrument.host);
  from.Text("config", instrument.config_file);
  from.Text("serial-number", instrument.serial_number);
  from.Text("manufacturer", instrument.manufacturer);
  from.Flag("run", instrument.run);
  int number = 0;
  if (from.Whole("tcp-port", number, 1, 65535)) instrument.tcp_port = number;
  if (from.Whole("baud", number, 50, 4000000)) instrument.baud_rate = static_cast<std::uint32_t>(number);
  if (from.Whole("timeout-ms", number, 1, 3600000)) instrument.timeout_ms = static_cast<std::uint32_t>(number);
  from.Named("settings", [&](const std::string& key, const JsonNode& node) {
    const auto text = SettingText(node);
    if (!text) return from.Note(node, "settings." + key, "is to be a text or a number");
    instrument.settings.emplace_back(key, *text);
  });
}

PlanProblem ProblemOf(const JsonMistake& mistake) {
  const std::string column = mistake.column > 0 ? "column " + std::to_string(mistake.column) + ": " : "";
  return {mistake.line, "", column + mistake.message, false};
}

std::unique_ptr<Instrument> CheckInstrument(const PlannedInstrument& planned, const std::string& folder,
                                            PlanProblems& problems) {
  const std::string path = "instruments." + planned.name;
  if (!FindModel(planned.model)) {
    std::vector<std::string> models;
    for (const CatalogueEntry& entry : Catalogue()) models.emplace_back(entry.card->model_id);
    const std::string meant = Closest(planned.model, models);
    problems.push_back(
        {planned.line, path + ".model",
         "'" + planned.model + "' is no model" + (meant.empty() ? "" : "; did you mean \"" + meant + "\"?"), false});
    return nullptr;
  }
  if (planned.port.empty() && planned.host.empty() && planned.config_file.empty()) {
    problems.push_back({planned.line, path, "says neither a port nor a host", false});
  }
  auto made = MakeInstrument(planned, folder, {}, {});
  if (made) return std::move(*made);
  problems.push_back({planned.line, path, made.error(), false});
  return nullptr;
}

void CheckPorts(const std::vector<PlannedInstrument>& instruments, PlanProblems& problems) {
  std::map<std::string, std::string> taken;
  for (const PlannedInstrument& planned : instruments) {
    if (planned.simulated() || planned.port.empty()) continue;
    const auto [other, is_new] = taken.emplace(CanonicalPort(planned.port), planned.name);
    if (is_new) continue;
    problems.push_back({planned.line, "instruments." + planned.name + ".port",
                        "port " + planned.port + " is taken by " + other->second + " already", false});
  }
}

std::optional<ChannelId> CheckChannel(Instrument& instrument, const std::string& channel, ChannelUse use, int line,
                                      const std::string& path, PlanProblems& problems) {
  const auto refuse = [&](const std::string& message) {
    problems.push_back({line, path, message, false});
    return std::optional<ChannelId>();
  };
  const auto id = FindChannel(instrument, channel);
  // Which channels there are is the instrument's to say for some models: it is asked once it is connected.
  if (!id && instrument.card().channels_in_instrument) return std::nullopt;
  if (!id) return refuse(id.error());
  std::int32_t direction = ChanIn;
  instrument.GetChanDir(*id, &direction);
  if (use == ChannelUse::kWrite && direction == ChanIn) return refuse("the channel cannot be set");
  if (use == ChannelUse::kRead && direction == ChanOut) return refuse("the channel cannot be read");
  return *id;
}

HRESULT AskOwnSettings(Instrument& instrument) {
  const ModelCard& card = instrument.card();
  if (card.channels_in_instrument) return instrument.RefreshChannels();
  const bool own = card.settings_home == SettingsHome::kInstrument;
  return own ? instrument.ReadCfg() : S_OK;
}

}  // namespace ulix::calibration
