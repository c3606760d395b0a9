#include "calibration/planned_instrument.h"

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <map>
#include <system_error>

#include "base/nearest_word.h"
#include "base/text.h"
#include "drivers/catalogue.h"
#include "platform/files.h"
#include "platform/port_list.h"

namespace ulix::calibration {
namespace {

std::optional<int> PortNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// A URL in a form that can be compared: "tcp://localhost:5" becomes "TCP://127.0.0.1:5".
std::string CanonicalAddress(const std::string& url) {
  std::string address = AsciiUpper(url);
  for (const std::string_view local : {"://LOCALHOST", "://[::1]", "://IP6-LOCALHOST"}) {
    const std::size_t at = address.find(local);
    if (at != address.npos) address.replace(at, local.size(), "://127.0.0.1");
  }
  return address;
}

// A port in a form that can be compared. "COM05", "\\\\.\\COM5", "5", the device of that number and a link to the
// device are the same port.
std::string CanonicalPort(const std::string& port) {
  if (port.find("://") != port.npos) return CanonicalAddress(port);
  std::string_view name = port;
  constexpr std::string_view kDevicePrefix = "\\\\.\\";
  if (name.starts_with(kDevicePrefix)) name.remove_prefix(kDevicePrefix.size());
  const bool com = name.size() > 3 && EqualIgnoringCase(name.substr(0, 3), "COM");
  const auto number = PortNumber(com ? name.substr(3) : name);
  const std::string device = number ? platform::DeviceOfPort(*number).value_or("") : port;
  if (device.empty()) return "COM" + std::to_string(*number);
  std::error_code failed;
  const auto path = std::filesystem::weakly_canonical(platform::PathOf(device), failed);
  return failed ? device : path.string();
}

// The text of a setting's value, which may be a number, a text, or true or false.
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
    return from.Note(*port, "port", Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAPort)}));
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
    if (!text)
      return from.Note(node, "settings." + key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAText)}));
    instrument.settings.emplace_back(key, *text);
  });
}

PlanProblem ProblemOf(const JsonMistake& mistake) {
  if (mistake.column == 0) return {mistake.line, "", mistake.message, false};
  return {mistake.line, "", Bilingual(TextId::kPlanColumn, {std::to_string(mistake.column), mistake.message}), false};
}

std::unique_ptr<Instrument> CheckInstrument(const PlannedInstrument& planned, const std::string& folder,
                                            PlanProblems& problems) {
  const std::string path = "instruments." + planned.name;
  if (!FindModel(planned.model)) {
    std::vector<std::string> models;
    for (const CatalogueEntry& entry : Catalogue()) models.emplace_back(entry.card->model_id);
    problems.push_back(
        {planned.line, path + ".model",
         Bilingual(TextId::kPlanNoModel, {planned.model}) + DidYouMean(NearestWord(planned.model, models)), false});
    return nullptr;
  }
  if (planned.port.empty() && planned.host.empty() && planned.config_file.empty()) {
    problems.push_back({planned.line, path, Bilingual(TextId::kPlanNoPort), false});
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
                        Bilingual(TextId::kPlanPortTaken, {planned.port, other->second}), false});
  }
}

std::optional<ChannelId> CheckChannel(Instrument& instrument, const std::string& channel, ChannelUse use, int line,
                                      const std::string& path, PlanProblems& problems) {
  const auto refuse = [&](const BilingualText& message) {
    problems.push_back({line, path, message, false});
    return std::optional<ChannelId>();
  };
  const auto id = FindChannel(instrument, channel);
  // Some instruments decide themselves which channels they have. Then the channel is looked up after the connection.
  if (!id && instrument.card().channels_in_instrument) return std::nullopt;
  if (!id) return refuse(id.error());
  std::int32_t direction = ChanIn;
  instrument.GetChanDir(*id, &direction);
  if (use == ChannelUse::kWrite && direction == ChanIn) return refuse(Bilingual(TextId::kPlanNotSettable));
  if (use == ChannelUse::kRead && direction == ChanOut) return refuse(Bilingual(TextId::kPlanNotReadable));
  return *id;
}

HRESULT AskOwnSettings(Instrument& instrument) {
  const ModelCard& card = instrument.card();
  if (card.channels_in_instrument) return instrument.RefreshChannels();
  const bool own = card.settings_home == SettingsHome::kInstrument;
  return own ? instrument.ReadCfg() : S_OK;
}

}  // namespace ulix::calibration
