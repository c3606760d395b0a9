// Every fault of the line to every serial instrument, while it is connected, read and written: the published error, the
// time that it may take, and that the first exchange after it is right.
#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tests/support/line_bench.h"

namespace ulix {
namespace {

struct Property {
  const char* key;
  const char* value;
};

struct Device {
  const char* name;
  const char* model;
  std::vector<Property> settings;
  std::vector<Property> bench;  // a world that stands still
  // What the bench's property is made to be before and after the fault, and what is read then. The two differ: a reply
  // that belongs to the past shows.
  const char* world_key = nullptr;
  std::array<const char*, 2> worlds = {};
  std::array<float, 2> readings = {};
  ChannelId written = 0;
  bool tells_set_point = false;  // by the bench's property "set-point"
};

const Device kDevices[] = {
    {"Kelvo10", "kelvo10", {}, {}, "measure-text", {"12.345 V", "-3.5 V"}, {12.345F, -3.5F}, 1},
    {"Cmx310", "cmx310", {}, {}, "measure-text", {"12.345 V", "-3.5 V"}, {12.345F, -3.5F}, 1},
    {.name = "Isotech", .model = "isotech", .tells_set_point = true},
    {.name = "IsotechLine", .model = "isotech", .settings = {{"model", "line"}}, .tells_set_point = true},
    {"Microk", "microk", {}, {}, "measure-text", {"7.79", "21.5"}, {7.79F, 21.5F}},
    {"Millik", "microk", {{"model", "1"}}, {{"model", "1"}}, "measure-text", {"7.79", "21.5"}, {7.79F, 21.5F}},
    {"FlukeHydra", "flukehydra", {}, {{"period", "0"}}, "value.0", {"1.5", "-2.25"}, {1.5F, -2.25F}},
    {"JofraRtc",
     "jofrartcptc",
     {},
     {{"noise", "0"}, {"time-constant", "0"}},
     "set-point",
     {"20", "31"},
     {20.0F, 31.0F},
     2,
     true},
    {"JofraCtc",
     "jofrartcptc",
     {{"model", "1"}},
     {{"noise", "0"}, {"time-constant", "0"}, {"model", "CTC"}},
     "set-point",
     {"20", "31"},
     {20.0F, 31.0F},
     2,
     true},
    {"Kambic",
     "kambic",
     {},
     {{"noise", "0"}, {"time-constant", "0"}},
     "set-point",
     {"20", "31"},
     {20.F, 31.F},
     1,
     true},
    {"Hart", "hart", {}, {{"noise", "0"}, {"time-constant", "0"}}, "set-point", {"20", "31"}, {20.0F, 31.0F}, 1, true},
};

enum class Operation { kConnect, kRead, kWrite };
using enum Operation;

struct Outcome {
  HRESULT code;
  int ms;                                     // that it takes at most, and in full where the line is waited for in vain
  std::optional<float> value = std::nullopt;  // of a reading that is not the right one, on purpose

  bool IsWaitInVain() const { return code == serialCommErrUnableToReadComm || code == serialCommErrUnableToOpenComm; }
};
constexpr Outcome Ok(int ms) { return {S_OK, ms}; }
constexpr Outcome Unread(int ms) { return {serialCommErrUnableToReadComm, ms}; }
constexpr Outcome Unopened(int ms) { return {serialCommErrUnableToOpenComm, ms}; }
constexpr Outcome kUnwritten = {serialCommErrUnableToWriteComm, 0};

constexpr int kDripMs = 200;
constexpr Milliseconds kLongAfter{200'000};  // what was late has come by then

struct Row {
  const char* device;
  Operation operation;
  int slow_ms;      // before each reply, inside the patience with it
  int too_slow_ms;  // beyond
  // silent, slow, too slow, drip, garbage, truncate, oversize, late, refuse, drop
  Outcome outcomes[10];
};

// clang-format off
const Row kRows[] = {
    {"Kelvo10", kConnect, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(8000), {kelvo10CtlErrNotKelvo10, 0}, Unread(1000), Ok(0), Unread(1000),
      {kelvo10CtlErrNotKelvo10, 0}, Unopened(0)}},
    // The value is the number that a reply begins with, and 0 where it begins with none.
    {"Kelvo10", kRead, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(2000), {S_OK, 0, 0.0F}, Unread(1000), Ok(0), Unread(1000),
      {S_OK, 0, 0.0F}, kUnwritten}},
    {"Kelvo10", kWrite, 900, 1500,
     {Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), kUnwritten}},
    {"Cmx310", kConnect, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(8000), {cmx310CtlErrNotCmx310, 0}, Unread(1000), Ok(0), Unread(1000),
      {cmx310CtlErrNotCmx310, 0}, Unopened(0)}},
    {"Cmx310", kRead, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(2000), {S_OK, 0, 0.0F}, Unread(1000), Ok(0), Unread(1000),
      {S_OK, 0, 0.0F}, kUnwritten}},
    {"Cmx310", kWrite, 900, 1500,
     {Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), kUnwritten}},
    {"Isotech", kConnect, 90, 150,
     {Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Unopened(0)}},
    // Garbage and excess leave the one byte of the reply as it is.
    {"Isotech", kWrite, 90, 150,
     {Unread(100), Ok(90), Unread(100), Ok(0), Ok(0), Unread(100), Ok(0), Unread(100), {isotechCtlErrNack, 0},
      kUnwritten}},
    {"IsotechLine", kConnect, 900, 1500,
     {Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Unopened(0)}},
    {"IsotechLine", kWrite, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(1000), {isotechCtlErrNack, 0}, {isotechCtlErrNack, 1000},
      {isotechCtlErrNack, 0}, Unread(1000), {isotechCtlErrNack, 0}, kUnwritten}},
    {"Microk", kConnect, 2900, 3500,
     {Unread(3000), Ok(2900), Unread(3000), Ok(10'000), {microkCtlErrNotMicrok, 0}, Unread(3000), Ok(0), Unread(3000),
      {microkCtlErrNotMicrok, 0}, Unopened(0)}},
    {"Microk", kRead, 11'900, 12'500,
     {Unread(12'000), Ok(11'900), Unread(12'000), Ok(2000), Unread(0), Unread(12'000), Unread(0), Unread(12'000),
      {microkCtlErrMeasureNotAvailable, 0}, kUnwritten}},
    {"Millik", kConnect, 2900, 3500,
     {Unread(3000), Ok(2900), Unread(3000), Ok(10'000), {microkCtlErrNotMillik, 0}, Unread(3000), Ok(0), Unread(3000),
      {microkCtlErrNotMillik, 0}, Unopened(0)}},
    {"Millik", kRead, 5900, 6500,
     {Unread(6000), Ok(5900), Unread(6000), Ok(2000), Unread(0), Unread(6000), Unread(0), Unread(6000),
      {microkCtlErrScpiCmdeError, 0}, kUnwritten}},
    {"FlukeHydra", kConnect, 45'000, 55'000,
     {Unread(50'000), Ok(45'000), Unread(50'000), Ok(10'000), {flukehydraCtlErrNotFlukeHydra, 0}, Unread(50'000), Ok(0),
      Unread(50'000), {flukehydraCtlErrNotFlukeHydra, 0}, Unopened(10'000)}},
    {"FlukeHydra", kRead, 45'000, 55'000,
     {Unread(50'000), Ok(45'000), Unread(50'000), Ok(5000), Unread(50'000), Unread(50'000), Ok(0), Unread(50'000),
      {flukehydraCtlErrCmdExecError, 0}, kUnwritten}},
    {"JofraRtc", kConnect, 900, 1500,
     {Unread(1000), Ok(3600), Unread(1000), Ok(60'000), {jofrartcptcCtlErrNotJofraRtcPtc, 0}, Unread(1000),
      {jofrartcptcCtlErrNotJofraRtcPtc, 0}, Unread(1000), {jofrartcptcCtlErrNotJofraRtcPtc, 0}, Unopened(10'000)}},
    {"JofraRtc", kRead, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(60'000), Unread(0), Unread(1000), Ok(0), Unread(1000),
      {jofrartcptcCtlErrNack, 0}, kUnwritten}},
    {"JofraRtc", kWrite, 900, 1500,
     {Unread(1000), Ok(1800), Unread(1000), Ok(60'000), {jofrartcptcCtlErrNack, 0}, Unread(1000),
      {jofrartcptcCtlErrNack, 0}, Unread(1000), {jofrartcptcCtlErrNack, 0}, kUnwritten}},
    {"JofraCtc", kConnect, 900, 1500,
     {Unread(1000), Ok(2700), Unread(1000), Ok(60'000), {jofrartcptcCtlErrNotJofraRtcPtc, 0}, Unread(1000),
      {jofrartcptcCtlErrNotJofraRtcPtc, 0}, Unread(1000), {jofrartcptcCtlErrNotJofraCtc, 0}, Unopened(10'000)}},
    {"JofraCtc", kRead, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(60'000), Unread(0), Unread(1000), Ok(0), Unread(1000),
      {jofrartcptcCtlErrNack, 0}, kUnwritten}},
    {"JofraCtc", kWrite, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(60'000), {jofrartcptcCtlErrNack, 0}, Unread(1000),
      {jofrartcptcCtlErrNack, 0}, Unread(1000), {jofrartcptcCtlErrNack, 0}, kUnwritten}},
    {"Kambic", kConnect, 2900, 3500,
     {Unread(3000), Ok(2900), Unread(3000), Ok(10'000), {kambicCtlErrNotKambic, 0}, Unread(3000), Ok(0), Unread(3000),
      {kambicCtlErrNotKambic, 0}, Unopened(0)}},
    {"Kambic", kRead, 2900, 3500,
     {Unread(3000), Ok(2900), Unread(3000), Ok(10'000), {kambicCtlErrBadResp, 0}, Unread(3000), Ok(0), Unread(3000),
      {kambicCtlErrBadCmde, 0}, kUnwritten}},
    {"Kambic", kWrite, 2900, 3500,
     {Unread(3000), Ok(2900), Unread(3000), Ok(10'000), {kambicCtlErrBadResp, 0}, Unread(3000), Ok(0), Unread(3000),
      {kambicCtlErrBadCmde, 0}, kUnwritten}},
    {"Hart", kConnect, 900, 1500,
     {Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Ok(0), Unopened(0)}},
    {"Hart", kRead, 900, 1500,
     {Unread(1000), Ok(900), Unread(1000), Ok(5000), Unread(0), Unread(1000), Ok(0), Unread(1000), Unread(0),
      kUnwritten}},
    {"Hart", kWrite, 900, 1500,
     {{hartCtlErrNack, 1000}, Ok(900), {hartCtlErrNack, 1000}, Ok(5000), {hartCtlErrNack, 0}, {hartCtlErrNack, 1000},
      Ok(0), {hartCtlErrNack, 1000}, {hartCtlErrNack, 0}, kUnwritten}},
};
// clang-format on

void PrintTo(const Row& row, std::ostream* out) { *out << row.device; }

// A fault in the order of a row's outcomes.
Fault FaultAt(const Row& row, std::size_t index) {
  const std::array<Fault, 10> faults = {{{FaultKind::kSilent},
                                         {FaultKind::kDelay, row.slow_ms},
                                         {FaultKind::kDelay, row.too_slow_ms},
                                         {FaultKind::kDrip, kDripMs},
                                         {FaultKind::kGarbage},
                                         {FaultKind::kTruncate},
                                         {FaultKind::kOversize},
                                         {FaultKind::kLate},
                                         {FaultKind::kRefuse},
                                         {FaultKind::kDrop, 0}}};
  return faults[index];
}

const Device& DeviceOf(const Row& row) {
  for (const Device& device : kDevices) {
    if (std::string_view(device.name) == row.device) return device;
  }
  throw std::logic_error(row.device);
}

class LineFaults : public LineBench, public testing::WithParamInterface<Row> {
 protected:
  LineFaults() : LineBench(DeviceOf(GetParam()).model) {
    for (const Property& setting : device_row.settings) Set(setting.key, setting.value);
    for (const Property& property : device_row.bench) SetBench(property.key, property.value);
    TurnWorld(0);
  }

  void TurnWorld(std::size_t to) {
    if (device_row.world_key) SetBench(device_row.world_key, device_row.worlds[to]);
  }

  HRESULT Operate(const Outcome& expected) {
    if (row.operation == kConnect) return device->Connect();
    if (row.operation == kWrite) return device->SetChanVal(device_row.written, 25.0);
    const Reading reading = driver->ReadChannel(0);
    if (reading.code == S_OK) {
      EXPECT_EQ(reading.value, expected.value.value_or(device_row.readings[0]));
    }
    return reading.code;
  }

  // With the line as it should be, and everything that came too late behind.
  void ExpectAllWell() {
    TurnWorld(1);
    if (!IsConnected()) {
      ASSERT_EQ(device->Connect(), S_OK);
    }
    if (device_row.world_key) {
      const Reading reading = driver->ReadChannel(0);
      EXPECT_EQ(reading.code, S_OK);
      EXPECT_EQ(reading.value, device_row.readings[1]);
    }
    if (row.operation == kWrite) {
      EXPECT_EQ(device->SetChanVal(device_row.written, 22.0), S_OK);
      if (device_row.tells_set_point) {
        EXPECT_EQ(BenchSetPoint(), 22.0);
      }
    }
    TurnWorld(0);
    device->Disconnect();
  }

  double BenchSetPoint() {
    const auto properties = bench->WithSimulator([](Simulator& s) { return s.Properties(); });
    for (const auto& [key, value] : properties) {
      if (key == "set-point") return std::stod(value);
    }
    return -1;
  }

  const Row& row = GetParam();
  const Device& device_row = DeviceOf(row);
};

TEST_P(LineFaults, GiveTheirErrorInTheirTimeAndPass) {
  for (std::size_t index = 0; index < std::size(row.outcomes); ++index) {
    const Fault fault = FaultAt(row, index);
    const Outcome& expected = row.outcomes[index];
    SCOPED_TRACE(testing::Message() << "fault " << index << ", amount " << fault.amount);
    if (row.operation != kConnect) {
      ASSERT_EQ(device->Connect(), S_OK);
    }
    bench->SetFaults({fault});
    const MonotonicTime before = clock.Now();
    EXPECT_EQ(Operate(expected), expected.code);
    const Milliseconds took = std::chrono::duration_cast<Milliseconds>(clock.Now() - before);
    EXPECT_LE(took.count(), expected.ms);
    if (expected.IsWaitInVain()) {
      EXPECT_EQ(took.count(), expected.ms);
    }
    if (row.operation == kConnect) {
      EXPECT_EQ(IsConnected(), expected.code == S_OK);
    }
    bench->SetFaults({});
    clock.SleepFor(kLongAfter);
    if (fault.kind == FaultKind::kDrop) {
      device->Disconnect();
      if (row.operation == kRead) {
        EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrCommClosed);
      }
      if (row.operation == kWrite) {
        EXPECT_EQ(driver->WriteChannel(device_row.written, 1.0F), serialCommErrCommClosed);
      }
    }
    ExpectAllWell();
  }
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

std::string NameOf(const testing::TestParamInfo<Row>& info) {
  constexpr std::array kOperations = {"Connect", "Read", "Write"};
  return info.param.device + std::string(kOperations[static_cast<std::size_t>(info.param.operation)]);
}

INSTANTIATE_TEST_SUITE_P(Rows, LineFaults, testing::ValuesIn(kRows), NameOf);

}  // namespace
}  // namespace ulix
