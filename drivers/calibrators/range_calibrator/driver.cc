#include "drivers/calibrators/range_calibrator/driver.h"

#include <utility>

namespace ulix::range_calibrator {
namespace {

constexpr LineProfile kLine = {.terminator = '\n', .reply_size = kLongestReply + 1};

constexpr std::string_view kIdentify = "*IDN?";

// The instrument switches relays after a range command and hears nothing meanwhile.
constexpr Milliseconds kRangePause{100};

}  // namespace

RangeCalibratorDriver::RangeCalibratorDriver(const Model& model, DriverServices services)
    : SerialDriver(model.card, kLine, std::move(services)), model_(model) {}

HRESULT RangeCalibratorDriver::Greet() {
  const auto identification = Identify();
  if (!identification) return identification.error();
  if (!IsModel(model_, *identification)) return model_.not_this_model;
  return Send("REM");
}

void RangeCalibratorDriver::TakeLeave() { Send("LOC"); }

Landmark RangeCalibratorDriver::landmark() const { return {.query = kIdentify}; }

Expected<std::string> RangeCalibratorDriver::Identify() { return Query(kIdentify); }

// The output's command is built once the input's is sent: an output that cannot be expressed leaves the input set.
HRESULT RangeCalibratorDriver::SendCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  const auto record = settings().Current();
  HRESULT result = Send("REM");
  if (Succeeded(result)) result = SendRange(Side::kInput, *record);
  if (Succeeded(result)) result = SendRange(Side::kOutput, *record);
  if (Failed(result)) return result;
  units_read_ = UnitsRead{};  // both sides have the record's now
  return Send("MEAS RUN");
}

HRESULT RangeCalibratorDriver::SendRange(Side side, const std::vector<StoredValue>& record) {
  const auto command = RangeCommand(model_, side, SideIn(model_, record, side), UnitIn(model_, record));
  if (!command) return command.error();
  const HRESULT result = Send(*command);
  if (Succeeded(result)) clock().SleepFor(kRangePause);
  return result;
}

HRESULT RangeCalibratorDriver::ReadCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  auto record = settings().Snapshot();
  const auto input = ReadRange(Side::kInput, record);
  if (!input) return input.error();
  const auto output = ReadRange(Side::kOutput, record);
  if (!output) return output.error();
  PutSide(model_, record, Side::kInput, input->config);
  PutSide(model_, record, Side::kOutput, output->config);
  const std::uint32_t unit = input->unit.value_or(output->unit.value_or(UnitIn(model_, record)));
  PutUnit(model_, record, unit);
  settings().Replace(std::move(record));
  units_read_ = UnitsRead{unit, output->unit.value_or(unit)};
  return S_OK;
}

Expected<RangeReply> RangeCalibratorDriver::ReadRange(Side side, const std::vector<StoredValue>& record) {
  const auto parse = [&](const std::string& reply) {
    return ParseRangeReply(model_, side, reply, SideIn(model_, record, side));
  };
  return Query(side == Side::kInput ? "CFG_IN?" : "CFG_OUT?", usual_plan(), parse, model_.range_not_supported);
}

Reading RangeCalibratorDriver::ReadChannel(ChannelId id) {
  if (id != kInChannel) return {.code = E_INVALIDARG};
  const auto value = Query("MEAS?", usual_plan(), ParseMeasure);
  return ReadingOf(value);
}

HRESULT RangeCalibratorDriver::WriteChannel(ChannelId id, float value) {
  if (id != kOutChannel) return E_INVALIDARG;
  const std::lock_guard exchange(exchange_mutex_);
  const HRESULT result = Send(OutputCommand(value));
  return Failed(result) ? result : Send("OPER");
}

// 0 stands for no function: of a channel that is none.
std::uint32_t RangeCalibratorDriver::FunctionOf(ChannelId id) const {
  const auto record = settings().Current();
  if (id == kInChannel) return SideIn(model_, *record, Side::kInput).function;
  return id == kOutChannel ? SideIn(model_, *record, Side::kOutput).function : 0;
}

std::string RangeCalibratorDriver::ChannelUnit(ChannelId id) const {
  const std::uint32_t unit = UnitIn(model_, *settings().Current());
  const UnitsRead read = units_read_;
  const bool own = id == kOutChannel && read.record == unit;
  return UnitOf(model_, FunctionOf(id), own ? read.output : unit);
}

int RangeCalibratorDriver::ChannelResolution(ChannelId id) const { return ResolutionOf(model_, FunctionOf(id)); }

}  // namespace ulix::range_calibrator
