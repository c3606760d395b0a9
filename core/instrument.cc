#include "core/instrument.h"

#include <algorithm>
#include <utility>

#include "base/trace.h"
#include "core/error_text.h"
#include "core/instrument_member.h"
#include "core/version.h"
#include "resources/texts.h"

namespace ulix {

Instrument::Instrument(std::unique_ptr<Driver> driver, Options options)
    : control_(std::make_shared<ControlState>(std::move(driver), *options.clock)), options_(options) {}

// When a scan thread was left behind in an exchange, its wait is interrupted. The thread then closes the link.
Instrument::~Instrument() {
  EndGroups();
  Guarded([this] {
    if (control_->driver->IsBusy()) {
      control_->driver->InterruptWaits();
    } else if (connected_) {
      control_->driver->Disconnect();
    }
    return S_OK;
  });
}

const ModelCard& Instrument::card() const { return control_->driver->card(); }
Settings& Instrument::settings() { return control_->driver->settings(); }
EventSinks& Instrument::events() { return control_->sinks; }
bool Instrument::IsDirty() const { return changes_ != saved_changes_; }
void Instrument::MarkDirty() { ++changes_; }

std::string Instrument::DescriptionOf(HRESULT code) const {
  if (code == E_UNEXPECTED) return Localized(TextId::kNotOpened, options_.language);
  if (code == E_INVALIDARG) return Localized(TextId::kInvalidArgument, options_.language);
  const LinkCodes codes = control_->driver->link().codes();
  if (code == codes.unopened && codes.unopened_text) return Localized(*codes.unopened_text, options_.language);
  const ErrorRow* row = FindErrorText(*control_->driver, code);
  return row ? row->long_text.In(options_.language) : std::string();
}

void Instrument::DescribeFailure(HRESULT code) const noexcept {
  ErrorInfo info{.code = code};
  try {
    info.description = DescriptionOf(code);
  } catch (...) {
    info.description.clear();
  }
  SetLastErrorInfo(info);
}

HRESULT Instrument::Version(std::string* version) {
  return Member([&] { return Give(version, VersionText()); });
}

HRESULT Instrument::GetBinVersion(std::uint32_t* version_ms, std::uint32_t* version_ls, std::int32_t* error) {
  return Member([&]() -> HRESULT {
    if (AnyNull(version_ms, version_ls, error)) return E_INVALIDARG;
    *version_ms = FileVersionMS();
    *version_ls = FileVersionLS();
    *error = S_OK;
    return S_OK;
  });
}

HRESULT Instrument::GetDevVersion(std::string* version) { return AskText(version, &Driver::DeviceVersion); }

HRESULT Instrument::GetDevFileVersion(std::string* version) {
  return Member([&] { return Give(version, ""); });
}

HRESULT Instrument::InstrType(std::string* type) {
  return Member([&] { return Give(type, card().display_name.In(options_.language)); });
}

// Deliberate: the published interface has a placeholder here, and hosts show it.
HRESULT Instrument::GetCfgText(std::string* text) {
  return Member([&] {
    TraceLine(card().config_text + std::string("\n"));
    return Give(text, card().config_text);
  });
}

HRESULT Instrument::GetCommInfo(std::string* info) {
  return Member([&] { return Give(info, control_->driver->link().Info(options_.language)); });
}

HRESULT Instrument::ExplKeyNum(std::int16_t* number) {
  return Member([&] { return Give(number, card().expl_key_num); });
}

HRESULT Instrument::GetErrorText(HRESULT error, bool short_text, std::int32_t* unknown, std::string* text) {
  return Member([&]() -> HRESULT {
    if (AnyNull(unknown, text)) return E_INVALIDARG;
    const ErrorRow* row = FindErrorText(*control_->driver, error);
    *unknown = row ? 0 : 1;
    text->clear();
    if (row) *text = short_text ? std::string(row->short_text) : row->long_text.In(options_.language);
    return S_OK;
  });
}

std::string Instrument::ErrorTextIn(Language language, HRESULT error) const {
  const ErrorRow* row = FindErrorText(*control_->driver, error);
  return row ? row->long_text.In(language) : std::string();
}

HRESULT Instrument::GetSerialParams(SerialParams* params) {
  return Member([&]() -> HRESULT {
    if (!params) return E_INVALIDARG;
    const SerialLink* line = control_->driver->link().serial();
    if (!line) return E_NOTIMPL;
    *params = line->params();
    return S_OK;
  });
}

HRESULT Instrument::SetSerialParams(const SerialParams& params) {
  return Member([&]() -> HRESULT {
    if (!CanBeKept(params)) return E_INVALIDARG;
    SerialLink* line = control_->driver->link().serial();
    const HRESULT result = line ? line->ChooseParams(params) : E_NOTIMPL;
    if (Succeeded(result)) MarkDirty();
    return result;
  });
}

HRESULT Instrument::CheckLink() {
  return Member([&] { return control_->driver->link().Check(); });
}

HRESULT Instrument::SetSetPointObject(SetPointObject object) {
  return Member([&] {
    SetPointForwarding* forwarding = control_->driver->set_point_forwarding();
    if (forwarding == nullptr) return E_NOTIMPL;
    forwarding->SetObject(std::move(object));
    return S_OK;
  });
}

HRESULT Instrument::CheckPresence() {
  return Guarded([&] { return control_->driver->Presence(); });
}

HRESULT Instrument::GetNetworkAddress(std::optional<NetworkAddress>* address) {
  return Member([&]() -> HRESULT {
    if (!address) return E_INVALIDARG;
    const NetworkSetting* network = control_->driver->link().network();
    if (!network) return E_NOTIMPL;
    *address = network->address();
    return S_OK;
  });
}

HRESULT Instrument::SetNetworkAddress(const std::optional<NetworkAddress>& address) {
  return Member([&]() -> HRESULT {
    NetworkSetting* network = control_->driver->link().network();
    if (!network) return E_NOTIMPL;
    network->SetAddress(address);
    MarkDirty();
    return S_OK;
  });
}

std::span<const std::uint32_t> Instrument::BaudRates() const {
  const SerialLink* line = control_->driver->link().serial();
  return line ? line->baud_rates() : kBaudRates;
}

SessionStatistics Instrument::Statistics() const { return control_->driver->statistics(); }

HRESULT Instrument::Connect() {
  return Member([&]() -> HRESULT {
    if (connected_) return S_OK;
    auto wait = options_.user_interface ? options_.user_interface->ShowWait() : nullptr;
    const auto connected = control_->driver->Connect();
    wait.reset();
    connected_ = connected.value_or(false);
    const auto warning = control_->driver->TakeWarning();
    if (warning && options_.user_interface)
      options_.user_interface->Warn(*this, Localized(*warning, options_.language));
    if (!connected) FireFailure(*control_, connected.error());
    return CodeOf(connected);
  });
}

HRESULT Instrument::Disconnect() {
  return Member([&]() -> HRESULT {
    EndGroups();
    control_->driver->Disconnect();
    connected_ = false;
    return S_OK;
  });
}

HRESULT Instrument::IsConnected(std::int32_t* connected) {
  return Member([&] { return Give(connected, connected_ ? 1 : 0); });
}

// On failure the text is empty.
HRESULT Instrument::AskText(std::string* text, Expected<std::string> (Driver::*ask)()) {
  return Member([&]() -> HRESULT {
    if (!text) return E_INVALIDARG;
    text->clear();
    if (!connected_) return E_UNEXPECTED;
    const auto reply = (*control_->driver.*ask)();
    if (reply) *text = *reply;
    return CodeOf(reply);
  });
}

platform::OpenFailure Instrument::LinkFailure() const { return control_->driver->link().open_failure(); }

HRESULT Instrument::RawQuery(std::string_view text, std::string* reply) {
  return Member([&]() -> HRESULT {
    if (reply) reply->clear();
    if (!connected_) return E_UNEXPECTED;
    if (!reply) return control_->driver->RawCommand(text);
    auto answer = control_->driver->RawQuery(text);
    if (answer) *reply = std::move(*answer);
    return CodeOf(answer);
  });
}

HRESULT Instrument::Identify(std::string* identification) { return AskText(identification, &Driver::Identify); }

HRESULT Instrument::SendCfg() {
  return WhenConnected([&] {
    ProgramTransfer* program = control_->driver->program();
    return program ? SendOwnProgram(*program) : control_->driver->SendCfg();
  });
}

HRESULT Instrument::ReadCfg() {
  return WhenConnected([&] {
    ProgramTransfer* program = control_->driver->program();
    const HRESULT result = program ? ReadOwnProgram(*program) : control_->driver->ReadCfg();
    if (Succeeded(result)) MarkDirty();
    return result;
  });
}

HRESULT Instrument::Run() {
  return WhenConnected([&] {
    const SettingsWatch watch(*this);
    return control_->driver->Run();
  });
}

HRESULT Instrument::Stop() {
  return WhenConnected([&] { return control_->driver->Stop(); });
}

HRESULT Instrument::GetDevStatus(std::uint32_t* status) {
  return Member([&] { return Give(status, 0U); });
}

HRESULT Instrument::UseConnected(std::int32_t* use_connected) {
  return Member([&] { return Give(use_connected, 0); });
}

HRESULT Instrument::EditGroup(std::uint32_t group, std::int32_t* result) {
  if (result && !FindGroup(group)) {
    return Member([] { return E_INVALIDARG; });
  }
  return AskUser(result, [&](UserInterface& ui) { return ui.EditGroup(*this, group); });
}

HRESULT Instrument::EditOutChans(std::int32_t* result) {
  return AskUser(result, [&](UserInterface& ui) { return ui.EditOutChans(*this); });
}

HRESULT Instrument::EditCommParams(std::int32_t* result) {
  return AskUser(result, [&](UserInterface& ui) { return ui.EditCommParams(*this); });
}

HRESULT Instrument::EditCfg(std::int32_t* result) {
  return AskUser(result, [&](UserInterface& ui) { return ui.EditCfg(*this); });
}

HRESULT Instrument::ShowProperties() {
  return Member([&] {
    if (options_.user_interface) options_.user_interface->ShowProperties(*this);
    return S_OK;
  });
}

}  // namespace ulix
