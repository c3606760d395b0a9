// models, ports, keys: lists, which use no instrument.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <array>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "base/numbers.h"
#include "drivers/catalogue.h"
#include "links/usb_library.h"
#include "platform/port_list.h"
#include "platform/terminal.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/output.h"
#include "tools/ulix/stable_path.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

constexpr const char* LinkWord(LinkKind kind) {
  switch (kind) {
    case LinkKind::kSerial:
      return "serial";
    case LinkKind::kModbus:
      return "modbus";
    case LinkKind::kUsb:
      return "usb";
  }
  return "";
}

std::string DisplayName(const ModelCard& card) { return Shown(card.display_name.In(Language::kEnglish)); }

// Scripts get the English words.
Language WordLanguage() { return OnTerminal() ? ShownLanguage() : Language::kEnglish; }

// The channels that every instrument of the model has.
std::span<const ChannelRow> FixedChannels(const ModelCard& card) {
  return card.channels_in_instrument ? std::span<const ChannelRow>() : card.channels;
}

// How many channels from the first on are similar: the same name with consecutive numbers, and the same direction.
std::size_t RunLength(std::span<const ChannelRow> channels) {
  const std::string_view first = channels.front().name;
  const std::string_view stem = first.substr(0, first.find_first_of("0123456789"));
  int number = 0;
  if (std::from_chars(first.data() + stem.size(), first.data() + first.size(), number).ec != std::errc()) return 1;
  std::size_t count = 1;
  while (count < channels.size() && channels[count].direction == channels.front().direction &&
         channels[count].name == std::string(stem) + std::to_string(number + static_cast<int>(count)))
    ++count;
  return count;
}

// The list of channels; consecutive numbered channels are one entry.
std::string ChannelList(const ModelCard& card) {
  std::string list = card.channels_in_instrument ? Shown(TextId::kAsProgrammed, WordLanguage()) : "";
  const auto channels = FixedChannels(card);
  for (std::size_t first = 0; first < channels.size();) {
    const std::size_t count = RunLength(channels.subspan(first));
    const ChannelRow& row = channels[first];
    const std::string to = count < 2 ? std::string() : "-" + std::string(channels[first + count - 1].name);
    list += (list.empty() ? "" : ", ") + std::string(row.name) + to + " " + DirectionWord(row.direction);
    first += count;
  }
  return list;
}

Json ModelJson(const ModelCard& card) {
  Json channels = Json::array();
  for (const ChannelRow& row : FixedChannels(card)) {
    channels.push_back({{"id", channels.size()}, {"name", row.name}, {"direction", DirectionWord(row.direction)}});
  }
  return {{"model", card.model_id},
          {"name", DisplayName(card)},
          {"progid", ProgId(ControlClass(card.class_name), true)},
          {"link", LinkWord(card.link)},
          {"channels", channels}};
}

// A narrow terminal has no room for the names beside the channels.
bool HasRoomForNames() { return !OnTerminal() || platform::TerminalWidth() >= 100; }

int ListModels(bool json) {
  std::vector<std::string> heads =
      Heads({TextId::kModelHead, TextId::kNameHead, TextId::kProgIdHead, TextId::kLinkHead, TextId::kChannelsHead},
            ShownLanguage());
  if (!HasRoomForNames()) heads.erase(heads.begin() + 1);
  Table table(heads);
  Json array = Json::array();
  for (const CatalogueEntry& entry : Catalogue()) {
    const ModelCard& card = *entry.card;
    array.push_back(ModelJson(card));
    std::vector<std::string> cells = {card.model_id, DisplayName(card), ProgId(ControlClass(card.class_name), true),
                                      LinkWord(card.link), ChannelList(card)};
    if (!HasRoomForNames()) cells.erase(cells.begin() + 1);
    table.Add(std::move(cells));
  }
  json ? PrintJson(array) : table.Print();
  return 0;
}

// The instrument that the USB helper library finds; none without a library or an instrument.
std::optional<UsbIdentity> UsbInstrument() {
  const auto library = LoadOwnUsbLibrary();
  UsbDevice device;
  if (!library || Failed((*library)->GetInterfaceGuid(device))) return std::nullopt;
  return device.identity;
}

int ListPorts(bool json) {
  Table table(Heads({TextId::kNumberHead, TextId::kNameHead, TextId::kDeviceHead, TextId::kPathHead}, ShownLanguage()));
  Json array = Json::array();
  for (const platform::PortEntry& port : platform::ListSerialPorts()) {
    const std::string name = "COM" + std::to_string(port.number);
    const std::string path = StablePathOf(port.device);
    array.push_back({{"number", port.number}, {"name", name}, {"device", port.device}, {"path", path}});
    table.Add({std::to_string(port.number), name, port.device, path == port.device ? "" : path});
  }
  if (const auto usb = UsbInstrument()) {
    std::array<char, 16> ids{};
    std::snprintf(ids.data(), ids.size(), "%04X:%04X", usb->vendor, usb->product);
    array.push_back({{"number", nullptr}, {"name", "USB"}, {"device", ids.data()}, {"path", GuidText(usb->guid)}});
    table.Add({"-", "USB", ids.data(), GuidText(usb->guid)});
  }
  json ? PrintJson(array) : table.Print();
  return 0;
}

std::string DefaultOf(const SettingRow& row) {
  if (row.type == VariantType::kBstr) return {};
  const auto initial = static_cast<float>(row.initial);
  if (row.bits == 0) return FormatShortest(initial);
  const auto word = LabelOf(row.labels, static_cast<std::uint32_t>(row.initial));
  return word.empty() ? FormatFixed(row.initial, 0) : std::string(word);
}

Json KeyJson(const SettingRow& row) {
  Json values = Json::array();
  for (const EnumLabel& label : row.labels) values.push_back({{"word", label.name}, {"code", label.code}});
  return {{"key", row.key},
          {"default", DefaultOf(row)},
          {"takes", AllowedValues(row, Language::kEnglish)},
          {"values", values}};
}

int ListKeys(const std::string& model, bool json) {
  Table table(Heads({TextId::kKeyHead, TextId::kDefaultHead, TextId::kTakesHead}, ShownLanguage()));
  Json array = Json::array();
  for (const SettingRow& row : FindModel(model)->card->settings) {
    array.push_back(KeyJson(row));
    table.Add({row.key, DefaultOf(row), AllowedValues(row, WordLanguage())});
  }
  json ? PrintJson(array) : table.Print();
  return 0;
}

Action DefineList(CLI::App& verb, int (*list)(bool json)) {
  const auto json = std::make_shared<bool>(false);
  verb.add_flag("--json", *json, Shown(TextId::kHelpJsonArray));
  return [=] { return list(*json); };
}

}  // namespace

Action DefineModels(CLI::App& verb) { return DefineList(verb, ListModels); }

Action DefinePorts(CLI::App& verb) { return DefineList(verb, ListPorts); }

Action DefineKeys(CLI::App& verb) {
  const auto options = std::make_shared<ConnectionOptions>();
  const auto json = std::make_shared<bool>(false);
  AddModel(verb, *options);
  verb.add_flag("--json", *json, Shown(TextId::kHelpJsonArray));
  return [=] { return ListKeys(options->model, *json); };
}

}  // namespace ulix::cli
