#include "drivers/loggers/memolog/driver.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <utility>

#include "drivers/catalogue.h"
#include "drivers/loggers/memolog/tables.h"

namespace ulix::memolog {
namespace {

constexpr ModbusRefusalCodes kRefusals = {
    .function = memologCtlErrMbusFct, .address = memologCtlErrMbusAddr, .data = memologCtlErrMbusData};

constexpr ModbusProfile kProfile = {.name = "MEMOLOG", .baud_rates = kRates, .sync_register = kTextRegister};

constexpr std::uint32_t kInitialiseMs = 500;

template <typename Body>
auto OnRegisters(Conversation& talk, Body&& body) {
  ModbusRegisters registers(talk, kRefusals);
  return body(registers);
}

}  // namespace

// Runs `body` with the logger's registers, in one exchange.
template <typename Body>
auto MemologDriver::OnLogger(Body&& body) {
  return Exchange([&](Conversation& talk) { return OnRegisters(talk, body); });
}

MemologDriver::MemologDriver(const DriverServices& services)
    : Driver(kCard,
             ModbusWire(
                 kProfile, [this] { return Slave(); }, services),
             {.memory = this, .program = this}) {}

std::uint8_t MemologDriver::Slave() const {
  return static_cast<std::uint8_t>(CodeIn(*settings().Current(), kSettings[kSlave]));
}

Expected<bool> MemologDriver::StartSession(Conversation& talk) {
  ForgetProgram();
  const auto identification = AskIdentification(talk);
  if (!identification) return Failure(identification.error());
  return Started(talk.Admit(*identification, memologCtlErrNotMemolog));
}

Expected<std::string> MemologDriver::AskIdentification(Conversation& talk) {
  auto text = OnRegisters(talk, [](ModbusRegisters& registers) { return Mailbox(registers).AskText("*IDN?"); });
  if (text && !IsMemolog(*text)) return Failure(memologCtlErrNotMemolog);
  return text;
}

Expected<std::string> MemologDriver::Identify() {
  return Exchange([](Conversation& talk) { return AskIdentification(talk); });
}

Expected<std::string> MemologDriver::AskText(std::string_view command) {
  return OnLogger([&](ModbusRegisters& registers) { return Mailbox(registers).AskText(command); });
}

HRESULT MemologDriver::Tell(Command command, const Words& data) {
  return OnLogger([&](ModbusRegisters& registers) { return Mailbox(registers).Tell(command, data); });
}

Expected<Words> MemologDriver::Ask(Command command, const Words& data, std::size_t at_once, unsigned* forgotten) {
  return OnLogger([&](ModbusRegisters& registers) -> Expected<Words> {
    if (sending_) return Failure(memologCtlErrMemLocked);
    auto reply = Mailbox(registers).Ask(command, data, at_once);
    if (forgotten) *forgotten = TimesForgotten();
    return reply;
  });
}

Expected<std::uint16_t> MemologDriver::ReadRegister(std::uint16_t address) {
  return OnLogger([=](ModbusRegisters& registers) { return registers.ReadOne(address); });
}

HRESULT MemologDriver::WriteRegister(std::uint16_t address, std::uint16_t value) {
  return OnLogger([=](ModbusRegisters& registers) { return registers.WriteOne(address, value); });
}

// Restarts the logger, which usually sends no reply.
HRESULT MemologDriver::Initialise() {
  return OnLogger([this](ModbusRegisters& registers) -> HRESULT {
    const auto usual = static_cast<std::uint32_t>(link().read_timeout().count());
    registers.SetTimeout(std::min(usual, kInitialiseMs));
    const HRESULT result = Mailbox(registers).SendText("INITOUI");
    return result == registers.Unread() ? S_OK : result;
  });
}

Expected<std::string> MemologDriver::DeviceVersion() {
  auto identification = Identify();
  if (!identification) return identification;
  auto name = AskText("NOMPROG?");
  if (!name) return name;
  return VersionText(*identification, *name);
}

MemologDriver::ProgramPointer MemologDriver::CachedProgram() const {
  const std::lock_guard lock(program_mutex_);
  return program_;
}

void MemologDriver::ForgetProgram() {
  const std::lock_guard lock(program_mutex_);
  program_ = nullptr;
  ++forgotten_;
}

unsigned MemologDriver::TimesForgotten() const {
  const std::lock_guard lock(program_mutex_);
  return forgotten_;
}

Expected<MemologDriver::ProgramPointer> MemologDriver::KnownProgram() {
  if (auto known = CachedProgram()) return known;
  if (state() == SessionState::kClosed) return std::make_shared<const Program>();
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

std::string MemologDriver::ChannelName(ChannelId id) const {
  const auto program = CachedProgram();
  const ChannelRecord* channel = ChannelOf(program, id);
  return channel == nullptr || channel->name.empty() ? card().channels[id].name : channel->name;
}

ChannelTraits MemologDriver::DescribeChannel(ChannelId id) const {
  const auto program = CachedProgram();
  const ChannelRecord* channel = ChannelOf(program, id);
  if (channel == nullptr) return {.offered = false, .limits = {}};
  return {.offered = IsListed(*channel),
          .unit = channel->unit,
          .resolution = channel->resolution,
          .limits = {LimitOf(channel->limits[0]), LimitOf(channel->limits[1])}};
}

// A value is a float in two registers, low half first.
Reading MemologDriver::ReadChannel(ChannelId id) {
  // First an empty exchange: it reconnects a lost link, after which the program must be read again.
  const HRESULT ready = Exchange([](Conversation&) { return HRESULT{S_OK}; });
  if (Failed(ready)) return {.code = ready};
  if (const auto known = KnownProgram(); !known) return {.code = known.error()};
  return ReadingOf(OnLogger([&](ModbusRegisters& registers) -> Expected<float> {
    const auto program = CachedProgram();
    if (!program) return Failure(memologCtlErrMemLocked);  // a program is being sent now
    const ChannelRecord* channel = ChannelOf(program, id);
    if (channel == nullptr || !channel->value_register) return Failure(memologCtlErrChNum);
    std::array<std::uint16_t, 2> halves{};
    const HRESULT result = registers.ReadHolding(*channel->value_register, halves);
    if (Failed(result)) return Failure(result);
    const auto value = std::bit_cast<float>(std::uint32_t{halves[1]} << 16U | halves[0]);
    return std::isfinite(value) ? Expected<float>(value) : Failure(registers.Unread());
  }));
}

const CatalogueEntry kEntry{&kCard, MakeDriver<MemologDriver>};

}  // namespace ulix::memolog
