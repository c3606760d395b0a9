// models, ports, keys: what there is, without touching an instrument.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>

#include "base/numbers.h"
#include "drivers/catalogue.h"
#include "platform/port_list.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/output.h"
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

// Those that every instrument of the model has.
std::span<const ChannelRow> FixedChannels(const ModelCard& card) {
  return card.channels_in_instrument ? std::span<const ChannelRow>() : card.channels;
}

std::string ChannelList(const ModelCard& card) {
  std::string list = card.channels_in_instrument ? "as programmed" : "";
  for (const ChannelRow& row : FixedChannels(card)) {
    list += (list.empty() ? "" : ", ") + std::string(row.name) + " " + DirectionWord(row.direction);
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
          {"progid", ProgId(card.class_name, true)},
          {"link", LinkWord(card.link)},
          {"channels", channels}};
}

int ListModels(bool json) {
  Table table(
      Heads({TextId::kModelHead, TextId::kNameHead, TextId::kProgIdHead, TextId::kLinkHead, TextId::kChannelsHead},
            ShownLanguage()));
  Json array = Json::array();
  for (const CatalogueEntry& entry : Catalogue()) {
    const ModelCard& card = *entry.card;
    array.push_back(ModelJson(card));
    table.Add(
        {card.model_id, DisplayName(card), ProgId(card.class_name, true), LinkWord(card.link), ChannelList(card)});
  }
  json ? PrintJson(array) : table.Print();
  return 0;
}

int ListPorts(bool json) {
  Table table(Heads({TextId::kNumberHead, TextId::kNameHead, TextId::kDeviceHead}, ShownLanguage()));
  Json array = Json::array();
  for (const platform::PortEntry& port : platform::ListSerialPorts()) {
    const std::string name = "COM" + std::to_string(port.number);
    array.push_back({{"number", port.number}, {"name", name}, {"device", port.device}});
    table.Add({std::to_string(port.number), name, port.device});
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

int ListKeys(const std::string& model) {
  Table table(Heads({TextId::kKeyHead, TextId::kDefaultHead, TextId::kTakesHead}, ShownLanguage()));
  for (const SettingRow& row : FindModel(model)->card->settings) {
    table.Add({row.key, DefaultOf(row), AllowedValues(row)});
  }
  table.Print();
  return 0;
}

Action DefineList(CLI::App& verb, int (*list)(bool json)) {
  const auto json = std::make_shared<bool>(false);
  verb.add_flag("--json", *json, "One JSON array");
  return [=] { return list(*json); };
}

}  // namespace

Action DefineModels(CLI::App& verb) { return DefineList(verb, ListModels); }

Action DefinePorts(CLI::App& verb) { return DefineList(verb, ListPorts); }

Action DefineKeys(CLI::App& verb) {
  const auto options = std::make_shared<ConnectionOptions>();
  AddModel(verb, *options);
  return [=] { return ListKeys(options->model); };
}

}  // namespace ulix::cli
