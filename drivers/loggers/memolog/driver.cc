#include "drivers/loggers/memolog/driver.h"

#include <array>
#include <bit>
#include <cmath>
#include <utility>

#include "drivers/loggers/memolog/tables.h"

namespace ulix::memolog {
namespace {

constexpr ModbusProfile kProfile = {
    .exceptions = {.function = memologCtlErrMbusFct, .address = memologCtlErrMbusAddr, .data = memologCtlErrMbusData},
    .baud_rates = kRates,
};

constexpr int kUnknownResolution = 6;

}  // namespace

MemologDriver::MemologDriver(DriverServices services) : ModbusDriver(kCard, kProfile, std::move(services)) {}

std::uint8_t MemologDriver::Slave() const {
  return static_cast<std::uint8_t>(CodeIn(*settings().Current(), kSettings[kSlave]));
}

HRESULT MemologDriver::Greet() {
  ForgetProgram();
  return CodeOf(AskIdentification());
}

Expected<std::string> MemologDriver::AskIdentification() {
  auto text = Mailbox(client()).AskText("*IDN?");
  if (text && !IsMemolog(*text)) return Failure(memologCtlErrNotMemolog);
  return text;
}

Expected<std::string> MemologDriver::Identify() {
  return Exchange([this](ModbusClient&) { return AskIdentification(); });
}

Expected<std::string> MemologDriver::AskText(std::string_view command) {
  return Exchange([&](ModbusClient& client) { return Mailbox(client).AskText(command); });
}

HRESULT MemologDriver::Tell(Command command, const Words& data) {
  return Exchange([&](ModbusClient& client) { return Mailbox(client).Tell(command, data); });
}

Expected<Words> MemologDriver::Ask(Command command, const Words& data, std::size_t at_once) {
  return Exchange([&](ModbusClient& client) -> Expected<Words> {
    if (sending_) return Failure(memologCtlErrMemLocked);
    return Mailbox(client).Ask(command, data, at_once);
  });
}

Expected<std::uint16_t> MemologDriver::ReadRegister(std::uint16_t address) {
  return Exchange([=](ModbusClient& client) { return client.ReadOne(address); });
}

HRESULT MemologDriver::WriteRegister(std::uint16_t address, std::uint16_t value) {
  return Exchange([=](ModbusClient& client) { return client.WriteOne(address, value); });
}

Expected<std::string> MemologDriver::DeviceVersion() {
  auto identification = Identify();
  if (!identification) return identification;
  auto name = AskText("NOMPROG?");
  if (!name) return name;
  return VersionText(*identification, *name);
}

std::string MemologDriver::CommInfo(Language) const {
  const Params way = params();
  const std::string slave = "#" + std::to_string(Slave());
  if (way.on_network) return "Ethernet:MEMOLOG@" + way.network.host + slave;
  return "COM " + std::to_string(way.line.port) + ":MEMOLOG" + slave + " (" + std::to_string(way.line.baudRate) +
         " bds)";
}

MemologDriver::ProgramPointer MemologDriver::CachedProgram() const {
  const std::lock_guard lock(program_mutex_);
  return program_;
}

void MemologDriver::ForgetProgram() {
  const std::lock_guard exchange(exchange_mutex_);
  const std::lock_guard lock(program_mutex_);
  program_ = nullptr;
  ++forgotten_;
}

Expected<MemologDriver::ProgramPointer> MemologDriver::KnownProgram() {
  if (auto known = CachedProgram()) return known;
  if (!LinkIsOpen()) return std::make_shared<const Program>();
  return LoadProgram();
}

Expected<MemologDriver::ProgramPointer> MemologDriver::LoadProgram() {
  return ReadRecords([](const ProgramRecord&, std::uint32_t, std::uint32_t) { return S_OK; });
}

const ChannelRecord* MemologDriver::ChannelOf(const ProgramPointer& program, ChannelId id) {
  if (!program) return nullptr;
  const auto found = program->channels.find(id);
  return found == program->channels.end() ? nullptr : &found->second;
}

bool MemologDriver::OffersChannel(ChannelId id) const {
  const auto program = CachedProgram();
  const ChannelRecord* channel = ChannelOf(program, id);
  return channel != nullptr && IsListed(*channel);
}

std::string MemologDriver::ChannelName(ChannelId id) const {
  const auto program = CachedProgram();
  const ChannelRecord* channel = ChannelOf(program, id);
  return channel == nullptr || channel->name.empty() ? card().channels[id].name : channel->name;
}

std::string MemologDriver::ChannelUnit(ChannelId id) const {
  const auto program = CachedProgram();
  const ChannelRecord* channel = ChannelOf(program, id);
  return channel == nullptr ? "" : channel->unit;
}

int MemologDriver::ChannelResolution(ChannelId id) const {
  const auto program = CachedProgram();
  const ChannelRecord* channel = ChannelOf(program, id);
  return channel == nullptr ? kUnknownResolution : channel->resolution;
}

ChannelLimit MemologDriver::Limit(ChannelId id, int index) const {
  const auto program = CachedProgram();
  const ChannelRecord* channel = ChannelOf(program, id);
  const bool known = channel != nullptr && index >= 0 && index < static_cast<int>(channel->limits.size());
  return known ? LimitOf(channel->limits[static_cast<std::size_t>(index)]) : ChannelLimit();
}

// Two registers that hold a float, its low half first.
Reading MemologDriver::ReadChannel(ChannelId id) {
  if (const HRESULT ready = MakeReady(); Failed(ready)) return {.code = ready};  // or the program is another logger's
  if (const auto known = KnownProgram(); !known) return {.code = known.error()};
  return ReadingOf(Exchange([&](ModbusClient& client) -> Expected<float> {
    const auto program = CachedProgram();
    if (!program) return Failure(memologCtlErrMemLocked);  // another one is being sent since
    const ChannelRecord* channel = ChannelOf(program, id);
    if (channel == nullptr || !channel->value_register) return Failure(memologCtlErrChNum);
    std::array<std::uint16_t, 2> halves{};
    const HRESULT result = client.ReadHolding(*channel->value_register, halves);
    if (Failed(result)) return Failure(result);
    const auto value = std::bit_cast<float>(std::uint32_t{halves[1]} << 16U | halves[0]);
    return std::isfinite(value) ? Expected<float>(value) : Failure(client.NoAnswer());
  }));
}

}  // namespace ulix::memolog
