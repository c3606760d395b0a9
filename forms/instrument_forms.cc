#include "forms/instrument_forms.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>

#include "base/numbers.h"
#include "forms/entries.h"
#include "links/local_number.h"
#include "links/port_enumeration.h"
#include "links/serial_params.h"
#include "resources/texts.h"

namespace ulix {
namespace {

constexpr std::int32_t kMaxPort = 32767;  // The configuration stream stores the port in 16 bits with sign.

Field MakeField(const char* key, std::string label, FieldKind kind, std::string value) {
  Field field;
  field.key = key;
  field.label = std::move(label);
  field.kind = kind;
  field.value = std::move(value);
  return field;
}

Field Shown(const char* key, std::string label, std::string value) {
  return MakeField(key, std::move(label), FieldKind::kShown, std::move(value));
}

// A field with the choice number `chosen`, or with `otherwise` when there is no such choice.
Field Choice(const char* key, std::string label, std::vector<std::string> choices, std::size_t chosen,
             std::size_t otherwise) {
  Field field =
      MakeField(key, std::move(label), FieldKind::kChoice, choices[chosen < choices.size() ? chosen : otherwise]);
  field.choices = std::move(choices);
  return field;
}

std::string DisplayName(Instrument& instrument, Language language) {
  return instrument.card().display_name.In(language);
}

std::string TitleOf(Instrument& instrument, const std::string& what, Language language) {
  return DisplayName(instrument, language) + " - " + what;
}

// The instrument's identity, when it is connected.
Field IdentificationField(Instrument& instrument, Language language) {
  std::string text = Localized(TextId::kNoInstrument, language);
  std::int32_t connected = 0;
  instrument.IsConnected(&connected);
  if (connected) instrument.Identify(&text);
  return Shown("identification", Localized(TextId::kIdentification, language), text);
}

constexpr std::size_t kMaxQuoted = 20;  // How many characters of an entry a refusal repeats.

// The entries of a page, and the refusals of its fields.
struct EnteredPage {
  const Page& page;
  std::size_t number;
  Language language;

  const Field& At(std::size_t field) const { return page.fields[field]; }
  Refusal Refuse(std::size_t field, std::string reason) const { return {number, field, std::move(reason)}; }
  Refusal RefuseAs(std::size_t field, TextId reason) const { return Refuse(field, Localized(reason, language)); }
  Refusal RefuseNumber(std::size_t field, double min, double max) const {
    if (!EnteredNumber(At(field).value)) return RefuseAs(field, TextId::kNotANumber);
    if (Number(field, min, max)) return RefuseAs(field, TextId::kNotWhole);
    const std::string entered(Trimmed(At(field).value).substr(0, kMaxQuoted));
    return Refuse(field, Localized(TextId::kOutOfRange, language,
                                   {At(field).label, entered, ShownNumber(min), ShownNumber(max)}));
  }
  // The number in a field. None if the text is not a number, or the number is outside the limits.
  std::optional<double> Number(std::size_t field, double min, double max) const {
    const auto value = EnteredNumber(page.fields[field].value);
    return value && *value >= min && *value <= max ? value : std::nullopt;
  }
  std::optional<double> Whole(std::size_t field, double min, double max) const {
    const auto value = Number(field, min, max);
    return value && *value == std::floor(*value) ? value : std::nullopt;
  }
};

// --- the link ---

// The fields of the page about a serial link: those of LineFields(), then those of the network.
enum CommField {
  kPortField,
  kSpeedField,
  kDataBitsField,
  kStopBitsField,
  kParityField,
  kFlowField,
  kHostField,
  kTcpPortField
};
constexpr std::int32_t kMaxTcpPort = 65535;

// The entries about the link. `network` is set for models that can be on a network; without an address they are on the
// serial line.
struct CommEntry {
  SerialParams line;
  std::optional<std::optional<NetworkAddress>> network;
};

std::string PortName(int port) { return "COM" + std::to_string(port); }

// The number in "COM5", "com 5" or "5".
std::optional<std::int32_t> PortOf(const std::string& entered) {
  std::string_view text = Trimmed(entered);
  if (text.size() >= 3 && EqualIgnoringCase(text.substr(0, 3), "COM")) text = Trimmed(text.substr(3));
  std::int32_t port = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), port);
  const bool whole = read.ec == std::errc() && read.ptr == text.data() + text.size();
  return whole && port >= 1 && port <= kMaxPort ? std::optional(port) : std::nullopt;
}

Field PortField(const SerialParams& params, Language language) {
  Field field = MakeField(LineFields()[kPortField].key, Localized(TextId::kPort, language), FieldKind::kOpenList,
                          PortName(params.port));
  std::vector<int> ports;
  EnumSerialPorts(ports);
  for (const int port : ports) field.choices.push_back(PortName(port));
  return field;
}

std::size_t PlaceOf(std::span<const std::uint32_t> rates, std::uint32_t rate) {
  return static_cast<std::size_t>(std::find(rates.begin(), rates.end(), rate) - rates.begin());
}

// The baud rates of the model. A rate that is not listed is shown as 9600, or as the first one when 9600 is not listed.
Field SpeedField(std::span<const std::uint32_t> rates, std::uint32_t rate, Language language) {
  std::vector<std::string> texts;
  for (const std::uint32_t listed : rates) texts.push_back(std::to_string(listed));
  const std::size_t usual = PlaceOf(rates, SerialParams().baudRate);
  Field field = Choice(LineFields()[kSpeedField].key, Localized(TextId::kSpeed, language), std::move(texts),
                       PlaceOf(rates, rate), usual < rates.size() ? usual : 0);
  field.unit = "bds";
  return field;
}

// A code that is not listed is shown as the code that the link uses in its place.
Field CodeField(const LineField& line, const SerialParams& params, Language language) {
  std::vector<std::string> texts;
  for (std::size_t code = 0; code < line.codes.size(); ++code) {
    texts.push_back(TextOf(line, static_cast<std::int64_t>(code), language));
  }
  return Choice(line.key, Localized(line.label, language), std::move(texts),
                static_cast<std::size_t>(NumberIn(params, line)), static_cast<std::size_t>(line.otherwise));
}

// Adds the fields of the network. With a host name the instrument is on the network, without one on the serial line.
void AddNetwork(Instrument& instrument, Language language, Page& page) {
  std::optional<NetworkAddress> address;
  if (Failed(instrument.GetNetworkAddress(&address))) return;
  const NetworkAddress shown = address.value_or(NetworkAddress());
  page.fields.push_back(MakeField("host", Localized(TextId::kHost, language), FieldKind::kText, shown.host));
  page.fields.push_back(
      MakeField("tcp-port", Localized(TextId::kTcpPort, language), FieldKind::kNumber, std::to_string(shown.port)));
}

// Adds the fields of the serial line, in the order of CommField. Adds none for an instrument without a serial line.
void AddLine(Instrument& instrument, Language language, Page& page) {
  SerialParams params;
  if (Failed(instrument.GetSerialParams(&params))) return;
  for (const LineField& field : LineFields()) {
    page.fields.push_back(page.fields.size() == kPortField ? PortField(params, language)
                          : page.fields.size() == kSpeedField
                              ? SpeedField(instrument.BaudRates(), params.baudRate, language)
                              : CodeField(field, params, language));
  }
  AddNetwork(instrument, language, page);
}

bool IsOnLine(const Page& page) { return page.fields.size() > kFlowField && page.fields[kPortField].key == "port"; }

std::optional<Refusal> ReadNetwork(const EnteredPage& entered, CommEntry& entry) {
  const auto& fields = entered.page.fields;
  if (fields.size() <= kTcpPortField || fields[kHostField].key != "host") return std::nullopt;
  const auto port = entered.Whole(kTcpPortField, 1, kMaxTcpPort);
  if (!port) return entered.RefuseNumber(kTcpPortField, 1, kMaxTcpPort);
  const std::string host(Trimmed(fields[kHostField].value));
  entry.network.emplace();
  if (!host.empty()) *entry.network = NetworkAddress{host, static_cast<std::int32_t>(*port)};
  return std::nullopt;
}

std::optional<Refusal> ReadComm(Instrument& instrument, const EnteredPage& entered, CommEntry& entry) {
  const auto& fields = entered.page.fields;
  if (!IsOnLine(entered.page)) return std::nullopt;
  const auto port = PortOf(fields[kPortField].value);
  if (!port) {
    return entered.Refuse(kPortField, Localized(TextId::kPortRange, entered.language,
                                                {entered.At(kPortField).label, PortName(kMaxPort)}));
  }
  entry.line.port = *port;
  for (std::size_t k = kSpeedField; k <= kFlowField; ++k) {
    const auto choice = ChoiceOf(fields[k]);
    if (!choice) return entered.RefuseAs(k, TextId::kNotAChoice);
    const auto number =
        k == kSpeedField ? std::int64_t{instrument.BaudRates()[*choice]} : static_cast<std::int64_t>(*choice);
    SetNumber(entry.line, LineFields()[k], number);
  }
  return ReadNetwork(entered, entry);
}

// Sets the link in the instrument. A refusal of the instrument is shown at the page's first field.
std::optional<Refusal> SetComm(Instrument& instrument, const EnteredPage& entered, const CommEntry& entry) {
  if (!IsOnLine(entered.page)) return std::nullopt;
  HRESULT result = instrument.SetSerialParams(entry.line);
  if (Succeeded(result) && entry.network) result = instrument.SetNetworkAddress(*entry.network);
  return Failed(result) ? std::optional(entered.Refuse(kPortField, instrument.DescriptionOf(result))) : std::nullopt;
}

// --- the configuration record ---

// The N of a key "channel.N.rest"; empty for any other key.
std::string_view ChannelOfKey(std::string_view key) {
  constexpr std::string_view kPrefix = "channel.";
  if (!key.starts_with(kPrefix)) return {};
  key.remove_prefix(kPrefix.size());
  return key.substr(0, key.find('.'));
}

constexpr const char* kNoneCode = "0";  // The code of a setting to which none of its labels applies.

bool HasFraction(const SettingRow& row) { return row.type == VariantType::kR4; }

// The row of the setting that `row` depends on. Null if it depends on none.
const SettingRow* OtherOf(const Settings& record, const SettingRow& row) {
  return row.depends ? record.Find(row.depends->on) : nullptr;
}

// Whether a code can be chosen together with the other settings of the record.
bool IsOffered(const Settings& record, const SettingRow& row, std::uint32_t code) {
  const SettingRow* other = OtherOf(record, row);
  return !other || row.depends->Has(CodeIn(*record.Current(), *other), code);
}

bool MeansSomething(const Settings& record, const SettingRow& row) {
  const SettingRow* other = OtherOf(record, row);
  return !other || row.depends->MeansSomething(CodeIn(*record.Current(), *other));
}

// The labels that can be chosen together with the other settings of the record. "None" comes first if it is a choice
// too.
std::vector<std::string> ChoicesBeside(const Settings& record, const SettingRow& row, Language language) {
  std::vector<std::string> choices;
  const bool means_something = MeansSomething(record, row);
  const bool may_be_none =
      row.depends && means_something && IsOffered(record, row, 0) && LabelOf(row.labels, 0).empty();
  if (!means_something || may_be_none) choices.push_back(Localized(TextId::kNoChoice, language));
  for (const EnumLabel& label : row.labels) {
    if (IsOffered(record, row, label.code)) choices.push_back(label.In(language));
  }
  return choices;
}

// The shown value of the setting on which the choices of a row depend.
std::string ShownOfOther(const Settings& record, const SettingRow& row, Language language) {
  const SettingRow* other = OtherOf(record, row);
  return other ? record.TextOf(*other, language) : std::string();
}

void MakeChoice(const Settings& record, const SettingRow& row, Language language, Field& field) {
  field.kind = FieldKind::kChoice;
  field.choices = ChoicesBeside(record, row, language);
  field.beside = ShownOfOther(record, row, language);
  if (!MeansSomething(record, row)) field.value = field.choices.front();
  if (ChoiceOf(field)) return;
  // A code that is not a choice is shown as long as it is set.
  if (field.value == kNoneCode) field.value = Localized(TextId::kNoChoice, language);
  field.choices.insert(field.choices.begin(), field.value);
}

Field SettingField(Instrument& instrument, const SettingRow& row, Language language) {
  const Settings& settings = instrument.settings();
  Field field = MakeField(row.key, row.label.In(language), FieldKind::kNumber, settings.TextOf(row, language));
  if (HasFraction(row)) field.value = ToLocalDecimal(field.value, '.');
  if (row.type == VariantType::kBstr) field.kind = FieldKind::kText;
  if (auto question = instrument.FileQuestionOf(row)) {
    field.kind = FieldKind::kFile;
    field.file = std::move(*question);
  }
  if (!row.labels.empty()) MakeChoice(settings, row, language, field);
  return field;
}

bool IsOfLink(Instrument& instrument, const SettingRow& row) {
  const auto keys = instrument.card().link_settings;
  return std::any_of(keys.begin(), keys.end(), [&](const char* key) { return std::string_view(key) == row.key; });
}

// Adds the settings of the USB link, whether its helper library was found, and the device.
void AddUsb(Instrument& instrument, Language language, Page& page) {
  if (instrument.card().link != LinkKind::kUsb) return;
  const bool found = Succeeded(instrument.CheckLink());
  page.fields.push_back(Shown("", Localized(TextId::kUsbLibrary, language),
                              Localized(found ? TextId::kFound : TextId::kNotFound, language)));
  page.fields.push_back(IdentificationField(instrument, language));
}

// The fields of the line, then the settings that belong to the link.
Page CommPage(Instrument& instrument, Language language) {
  Page page{Localized(TextId::kCommunication, language), {}};
  AddLine(instrument, language, page);
  for (const SettingRow& row : instrument.settings().rows()) {
    if (IsOfLink(instrument, row)) page.fields.push_back(SettingField(instrument, row, language));
  }
  AddUsb(instrument, language, page);
  if (page.fields.empty()) page.fields.push_back(Shown("", Localized(TextId::kNothingToSet, language), ""));
  return page;
}

// Removes "Channel 3: " from a label, because the page's title has it.
void DropChannel(std::string& label) {
  const std::size_t end = label.find(": ");
  if (end == std::string::npos) return;
  label.erase(0, end + 2);
  if (!label.empty()) label[0] = AsciiUpper(label.substr(0, 1))[0];
}

std::vector<Page> CfgPages(Instrument& instrument, Language language) {
  std::vector<Page> pages;
  std::string_view channel = "-";
  for (const SettingRow& row : instrument.settings().rows()) {
    if (IsOfLink(instrument, row)) continue;
    const std::string_view own = ChannelOfKey(row.key);
    if (pages.empty() || own != channel) {
      pages.push_back({own.empty() ? Localized(TextId::kConfiguration, language)
                                   : Localized(TextId::kChannel, language, {std::string(own)}),
                       {}});
      channel = own;
    }
    pages.back().fields.push_back(SettingField(instrument, row, language));
    if (!own.empty()) DropChannel(pages.back().fields.back().label);
  }
  if (pages.empty()) {
    pages.push_back(
        {Localized(TextId::kConfiguration, language), {Shown("", Localized(TextId::kNothingToSet, language), "")}});
  }
  return pages;
}

// The smallest and the largest number that a setting can store.
std::pair<double, double> Limits(const SettingRow& row) {
  if (HasFraction(row)) return {-double{std::numeric_limits<float>::max()}, std::numeric_limits<float>::max()};
  if (row.is_signed) return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
  return {0.0, std::exp2(row.bits) - 1};
}

// The record's text for an entry: a shown choice becomes its label's name.
std::string WordOfShown(const SettingRow& row, const std::string& entered, Language language) {
  const auto found = std::find_if(row.labels.begin(), row.labels.end(),
                                  [&](const EnumLabel& word) { return EqualIgnoringCase(word.In(language), entered); });
  if (found != row.labels.end()) return found->name;
  return entered == Localized(TextId::kNoChoice, language) ? kNoneCode : entered;
}

// Stores an entry in a record; false when the setting refuses it. A setting that has no meaning with the other settings
// is left unchanged.
bool Enter(Settings& record, const SettingRow& row, const Field& field, Language language) {
  if (!MeansSomething(record, row) && field.value == Localized(TextId::kNoChoice, language)) return true;
  if (field.kind != FieldKind::kNumber) return Succeeded(record.SetText(row, WordOfShown(row, field.value, language)));
  const auto value = EnteredNumber(field.value);
  const auto [min, max] = Limits(row);
  if (!value || *value < min || *value > max) return false;
  if (!HasFraction(row) && *value != std::floor(*value)) return false;
  const std::string text = HasFraction(row) ? FormatShortest(static_cast<float>(*value)) : FormatFixed(*value, 0);
  return Succeeded(record.SetText(row, text));
}

// Updates the choices of a field when the value that they depend on has changed; true when it has. The chosen value is
// kept where it is still a choice.
bool AdaptField(const Settings& record, const SettingRow& row, Language language, Field& field) {
  const std::string beside = ShownOfOther(record, row, language);
  if (!row.depends || field.beside == beside) return false;
  field.beside = beside;
  field.choices = ChoicesBeside(record, row, language);
  if (!ChoiceOf(field)) field.value = record.TextOf(row, language);
  if (!ChoiceOf(field)) field.value = field.choices.front();
  return true;
}

// Adapts each choice once. This is enough, because a setting comes after the one that it depends on.
bool AdaptChoices(Instrument& instrument, Form& form, Language language) {
  Settings record(instrument.settings().rows());
  record.Replace(instrument.settings().Snapshot());
  bool changed = false;
  for (Page& page : form.pages) {
    for (Field& field : page.fields) {
      const SettingRow* row = field.kind == FieldKind::kChoice ? record.Find(field.key) : nullptr;
      if (!row) continue;
      if (AdaptField(record, *row, language, field)) changed = true;
      Enter(record, *row, field, language);
    }
  }
  return changed;
}

// Whether the entries are only checked, or also set in the instrument.
enum class Extent { kCheck, kGive };

// Why a chosen file is refused; none for a good file and for one that does not exist yet.
std::optional<std::string> FileReason(Instrument& instrument, const Field& field) {
  const bool chosen = field.kind == FieldKind::kFile && field.value != field.file.suggested;
  if (!chosen || !std::ifstream(field.value).good()) return std::nullopt;
  std::uint32_t records = 0;
  const HRESULT result = instrument.CheckProgram(field.value, &records);
  return Failed(result) ? std::optional(instrument.DescriptionOf(result)) : std::nullopt;
}

// Checks or sets the fields of `form` that are settings.
std::optional<Refusal> ApplyCfg(Instrument& instrument, const Form& form, Language language, Extent extent) {
  Settings record(instrument.settings().rows());
  const auto before = instrument.settings().Snapshot();
  record.Replace(before);
  for (std::size_t p = 0; p < form.pages.size(); ++p) {
    const EnteredPage entered{form.pages[p], p, language};
    for (std::size_t k = 0; k < entered.page.fields.size(); ++k) {
      const Field& field = entered.page.fields[k];
      const SettingRow* row = field.kind == FieldKind::kShown ? nullptr : record.Find(field.key);
      if (const auto reason = FileReason(instrument, field)) return entered.Refuse(k, *reason);
      if (!row || Enter(record, *row, field, language)) continue;
      const auto [min, max] = Limits(*row);
      return field.kind == FieldKind::kNumber ? entered.RefuseNumber(k, min, max)
                                              : entered.RefuseAs(k, TextId::kNotAChoice);
    }
  }
  if (extent == Extent::kGive && record.Snapshot() != before) {
    instrument.settings().Replace(record.Snapshot());
    instrument.MarkDirty();
  }
  return std::nullopt;
}

// Checks or sets the link, on the form's first page, and the settings.
std::optional<Refusal> ApplyAll(Instrument& instrument, const Form& form, Language language, Extent extent) {
  CommEntry entry;
  const EnteredPage entered{form.pages.front(), 0, language};
  auto refusal = ReadComm(instrument, entered, entry);
  if (!refusal) refusal = ApplyCfg(instrument, form, language, extent);
  return refusal || extent == Extent::kCheck ? refusal : SetComm(instrument, entered, entry);
}

// Makes the form's check and apply functions from `take`.
template <typename Take>
void TakeWith(Form& form, Instrument& instrument, Language language, Take* take) {
  form.adapt = [&instrument, language](Form& entered) { return AdaptChoices(instrument, entered, language); };
  form.apply = [&instrument, language, take](const Form& entered) {
    return take(instrument, entered, language, Extent::kGive);
  };
  form.check = [&instrument, language, take](const Form& entered) {
    return take(instrument, entered, language, Extent::kCheck);
  };
}

// --- groups ---

// The fields of the page about a group, in order. The channels are on the next page.
enum GroupField { kGroupName, kPeriod, kPercent, kAbsolute, kDeadTime };

std::string ChannelKey(ChannelId id) { return "channel." + std::to_string(id); }

std::string ChannelLabel(Instrument& instrument, ChannelId id) {
  std::string name, unit;
  instrument.GetChanName(id, &name);
  instrument.GetChanUnit(id, &unit);
  return unit.empty() ? name : name + " (" + unit + ")";
}

Page GroupPage(const GroupSettings& settings, std::uint32_t group, Language language) {
  const auto number = [&](const char* key, TextId label, double value, const char* unit) {
    Field field = MakeField(key, Localized(label, language), FieldKind::kNumber, ShownNumber(value));
    field.unit = unit;
    return field;
  };
  return {
      Localized(TextId::kGeneral, language),
      {Shown("name", Localized(TextId::kName, language), Localized(TextId::kGroup, language, {std::to_string(group)})),
       number("period", TextId::kPeriod, settings.period_ms, "ms"),
       number("dead-band", TextId::kDeadBandPercent, settings.dead_band_percent, "%"),
       number("dead-band-abs", TextId::kDeadBandAbs, settings.dead_band_abs, ""),
       number("dead-time-max", TextId::kDeadTimeMax, settings.dead_time_max_s, "s")}};
}

Page MembersPage(Instrument& instrument, std::uint32_t group, Language language) {
  Page page{Localized(TextId::kChannels, language), {}};
  std::vector<ChannelId> members;
  instrument.InChans(group, &members);
  for (ChannelId id = 0; id < instrument.card().channels.size(); ++id) {
    if (instrument.card().channels[id].direction == ChanOut || !instrument.OffersChannel(id)) continue;
    const bool member = std::find(members.begin(), members.end(), id) != members.end();
    page.fields.push_back(
        MakeField(ChannelKey(id).c_str(), ChannelLabel(instrument, id), FieldKind::kCheckBox, member ? "1" : ""));
  }
  return page;
}

std::optional<Refusal> ApplyGroup(Instrument& instrument, std::uint32_t group, const Form& form, Language language) {
  const EnteredPage entered{form.pages.front(), 0, language};
  constexpr double kMaxWhole = std::numeric_limits<std::uint32_t>::max();
  constexpr double kMaxReal = std::numeric_limits<float>::max();
  const struct {
    std::size_t field;
    double min, max;
    std::optional<double> (EnteredPage::*read)(std::size_t, double, double) const;
  } limits[] = {{kPeriod, kShortestPeriodMs, kMaxWhole, &EnteredPage::Whole},
                {kPercent, 0, kMaxReal, &EnteredPage::Number},
                {kAbsolute, 0, kMaxReal, &EnteredPage::Number},
                {kDeadTime, 0, kMaxWhole, &EnteredPage::Whole}};
  for (const auto& limit : limits) {
    if (!(entered.*limit.read)(limit.field, limit.min, limit.max))
      return entered.RefuseNumber(limit.field, limit.min, limit.max);
  }
  const auto number = [&](std::size_t field) { return EnteredNumber(entered.page.fields[field].value).value_or(0); };
  const GroupSettings settings{static_cast<std::uint32_t>(number(kPeriod)), static_cast<float>(number(kPercent)),
                               static_cast<float>(number(kAbsolute)), static_cast<std::uint32_t>(number(kDeadTime))};
  if (const HRESULT result = instrument.SetGroupSettings(group, settings); Failed(result))
    return entered.Refuse(kPeriod, instrument.DescriptionOf(result));
  for (const Field& field : form.pages.back().fields) {
    const auto id = static_cast<ChannelId>(std::stoul(field.key.substr(field.key.find('.') + 1)));
    field.value.empty() ? instrument.RemoveGroupChan(group, id) : instrument.ConnectGroupChan(group, id);
  }
  return std::nullopt;
}

// --- outputs ---

std::optional<Refusal> ApplyOutputs(Instrument& instrument, const std::vector<ChannelId>& outputs, const Form& form,
                                    Language language) {
  const EnteredPage entered{form.pages.front(), 0, language};
  constexpr double kLargest = std::numeric_limits<float>::max();
  const auto is_left = [&](std::size_t k) { return Trimmed(entered.page.fields[k].value).empty(); };
  for (std::size_t k = 0; k < outputs.size(); ++k) {
    if (!is_left(k) && !entered.Number(k, -kLargest, kLargest)) return entered.RefuseNumber(k, -kLargest, kLargest);
  }
  for (std::size_t k = 0; k < outputs.size(); ++k) {
    if (is_left(k)) continue;
    const HRESULT result = instrument.SetChanVal(outputs[k], Value(*entered.Number(k, -kLargest, kLargest)));
    if (Failed(result))
      return entered.Refuse(k, Localized(TextId::kNotTaken, language, {instrument.DescriptionOf(result)}));
  }
  return std::nullopt;
}

Page AboutPage(Instrument& instrument, Language language) {
  std::string version, link;
  instrument.Version(&version);
  instrument.GetCommInfo(&link);
  return {Localized(TextId::kAbout, language),
          {Shown("model", Localized(TextId::kModel, language), DisplayName(instrument, language)),
           Shown("version", Localized(TextId::kLibraryVersion, language), version),
           IdentificationField(instrument, language), Shown("link", Localized(TextId::kLink, language), link)}};
}

}  // namespace

Field* FindField(Form& form, const std::string& key) {
  for (Page& page : form.pages) {
    const auto found = std::find_if(page.fields.begin(), page.fields.end(),
                                    [&](const Field& field) { return EqualIgnoringCase(field.key, key); });
    if (found != page.fields.end()) return &*found;
  }
  return nullptr;
}

Form CommForm(Instrument& instrument, Language language) {
  Form form{TitleOf(instrument, Localized(TextId::kCommunication, language), language),
            {CommPage(instrument, language)},
            {},
            {}};
  TakeWith(form, instrument, language, ApplyAll);
  return form;
}

Form CfgForm(Instrument& instrument, Language language) {
  Form form{TitleOf(instrument, Localized(TextId::kConfiguration, language), language),
            CfgPages(instrument, language),
            {},
            {}};
  TakeWith(form, instrument, language, ApplyCfg);
  return form;
}

Form GroupForm(Instrument& instrument, std::uint32_t group, Language language) {
  GroupSettings settings;
  instrument.GetGroupSettings(group, &settings);
  return {TitleOf(instrument, Localized(TextId::kGroup, language, {std::to_string(group)}), language),
          {GroupPage(settings, group, language), MembersPage(instrument, group, language)},
          [&instrument, group, language](const Form& form) { return ApplyGroup(instrument, group, form, language); }};
}

Form OutChansForm(Instrument& instrument, Language language) {
  std::vector<ChannelId> outputs;
  instrument.OutChans(&outputs);
  Page page{Localized(TextId::kOutputs, language), {}};
  for (const ChannelId id : outputs) {
    page.fields.push_back(MakeField(ChannelKey(id).c_str(), ChannelLabel(instrument, id), FieldKind::kNumber, ""));
  }
  return {TitleOf(instrument, page.title, language), {page}, [&instrument, outputs, language](const Form& form) {
            return ApplyOutputs(instrument, outputs, form, language);
          }};
}

Form AboutForm(Instrument& instrument, Language language) {
  return {TitleOf(instrument, Localized(TextId::kAbout, language), language), {AboutPage(instrument, language)}, {}};
}

Form PropertiesForm(Instrument& instrument, Language language) {
  Form form{DisplayName(instrument, language), {CommPage(instrument, language)}, {}};
  const std::vector<Page> settings = CfgPages(instrument, language);
  form.pages.insert(form.pages.end(), settings.begin(), settings.end());
  form.pages.push_back(AboutPage(instrument, language));
  TakeWith(form, instrument, language, ApplyAll);
  return form;
}

}  // namespace ulix
