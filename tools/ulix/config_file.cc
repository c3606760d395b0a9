#include "tools/ulix/config_file.h"

#include <nlohmann/json.hpp>

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

}  // namespace

std::string ConfigTrailer(Instrument& instrument) {
  Json trailer = {{"model", instrument.card().model_id}};
  SerialParams line;
  if (Succeeded(instrument.GetSerialParams(&line)) && !line.location.empty()) {
    trailer["location"] = StablePathOf(line.location);
  }
  return "\nULIX " + trailer.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

void LoadConfigFile(Instrument& instrument, const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  const Json trailer = TrailerOf(bytes);
  const std::string model = TextIn(trailer, "model");
  if (!model.empty() && model != instrument.card().model_id) {
    throw OperationFailed(E_INVALIDARG, Shown(TextId::kOtherModel, {path, model, instrument.card().model_id}));
  }
  MemoryStream stream(bytes);
  const HRESULT loaded = instrument.Load(stream);
  if (Failed(loaded)) throw OperationFailed(loaded, Shown(TextId::kNoConfiguration, {path}));
  SerialParams line;
  if (Failed(instrument.GetSerialParams(&line))) return;
  line.location = TextIn(trailer, "location");
  if (!line.location.empty()) instrument.SetSerialParams(line);
}

}  // namespace ulix::cli
