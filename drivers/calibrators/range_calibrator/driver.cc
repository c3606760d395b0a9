#include "drivers/calibrators/range_calibrator/driver.h"

#include <utility>

#include "base/reply_field.h"

namespace ulix::range_calibrator {
namespace {

constexpr LineProfile kLine = {.terminator = '\n', .reply_size = kLongestReply + 1};

// After a range command the instrument switches relays and ignores its line for this time.
constexpr Milliseconds kRangePause{100};

}  // namespace

RangeCalibratorDriver::RangeCalibratorDriver(const Model& model, const DriverServices& services)
    : IdentifiedDriver(model.card, LineWire(kLine, services)), model_(model) {}

IdentityQuery RangeCalibratorDriver::identity_query() const {
  return {.query = "*IDN?", .reply = kLine.usual(), .other_instrument = model_.not_this_model};
}

Expected<bool> RangeCalibratorDriver::StartSession(Conversation& talk) {
  const HRESULT result = CodeOf(CheckIdentity(talk));
  return Started(Failed(result) ? result : talk.Send("REM"));
}

void RangeCalibratorDriver::EndSession(Conversation& talk) { talk.Send("LOC"); }

// The output's command is built after the input's command was sent. So if the output has an unknown code, the input is
// set all the same.
HRESULT RangeCalibratorDriver::SendCfg() {
  return Exchange([this](Conversation& talk) -> HRESULT {
    const auto record = settings().Current();
    HRESULT result = talk.Send("REM");
    if (Succeeded(result)) result = SendRange(talk, Side::kInput, *record);
    if (Succeeded(result)) result = SendRange(talk, Side::kOutput, *record);
    if (Failed(result)) return result;
    units_read_ = UnitsRead{};  // both sides now have the unit of the record
    return talk.Send("MEAS RUN");
  });
}

HRESULT RangeCalibratorDriver::SendRange(Conversation& talk, Side side, const std::vector<StoredValue>& record) {
  const auto command = RangeCommand(model_, side, SideIn(model_, record, side), UnitIn(model_, record));
  if (!command) return command.error();
  const HRESULT result = talk.Send(*command);
  if (Succeeded(result)) talk.Pause(kRangePause);
  return result;
}

HRESULT RangeCalibratorDriver::ReadCfg() {
  return Exchange([this](Conversation& talk) -> HRESULT {
    auto record = settings().Snapshot();
    const auto input = ReadRange(talk, Side::kInput, record);
    if (!input) return input.error();
    const auto output = ReadRange(talk, Side::kOutput, record);
    if (!output) return output.error();
    PutSide(model_, record, Side::kInput, input->config);
    PutSide(model_, record, Side::kOutput, output->config);
    const std::uint32_t unit = input->unit.value_or(output->unit.value_or(UnitIn(model_, record)));
    PutUnit(model_, record, unit);
    settings().Replace(std::move(record));
    units_read_ = UnitsRead{unit, output->unit.value_or(unit)};
    return S_OK;
  });
}

Expected<RangeReply> RangeCalibratorDriver::ReadRange(Conversation& talk, Side side,
                                                      const std::vector<StoredValue>& record) {
  const auto parse = [&](const std::string& reply) {
    return ParseRangeReply(model_, side, reply, SideIn(model_, record, side));
  };
  return talk.Query(side == Side::kInput ? "CFG_IN?" : "CFG_OUT?", kLine.usual(), parse, model_.range_not_supported);
}

Reading RangeCalibratorDriver::ReadChannel(ChannelId id) {
  if (id != kInChannel) return {.code = E_INVALIDARG};
  return ReadingOf(Exchange([](Conversation& talk) -> Expected<Measured> {
    const auto measured = talk.Query("MEAS?", kLine.usual(), ParseMeasure);
    return measured && IsOverload(measured->value) ? Failure(talk.Unread()) : measured;
  }));
}

HRESULT RangeCalibratorDriver::WriteChannel(ChannelId id, float value) {
  if (id != kOutChannel) return E_INVALIDARG;
  return Exchange([&](Conversation& talk) { return talk.SendEach({OutputCommand(value), "OPER"}); });
}

ChannelTraits RangeCalibratorDriver::DescribeChannel(ChannelId id) const {
  const auto record = settings().Current();
  const Side side = id == kInChannel ? Side::kInput : Side::kOutput;
  const std::uint32_t function = SideIn(model_, *record, side).function;
  const std::uint32_t unit = UnitIn(model_, *record);
  const UnitsRead read = units_read_;
  const bool own = id == kOutChannel && read.record == unit;
  return {.unit = UnitOf(model_, function, own ? read.output : unit),
          .resolution = ResolutionOf(model_, function),
          .limits = {}};
}

}  // namespace ulix::range_calibrator
