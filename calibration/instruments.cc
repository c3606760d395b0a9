#include "calibration/instruments.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "base/nearest_word.h"
#include "base/text.h"
#include "calibration/json_reader.h"
#include "drivers/catalogue.h"
#include "platform/files.h"

namespace ulix::calibration {
namespace {

template <typename Number>
std::optional<Number> WholeNumber(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

Result<void> ApplyConfiguration(Instrument& instrument, const PlannedInstrument& planned, const std::string& folder) {
  if (planned.config_file.empty()) {
    instrument.InitNew();
    return {};
  }
  const std::string path = PathInPlan(folder, planned.config_file);
  std::ifstream file(platform::PathOf(path), std::ios::binary);
  if (!file) return Refused(TextId::kPlanConfigUnreadable, {path});
  MemoryStream stream(std::string(std::istreambuf_iterator<char>(file), {}));
  if (Failed(instrument.Load(stream))) return Refused(TextId::kPlanConfigOfOther, {path, planned.model});
  return {};
}

Result<void> ApplySettings(Instrument& instrument, const PlannedInstrument& planned) {
  for (const auto& [key, text] : planned.settings) {
    const SettingRow* row = instrument.settings().Find(key);
    if (!row) {
      std::vector<std::string> keys;
      for (const SettingRow& known : instrument.settings().rows()) keys.emplace_back(known.key);
      return tl::unexpected(Bilingual(TextId::kPlanNoSetting, {key, planned.model}) +
                            DidYouMean(NearestWord(key, keys)));
    }
    if (Failed(instrument.settings().SetText(*row, AnsiFromUtf8(text)))) {
      return Refused(TextId::kPlanSettingNotTaken, {key, text});
    }
  }
  return {};
}

Result<void> ApplyLine(Instrument& instrument, const PlannedInstrument& planned) {
  const bool own_port = !planned.port.empty() && !planned.simulated();
  if (!own_port && !planned.baud_rate) return {};
  SerialParams params;
  if (Failed(instrument.GetSerialParams(&params))) return Refused(TextId::kNotOnSerialLine, {planned.model});
  if (own_port) {
    // A number or COMn; any other text is a location.
    const bool com = planned.port.size() > 3 && EqualIgnoringCase(planned.port.substr(0, 3), "COM");
    const auto number = WholeNumber<int>(com ? std::string_view(planned.port).substr(3) : planned.port);
    if (number) params.port = *number;
    params.location = number ? std::string() : planned.port;
  }
  params.baudRate = planned.baud_rate.value_or(params.baudRate);
  if (Failed(instrument.SetSerialParams(params))) return Refused(TextId::kPlanLineNotTaken);
  return {};
}

Result<void> ApplyNetwork(Instrument& instrument, const PlannedInstrument& planned) {
  if (planned.host.empty()) return {};
  const NetworkAddress address{planned.host, planned.tcp_port.value_or(NetworkAddress().port)};
  if (Failed(instrument.SetNetworkAddress(address))) return Refused(TextId::kNotOnNetwork, {planned.model});
  return {};
}

// A code with its text, which is in Windows-1252. If the text is empty, the code with its name.
std::string WithCode(HRESULT code, const std::string& text) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string shown = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) shown += kHex[(static_cast<std::uint32_t>(code) >> shift) & 15U];
  if (!text.empty()) return shown + " " + Utf8FromAnsi(text);
  const std::string_view name = ErrorCodeName(code);
  return name.empty() ? shown : shown + " " + std::string(name);
}

}  // namespace

std::string PathInPlan(const std::string& folder, const std::string& file) {
  const std::filesystem::path path = platform::PathOf(file);
  return path.is_absolute() || folder.empty() ? file : (platform::PathOf(folder) / path).string();
}

Result<std::unique_ptr<Instrument>> MakeInstrument(const PlannedInstrument& planned, const std::string& folder,
                                                   DriverServices services, Instrument::Options options) {
  const CatalogueEntry* entry = FindModel(planned.model);
  if (!entry) return Refused(TextId::kPlanNoModel, {planned.model});
  if (planned.timeout_ms > 0) services.timeout_ms = planned.timeout_ms;
  auto instrument = std::make_unique<Instrument>(entry->create(std::move(services)), options);
  if (auto done = ApplyConfiguration(*instrument, planned, folder); !done) return tl::unexpected(done.error());
  if (auto done = ApplySettings(*instrument, planned); !done) return tl::unexpected(done.error());
  if (auto done = ApplyNetwork(*instrument, planned); !done) return tl::unexpected(done.error());
  if (auto done = ApplyLine(*instrument, planned); !done) return tl::unexpected(done.error());
  return instrument;
}

Result<ChannelId> FindChannel(Instrument& instrument, const std::string& name_or_id) {
  const auto count = static_cast<ChannelId>(instrument.card().channels.size());
  const auto id = WholeNumber<ChannelId>(name_or_id);
  std::vector<std::string> names;
  for (ChannelId channel = 0; channel < count; ++channel) {
    std::string name;
    instrument.GetChanName(channel, &name);
    name = Utf8FromAnsi(name);
    const bool meant = id ? *id == channel : EqualIgnoringCase(name, name_or_id);
    if (meant && instrument.OffersChannel(channel)) return channel;
    names.push_back(name);
  }
  return tl::unexpected(Bilingual(TextId::kPlanNoChannel, {name_or_id}) + DidYouMean(NearestWord(name_or_id, names)));
}

std::string ErrorTextOf(Instrument& instrument, HRESULT code) {
  std::int32_t unknown = 0;
  std::string text;
  instrument.GetErrorText(code, false, &unknown, &text);
  return WithCode(code, unknown == 0 ? text : std::string());
}

BilingualText ErrorTextsOf(const Instrument& instrument, HRESULT code) {
  return {WithCode(code, instrument.ErrorTextIn(Language::kEnglish, code)),
          WithCode(code, instrument.ErrorTextIn(Language::kFrench, code))};
}

double ResolutionOf(Instrument& instrument, ChannelId channel) {
  std::int16_t decimals = kUnknownResolution;
  if (Failed(instrument.GetChanResol(channel, &decimals)) || decimals >= kUnknownResolution) return 0;
  return std::pow(10.0, -decimals);
}

}  // namespace ulix::calibration
