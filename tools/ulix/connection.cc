#include "tools/ulix/connection.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <functional>
#include <iostream>
#include <span>
#include <system_error>
#include <variant>

#include "base/trace.h"
#include "links/local_number.h"
#include "links/lock_problem.h"
#include "links/port_url.h"
#include "platform/port_list.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/config_file.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/wire_log.h"

namespace ulix::cli {
namespace {

template <typename Rows, typename Name>
std::string Joined(const Rows& rows, const char* between, Name&& name) {
  std::string joined;
  for (const auto& row : rows) joined += (joined.empty() ? "" : between) + std::string(name(row));
  return joined;
}

// Adds an option whose value is one of `choices`. `take` gets the position of the choice.
CLI::Option* AddChoice(CLI::App& verb, const std::string& name, const std::vector<std::string>& choices,
                       const std::string& help, const std::function<void(std::size_t)>& take) {
  const std::string allowed = Joined(choices, "|", [](const std::string& choice) { return choice; });
  const auto handle = [=](const std::string& text) {
    const auto chosen = std::find_if(choices.begin(), choices.end(),
                                     [&](const std::string& choice) { return EqualIgnoringCase(choice, text); });
    if (chosen == choices.end()) throw UsageError(name, Shown(TextId::kNotAllowed, {text, allowed}));
    take(static_cast<std::size_t>(chosen - choices.begin()));
  };
  return verb.add_option_function<std::string>(name, handle, help)->type_name(allowed);
}

std::string Rates(std::span<const std::uint32_t> rates) {
  return Joined(rates, ", ", [](std::uint32_t rate) { return std::to_string(rate); });
}

UsageError NotARate(const std::string& text, std::span<const std::uint32_t> rates) {
  return {"--baud", Shown(TextId::kNotARate, {text, Rates(rates)})};
}

std::unique_ptr<SimulatedLine> LineFor(const ConnectionOptions& options) {
  const bool simulated = !options.port.empty() && std::holds_alternative<SimulatedPort>(ParsePort(options.port));
  if (!simulated) return nullptr;
  return std::make_unique<SimulatedLine>(options.model);
}

// The trace that the options ask for: exchanges are shown, recorded, both or neither.
LinkTrace TraceOf(const ConnectionOptions& options) {
  LinkTrace shown = options.trace ? TraceToStandardError() : LinkTrace();
  if (options.record_file.empty()) return shown;
  CheckMayReplace("--record", options.record_file, options.force);
  const LinkTrace kept = TraceToFile(options.record_file, options.model);
  return [=](TraceDirection direction, std::string_view bytes) {
    if (shown) shown(direction, bytes);
    kept(direction, bytes);
  };
}

// Whether a USB instrument is used through a port. USB instruments have no port; if one is named, `ulix simulate`
// serves the instrument there.
bool IsServedUsb(const ConnectionOptions& options) {
  const bool usb = FindModel(options.model)->card->link == LinkKind::kUsb;
  return usb && !options.port.empty() && std::holds_alternative<std::string>(ParsePort(options.port));
}

DriverServices ServicesFor(const ConnectionOptions& options, LinkTrace trace, const SimulatedLine* line) {
  DriverServices services;
  services.timeout_ms = options.timeout_ms;
  services.trace = trace ? std::move(trace) : TraceOf(options);
  if (options.trace) SetTraceSink(TraceLineToStandardError);
  if (line != nullptr) {
    services = line->ServicesOf(std::move(services));
  } else if (IsServedUsb(options)) {
    services.load_usb_library = ServedUsbInstrument(std::get<std::string>(ParsePort(options.port)));
  }
  return services;
}

std::unique_ptr<Driver> CreateDriver(const ConnectionOptions& options, LinkTrace trace, const SimulatedLine* line) {
  return FindModel(options.model)->create(ServicesFor(options, std::move(trace), line));
}

Instrument::Options InstrumentOptions(Language language, UserInterface& user) {
  Instrument::Options chosen;
  chosen.user_interface = &user;
  chosen.language = language;
  return chosen;
}

// A device path or URL is opened as given. Its port number, if any, is used in texts and saved configurations.
void SetPort(SerialParams& params, const PortArgument& port) {
  params.location.clear();
  if (const int* number = std::get_if<int>(&port)) {
    params.port = *number;
    return;
  }
  params.location = std::get<std::string>(port);
  const int number = platform::PortOfDevice(params.location);
  if (number > 0) params.port = number;
  if (number == 0 && !IsUrl(params.location))
    throw UsageError("--port", Shown(TextId::kNoPortNumber, {params.location}));
}

std::vector<std::string> ModelIds() {
  std::vector<std::string> ids;
  for (const CatalogueEntry& entry : Catalogue()) ids.emplace_back(entry.card->model_id);
  return ids;
}

// The message about an unknown model id; empty for a known one.
std::string NotAModel(const std::string& word) {
  const auto name = [](const CatalogueEntry& entry) { return entry.card->model_id; };
  if (FindModel(word)) return {};
  return Shown(TextId::kNotAModel, {word, Joined(Catalogue(), ", ", name)}) + DidYouMean(word, ModelIds());
}

// The instrument's own number of a failure: that of a logger's record, or the one within the model's block of codes.
std::optional<HRESULT> OwnCode(const ModelCard& card, HRESULT code) {
  if (code > 0) return code;
  return IsOwnCode(card, code) ? std::optional(code - card.exception_code) : std::nullopt;
}

std::string WithDetail(const std::string& text, const std::string& detail) {
  return detail.empty() ? text : text + ": " + detail;
}

// If the known settings switch no channel on, every channel with unknown settings counts as on.
void SwitchOnUnknown(std::vector<Channel>& channels, const std::vector<CertainTraits>& known) {
  const bool any = std::any_of(channels.begin(), channels.end(),
                               [&](const Channel& channel) { return known[channel.id].on && channel.on; });
  for (Channel& channel : channels) channel.on |= !any && !known[channel.id].on;
}

std::string ConnectionGroup() { return Shown(TextId::kHelpConnection); }

void AddPort(CLI::App& verb, ConnectionOptions& options) {
  const auto is_port = [](const std::string& text) { return ParsePort(text), std::string(); };
  verb.add_option("--port", options.port, Shown(TextId::kHelpPort))
      ->type_name("N|COMn|DEVICE|URL|sim")
      ->check(is_port)
      ->group(ConnectionGroup());
}

void AddNetwork(CLI::App& verb, ConnectionOptions& options) {
  verb.add_option("--host", options.host, Shown(TextId::kHelpHost))
      ->type_name("HOST")
      ->excludes(verb.get_option("--port"))
      ->group(ConnectionGroup());
  verb.add_option("--tcp-port", options.tcp_port, Shown(TextId::kHelpTcpPort))
      ->type_name("PORT")
      ->transform(WholeNumber(1, 65535))
      ->group(ConnectionGroup());
  verb.add_option("--slave", options.slave, Shown(TextId::kHelpSlave))
      ->type_name("N")
      ->transform(WholeNumber(0, 255))
      ->group(ConnectionGroup());
}

}  // namespace

std::string CauseOf(const platform::OpenFailure& failure) {
  using Cause = platform::OpenFailureCause;
  const std::string holder = std::to_string(failure.holder);
  switch (failure.cause) {
    case Cause::kNone:
    case Cause::kSystem:
      return failure.os_error == 0 ? std::string() : std::system_category().message(static_cast<int>(failure.os_error));
    case Cause::kNoSuchDevice:
      // The detail is a location that is meant as a URL.
      return failure.detail.empty() ? Shown(TextId::kNoSuchDevice) : Shown(TextId::kNotAPortUrl);
    case Cause::kInUse:
      return failure.holder == 0 ? Shown(TextId::kDeviceInUse) : Shown(TextId::kDeviceInUseBy, {holder});
    case Cause::kPermission:
      return failure.detail.empty() ? Shown(TextId::kNoPermission) : Shown(TextId::kNotInGroup, {failure.detail});
    case Cause::kNotSerial:
      return Shown(TextId::kNotSerialDevice);
    case Cause::kAnotherDevice:
      return Shown(TextId::kAnotherDevice);
    case Cause::kUnknownHost:
      return Shown(TextId::kUnknownHost);
    case Cause::kRefused:
      return WithDetail(Shown(TextId::kConnectionRefused), failure.detail);
    case Cause::kNoRfc2217:
      return Shown(TextId::kConnectionRefused) + ": " + Shown(TextId::kNoRfc2217);
    case Cause::kNoAnswer:
      return Shown(TextId::kNoAnswerInTime);
    case Cause::kSettings:
      return Shown(TextId::kLineSettingsRefused);
    case Cause::kNoTurn:
      return Shown(Described(failure.lock, ShownLanguage()));
  }
  return {};
}

void AddLineSettings(CLI::App& verb, ConnectionOptions& options) {
  // The baud rates depend on the model.
  const auto take_rate = [&options](const std::string& text) {
    std::uint32_t rate = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rate);
    if (error != std::errc() || end != text.data() + text.size()) throw NotARate(text, kBaudRates);
    options.baud_rate = rate;
  };
  verb.add_option_function<std::string>("--baud", take_rate, Shown(TextId::kHelpBaud))
      ->type_name("RATE")
      ->group(ConnectionGroup());
  for (const LineField& field : LineFields()) {
    if (field.codes.empty()) continue;
    std::vector<std::string> names;
    for (const LineCode& code : field.codes) names.emplace_back(code.name);
    const auto take = [&options, &field](std::size_t code) { options.line.emplace_back(&field, code); };
    AddChoice(verb, std::string("--") + field.key, names, Shown(field.label), take)->group(ConnectionGroup());
  }
}

SerialParams WithLineSettings(SerialParams params, const ConnectionOptions& options) {
  params.baudRate = options.baud_rate.value_or(params.baudRate);
  for (const auto& [field, code] : options.line) SetNumber(params, *field, static_cast<std::int64_t>(code));
  return params;
}

void AddModel(CLI::App& verb, ConnectionOptions& options) {
  verb.add_option("MODEL", options.model, Shown(TextId::kHelpModel))->required()->type_name("")->check(NotAModel);
}

void CheckModel(const std::string& word) {
  if (word.empty())
    throw UsageError("MODEL", Shown(TextId::kIsMissing, {Joined(ModelIds(), ", ", [](const auto& id) { return id; })}));
  if (const std::string wrong = NotAModel(word); !wrong.empty()) throw UsageError("MODEL", wrong);
}

void AddModelOption(CLI::App& verb, ConnectionOptions& options) {
  verb.add_option("--model", options.model, Shown(TextId::kHelpOnlyModel))->type_name("MODEL")->check(NotAModel);
}

void AddLanguage(CLI::App& verb, ConnectionOptions& options) {
  AddChoice(verb, "--lang", {"en", "fr"}, Shown(TextId::kHelpLanguage), [&](std::size_t chosen) {
    options.language = chosen == 0 ? Language::kEnglish : Language::kFrench;
    ShowIn(*options.language);
  });
}

Language LanguageOf(const ConnectionOptions& options) { return options.language.value_or(ShownLanguage()); }

void AddConnection(CLI::App& verb, ConnectionOptions& options) {
  AddPort(verb, options);
  AddLineSettings(verb, options);
  AddNetwork(verb, options);
  verb.add_option("--timeout", options.timeout_ms, Shown(TextId::kHelpTimeout))
      ->type_name("MS")
      ->transform(WholeNumber(1, 3600000))
      ->group(ConnectionGroup());
  verb.add_option("--config", options.config_file, Shown(TextId::kHelpConfig))
      ->type_name("FILE")
      ->group(ConnectionGroup());
  verb.add_option("--set", options.settings, Shown(TextId::kHelpSetting))
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false)
      ->group(ConnectionGroup());
  verb.add_flag("--no-config", options.no_config, Shown(TextId::kHelpNoConfig))->group(ConnectionGroup());
  verb.add_flag("--trace", options.trace, Shown(TextId::kHelpTrace))->group(ConnectionGroup());
  verb.add_flag("--stats", options.stats, Shown(TextId::kHelpStats))->group(ConnectionGroup());
  verb.add_option("--record", options.record_file, Shown(TextId::kHelpRecord))
      ->type_name("FILE")
      ->group(ConnectionGroup());
  if (verb.get_option_no_throw("--force") == nullptr) AddForce(verb, options);
  AddLanguage(verb, options);
}

void AddForce(CLI::App& verb, ConnectionOptions& options) {
  verb.add_flag("--force", options.force, Shown(TextId::kHelpForce));
}

Session::Session(const ConnectionOptions& options, LinkTrace trace, UserInterface* user_interface)
    : options_(options),
      language_(LanguageOf(options)),
      stats_(options.stats),
      simulated_line_(LineFor(options)),
      instrument_(CreateDriver(options, std::move(trace), simulated_line_.get()),
                  InstrumentOptions(language_, user_interface ? *user_interface : user_)) {
  Configure(options);
}

Session::~Session() {
  if (stats_) std::fprintf(stderr, "%s\n", TextOf(instrument_.Statistics()).c_str());
}

void Session::Configure(const ConnectionOptions& options) {
  Check(instrument_.InitNew());
  has_address_ = !options.port.empty() || !options.host.empty();
  if (!options.settings.empty()) settings_source_ = SettingsSource::kOptions;
  if (!options.config_file.empty()) {
    has_address_ |= LoadConfigFile(instrument_, options.config_file);
    settings_source_ = SettingsSource::kFile;
  }
  ApplySettings();
  if (simulated_line_) simulated_line_->Match(instrument_.settings());
  ConfigureNetwork(options);
  ConfigureLine(options);
}

void Session::ApplySettings() {
  for (const std::string& assignment : options_.settings) {
    ApplySetting(instrument_.settings(), assignment);
    named_settings_.insert(instrument_.settings().Find(ParseAssignment("--set", assignment).first)->key);
  }
  if (!options_.slave) return;
  if (!instrument_.settings().Find("slave"))
    throw UsageError("--slave", Shown(TextId::kNotAModbusSlave, {options_.model}));
  ApplySetting(instrument_.settings(), "slave=" + std::to_string(*options_.slave));
}

// A port given without a host moves the instrument from the network to the serial line.
void Session::ConfigureNetwork(const ConnectionOptions& options) {
  if (options.host.empty() && !options.tcp_port && options.port.empty()) return;
  std::optional<NetworkAddress> address;
  const HRESULT result = instrument_.GetNetworkAddress(&address);
  const char* argument = options.host.empty() ? "--tcp-port" : "--host";
  if (result == E_NOTIMPL && options.host.empty() && !options.tcp_port) return;
  if (result == E_NOTIMPL) throw UsageError(argument, Shown(TextId::kNotOnNetwork, {options.model}));
  Check(result);
  if (!options.port.empty()) address.reset();
  if (!options.host.empty()) address = NetworkAddress{options.host, address.value_or(NetworkAddress()).port};
  if (options.tcp_port && !address) throw UsageError("--tcp-port", Shown(TextId::kEffectWith, {"--host"}));
  if (options.tcp_port) address->port = *options.tcp_port;
  Check(instrument_.SetNetworkAddress(address));
}

void Session::ConfigureLine(const ConnectionOptions& options) {
  const std::string port = simulated_line_ || IsServedUsb(options) ? std::string() : options.port;
  if (port.empty() && !options.baud_rate && options.line.empty()) return;
  SerialParams params;
  const HRESULT result = instrument_.GetSerialParams(&params);
  if (result == E_NOTIMPL) throw UsageError("--port", Shown(TextId::kNotOnSerialLine, {options.model}));
  Check(result);
  if (!port.empty()) SetPort(params, ParsePort(port));
  params = WithLineSettings(params, options);
  const auto rates = instrument_.BaudRates();
  if (options.baud_rate && std::find(rates.begin(), rates.end(), params.baudRate) == rates.end()) {
    throw NotARate(std::to_string(params.baudRate), rates);
  }
  Check(instrument_.SetSerialParams(params));
}

void Session::Connect() {
  const LinkKind link = instrument_.card().link;
  if (!has_address_ && link != LinkKind::kUsb) {
    const std::string host = link == LinkKind::kModbus ? Shown(TextId::kHostInPlace) : std::string();
    throw UsageError("--port", Shown(TextId::kPortMissing, {host}));
  }
  Check(TryConnect());
}

HRESULT Session::TryConnect() {
  const HRESULT result = instrument_.Connect();
  const std::string cause = Failed(result) ? CauseOf(instrument_.LinkFailure()) : std::string();
  if (!cause.empty()) throw OperationFailed(result, Explain(result) + ": " + LinkPlace() + cause);
  return result;
}

// The device or server of the link, as "/dev/ttyUSB0: ".
std::string Session::LinkPlace() {
  std::optional<NetworkAddress> address;
  if (Succeeded(instrument_.GetNetworkAddress(&address)) && address)
    return Shown(address->host) + ":" + std::to_string(address->port) + ": ";
  SerialParams line;
  if (Failed(instrument_.GetSerialParams(&line))) return {};
  std::string place = line.location.empty() ? platform::DeviceOfPort(line.port).value_or(std::string()) : line.location;
  constexpr std::string_view kWindowsFolder = R"(\\.\)";  // precedes the name of a port, which people know without it
  if (place.starts_with(kWindowsFolder)) place.erase(0, kWindowsFolder.size());
  return place.empty() ? "COM" + std::to_string(line.port) + ": " : place + ": ";
}

void Session::ConnectAndAsk() {
  Connect();
  const bool ask = instrument_.card().settings_home != SettingsHome::kHost && !options_.no_config;
  if (!ask || settings_source_ != SettingsSource::kDefaults) return;
  const HRESULT result = instrument_.ReadCfg();
  if (Succeeded(result)) settings_source_ = SettingsSource::kInstrument;
  if (Succeeded(result)) return;
  TakeErrorInfo();
  const std::string why = instrument_.card().settings_can_be_read
                              ? FailureLine(result, Explain(result))
                              : Shown(TextId::kCannotBeAsked, language_, {options_.model});
  std::cerr << "ulix: " << Shown(TextId::kSettingsUnknown, language_, {why}) << '\n';
}

void Session::ReadSettings() {
  if (!instrument_.card().settings_can_be_read)
    throw OperationFailed(E_NOTIMPL, Shown(TextId::kCannotBeAsked, {options_.model}));
  Check(instrument_.ReadCfg());
  settings_source_ = SettingsSource::kInstrument;
}

bool Session::IsKnown(const SettingRow& row) {
  if (instrument_.card().settings_home == SettingsHome::kHost) return true;
  if (settings_source_ == SettingsSource::kOptions) return named_settings_.contains(row.key);
  return settings_source_ != SettingsSource::kDefaults;
}

// What is certain about each channel of the model.
std::vector<CertainTraits> Session::KnownTraits() {
  const bool all = instrument_.card().settings_home == SettingsHome::kHost ||
                   settings_source_ == SettingsSource::kInstrument || settings_source_ == SettingsSource::kFile;
  if (all || settings_source_ == SettingsSource::kDefaults)
    return std::vector(instrument_.card().channels.size(), CertainTraits{.unit = all, .decimals = all, .on = all});
  return CertainTraitsOf(options_.model, instrument_.settings().Snapshot(),
                         [&](const SettingRow& row) { return IsKnown(row); });
}

void Session::ReportUnknownUnits(std::span<const Channel> channels) {
  if (settings_source_ != SettingsSource::kOptions || options_.no_config) return;
  const std::vector<CertainTraits> known = KnownTraits();
  if (std::all_of(channels.begin(), channels.end(), [&](const Channel& channel) { return known[channel.id].all(); }))
    return;
  std::cerr << "ulix: " << Shown(TextId::kSettingsNotNamed, language_) << '\n';
}

std::vector<Channel> Session::Channels() {
  const bool ask = instrument_.card().channels_in_instrument;
  if (ask) Connect();
  if (ask) Check(instrument_.RefreshChannels());
  const std::vector<CertainTraits> known = KnownTraits();
  std::vector<Channel> channels;
  for (ChannelId id = 0; id < instrument_.card().channels.size(); ++id) {
    if (ask && !instrument_.OffersChannel(id)) continue;
    std::string name;
    std::string unit;
    std::int32_t direction = 0;
    std::int16_t resolution = 0;
    Check(instrument_.GetChanName(id, &name));
    Check(instrument_.GetChanDir(id, &direction));
    Check(instrument_.GetChanUnit(id, &unit));
    Check(instrument_.GetChanResol(id, &resolution));
    if (!known[id].unit) unit.clear();
    channels.push_back({id, Shown(name), static_cast<eChanDir>(direction), Shown(unit),
                        known[id].decimals ? resolution : kShortest, instrument_.OffersChannel(id),
                        instrument_.IsChannelOn(id)});
  }
  SwitchOnUnknown(channels, known);
  return channels;
}

std::vector<Channel> Session::WithUnits(std::vector<Channel> channels) {
  const std::vector<CertainTraits> known = KnownTraits();
  for (Channel& channel : channels) {
    std::string unit;
    Check(instrument_.GetChanUnit(channel.id, &unit));
    if (known[channel.id].unit) channel.unit = Shown(unit);
  }
  return channels;
}

void Session::Check(HRESULT result) {
  if (Succeeded(result)) return;
  const ErrorInfo info = TakeErrorInfo();
  std::string text = ErrorText(result);
  if (text.empty() && info.code == result) text = Shown(info.description);
  if (text.empty()) text = Explain(result);
  const platform::OpenFailure failure = instrument_.LinkFailure();
  const bool no_turn = result == E_FAIL && failure.cause == platform::OpenFailureCause::kNoTurn;
  throw OperationFailed(result, no_turn ? text + ": " + CauseOf(failure) : text);
}

std::string Session::Explain(HRESULT code) {
  std::string text = ErrorText(code);
  if (text.empty()) text = SystemText(code, language_);
  if (text.empty()) text = ErrorCodeName(code);
  const auto own = OwnCode(instrument_.card(), code);
  if (text.empty() && IsRecordCode(code)) return Shown(TextId::kOwnRecordCode, language_, {std::to_string(code)});
  return text.empty() && own ? Shown(TextId::kOwnCode, language_, {std::to_string(*own)}) : text;
}

std::string Session::ErrorText(HRESULT code, bool short_text) {
  std::int32_t unknown = 0;
  std::string text;
  instrument_.GetErrorText(code, short_text, &unknown, &text);
  return unknown != 0 ? std::string() : Shown(text);
}

}  // namespace ulix::cli
