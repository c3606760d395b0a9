#include "drivers/calibrators/kelvo10/driver.h"

#include <utility>

#include "drivers/calibrators/kelvo10/tables.h"

namespace ulix::kelvo10 {
namespace {

constexpr LineProfile kLine = {.terminator = '\n', .reply_size = 50};

// The instrument switches relays after a range command and hears nothing meanwhile.
constexpr Milliseconds kRangePause{100};

std::uint32_t UnitIn(const std::vector<StoredValue>& record) { return CodeIn(record, kSettings[kTemperatureUnit]); }

}  // namespace

Kelvo10Driver::Kelvo10Driver(DriverServices services) : SerialDriver(kCard, kLine, std::move(services)) {}

std::unique_ptr<Driver> Kelvo10Driver::Create(DriverServices services) {
  return std::make_unique<Kelvo10Driver>(std::move(services));
}

HRESULT Kelvo10Driver::Greet() {
  const auto identification = Identify();
  if (!identification) return identification.error();
  if (!IsKelvo10(*identification)) return kelvo10CtlErrNotKelvo10;
  return Send("REM");
}

void Kelvo10Driver::TakeLeave() { Send("LOC"); }

Expected<std::string> Kelvo10Driver::Identify() { return Query("*IDN?"); }

// The output's command is built once the input's is sent: an output that cannot be expressed leaves the input set.
HRESULT Kelvo10Driver::SendCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  const auto record = settings().Snapshot();
  HRESULT result = Send("REM");
  if (Succeeded(result)) result = SendRange(Side::kInput, record);
  if (Succeeded(result)) result = SendRange(Side::kOutput, record);
  return Failed(result) ? result : Send("MEAS RUN");
}

HRESULT Kelvo10Driver::SendRange(Side side, const std::vector<StoredValue>& record) {
  const auto command = RangeCommand(side, SideIn(record, side), UnitIn(record));
  if (!command) return command.error();
  const HRESULT result = Send(*command);
  if (Succeeded(result)) clock().SleepFor(kRangePause);
  return result;
}

HRESULT Kelvo10Driver::ReadCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  auto record = settings().Snapshot();
  const auto input = ReadRange(Side::kInput, record);
  if (!input) return input.error();
  const auto output = ReadRange(Side::kOutput, record);
  if (!output) return output.error();
  // One unit serves both sides; a reply that claims two is not this instrument's.
  if (input->unit && output->unit && *input->unit != *output->unit) return kelvo10CtlErrRgeNotSupported;
  PutSide(record, Side::kInput, input->config);
  PutSide(record, Side::kOutput, output->config);
  PutCode(record, kSettings[kTemperatureUnit], input->unit.value_or(output->unit.value_or(UnitIn(record))));
  settings().Replace(std::move(record));
  return S_OK;
}

Expected<RangeReply> Kelvo10Driver::ReadRange(Side side, const std::vector<StoredValue>& record) {
  return Query(side == Side::kInput ? "CFG_IN?" : "CFG_OUT?").and_then([&](const std::string& reply) {
    return ParseRangeReply(reply, SideIn(record, side));
  });
}

Reading Kelvo10Driver::ReadChannel(ChannelId id) {
  if (id != kInChannel) return {.code = E_INVALIDARG};
  if (!LinkIsOpen()) return {.code = serialCommErrCommClosed};
  const auto value = Query("MEAS?").and_then([](const std::string& reply) { return ParseMeasure(reply); });
  return value ? Reading{S_OK, *value} : Reading{value.error(), 0.0F};
}

HRESULT Kelvo10Driver::WriteChannel(ChannelId id, float value) {
  if (id != kOutChannel) return E_INVALIDARG;
  const std::lock_guard exchange(exchange_mutex_);
  const HRESULT result = Send(OutputCommand(value));
  return Failed(result) ? result : Send("OPER");
}

// 0 stands for no function: of a channel that is none.
std::uint32_t Kelvo10Driver::FunctionOf(ChannelId id) const {
  const auto record = settings().Snapshot();
  if (id == kInChannel) return SideIn(record, Side::kInput).function;
  return id == kOutChannel ? SideIn(record, Side::kOutput).function : 0;
}

std::string Kelvo10Driver::ChannelUnit(ChannelId id) const {
  return UnitOf(FunctionOf(id), UnitIn(settings().Snapshot()));
}

int Kelvo10Driver::ChannelResolution(ChannelId id) const { return ResolutionOf(FunctionOf(id)); }

}  // namespace ulix::kelvo10
