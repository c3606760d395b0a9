#include "tools/ulix/config_file.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>

#include "base/variant_stream.h"
#include "drivers/catalogue.h"
#include "drivers/driver.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/stable_path.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

constexpr std::string_view kTrailerMark = "\nULIX {";

// The contents of the trailer line; null when the file has none.
Json TrailerOf(const std::string& bytes) {
  const std::size_t mark = bytes.rfind(kTrailerMark);
  if (mark == std::string::npos) return nullptr;
  Json trailer = Json::parse(bytes.substr(mark + kTrailerMark.size() - 1), nullptr, false);
  return trailer.is_object() ? trailer : Json(nullptr);
}

std::string TextIn(const Json& trailer, const char* key) {
  const bool there = trailer.is_object() && trailer.contains(key) && trailer[key].is_string();
  return there ? trailer[key].get<std::string>() : std::string();
}

// Whether every setting has a code of its list. A default may have another code.
bool HasListedCodes(const Settings& settings) {
  const auto values = settings.Current();
  return std::all_of(settings.rows().begin(), settings.rows().end(), [&](const SettingRow& row) {
    if (row.labels.empty() || CodeIn(*values, row) == static_cast<std::uint32_t>(row.initial)) return true;
    return !LabelOf(row.labels, CodeIn(*values, row)).empty();
  });
}

bool BeginsWith(const SettingRow& row, const std::string& stream) {
  constexpr std::size_t kVersion = 12;  // two numbers of four bytes, each after its type
  return stream.size() > kVersion && static_cast<unsigned char>(stream[kVersion]) == static_cast<unsigned>(row.type);
}

// Whether a stream contains the whole settings and line of this model. As for hosts, loading ends at a value of another
// type. Such a file counts as damaged if the values before it can be this model's, and otherwise as one of another
// model.
bool HoldsSettingsOf(const ModelCard& card, const std::string& bytes) {
  const auto driver = FindModel(card.model_id)->create({});
  MemoryStream stream(bytes);
  VariantReader reader(stream);
  if (!reader.Ui4() || !reader.Ui4()) return false;
  HRESULT result = driver->settings().Load(reader);
  LinkParams* line = driver->link().settings().params;
  if (Succeeded(result) && line != nullptr) result = line->LoadParams(reader);
  if (Succeeded(result)) return true;  // The driver refuses unknown codes later.
  if (result == kEndOfStream || card.settings.empty()) return false;
  return BeginsWith(card.settings.front(), bytes) && HasListedCodes(driver->settings());
}

bool HasNetworkAddress(Instrument& instrument) {
  std::optional<NetworkAddress> address;
  return Succeeded(instrument.GetNetworkAddress(&address)) && address;
}

}  // namespace

std::string ConfigTrailer(Instrument& instrument, bool port_named) {
  Json trailer = {{"model", instrument.card().model_id}};
  SerialParams line;
  const bool serial = Succeeded(instrument.GetSerialParams(&line));
  if (serial && port_named) trailer["port"] = true;
  if (serial && port_named && !line.location.empty()) {
    trailer["location"] = StablePathOf(line.location);
  }
  return "\nULIX " + trailer.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

bool LoadConfigFile(Instrument& instrument, const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  const Json trailer = TrailerOf(bytes);
  const std::string model = TextIn(trailer, "model");
  if (!model.empty() && model != instrument.card().model_id) {
    throw OperationFailed(E_INVALIDARG, Shown(TextId::kOtherModel, {path, model, instrument.card().model_id}));
  }
  MemoryStream stream(bytes);
  const HRESULT loaded = instrument.Load(stream);
  if (Failed(loaded)) throw OperationFailed(loaded, Shown(TextId::kNoConfiguration, {path}));
  if (!HoldsSettingsOf(instrument.card(), bytes)) {
    instrument.InitNew();
    throw OperationFailed(E_INVALIDARG, Shown(TextId::kNoConfigurationOf, {path, instrument.card().model_id}));
  }
  SerialParams line;
  const std::string location = TextIn(trailer, "location");
  if (!location.empty() && Succeeded(instrument.GetSerialParams(&line))) {
    line.location = location;
    instrument.SetSerialParams(line);
  }
  return trailer.is_null() || !location.empty() || trailer.contains("port") || HasNetworkAddress(instrument);
}

}  // namespace ulix::cli
