// Every fault of the line, for every device and every operation. Checked are the published error, the time that the
// operation takes, the state afterwards, and that the first exchange after the fault is right.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "core/worker.h"
#include "simulators/memolog.h"
#include "tests/support/reader_bench.h"
#include "tests/support/recording_sink.h"
#include "tests/support/unique_name.h"

namespace ulix {
namespace {

// What an operation gives under a fault.
struct FaultOutcome {
  HRESULT code;
  bool in_vain = false;                       // The operation takes at least the whole patience.
  std::optional<float> value = std::nullopt;  // The prescribed value of a reading, where it is not the right one.
  bool leaves_closed = false;                 // The connection is refused without an error.
  bool leaves_held = false;  // The logger's memory block stays locked: its release does not get through.
};
constexpr FaultOutcome kFine = {S_OK};
constexpr FaultOutcome kZero = {S_OK, false, 0.0F};
constexpr FaultOutcome kShutOut = {S_OK, false, std::nullopt, true};
constexpr FaultOutcome kMute = {serialCommErrUnableToReadComm, true};
constexpr FaultOutcome kMuteHeld = {serialCommErrUnableToReadComm, true, std::nullopt, false, true};
constexpr FaultOutcome kNoReply = {serialCommErrUnableToReadComm};
constexpr FaultOutcome kUnwritten = {serialCommErrUnableToWriteComm};
constexpr FaultOutcome kUnopened = {serialCommErrUnableToOpenComm};
constexpr FaultOutcome kNetMute = {networkCommErrUnableToReadComm, true};
constexpr FaultOutcome kNetNoReply = {networkCommErrUnableToReadComm};
constexpr FaultOutcome kNetUnopened = {networkCommErrUnableToConnect};
constexpr FaultOutcome kNotJofra = {jofrartcptcCtlErrNotJofraRtcPtc, true};
constexpr FaultOutcome kUsbMute = {winUsbCommErrUnableToReadComm, true};
constexpr FaultOutcome kUsbNoReply = {winUsbCommErrUnableToReadComm};
constexpr FaultOutcome kUsbUnwritten = {winUsbCommErrUnableToWriteComm};

constexpr int kDripMs = 200;
constexpr Milliseconds kLongAfter{200'000};  // All late replies have come by then.
constexpr std::size_t kFaults = 10;

// The faults in the order of a row's outcomes. "slow" is within the patience, "too slow" beyond it.
std::array<Fault, kFaults> FaultsOf(int patience_ms) {
  return {{{FaultKind::kSilent},
           {FaultKind::kDelay, patience_ms * 9 / 10},
           {FaultKind::kDelay, patience_ms * 3 / 2},
           {FaultKind::kDrip, kDripMs},
           {FaultKind::kGarbage},
           {FaultKind::kTruncate},
           {FaultKind::kOversize},
           {FaultKind::kLate},
           {FaultKind::kRefuse},
           {FaultKind::kDrop, 0}}};
}

struct Row {
  const char* device;
  const char* operation;
  int patience_ms;  // How long one exchange waits for a mute device.
  int max_ms;       // The longest time of any outcome.
  FaultOutcome outcomes[kFaults];
};

// An operation that has no row for a device sends nothing to it.
// clang-format off
//  silent, slow, too slow, drip, garbage, truncate, oversize, late, refuse, drop
const Row kRows[] = {
    {"Kelvo10", "Connect", 1000, 5000,
     {kMute, kFine, kMute, kFine, {kelvo10CtlErrNotKelvo10}, kMute, kFine, kMute, {kelvo10CtlErrNotKelvo10},
      kUnopened}},
    {"Kelvo10", "Identify", 1000, 5000,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, kFine, kUnwritten}},
    {"Kelvo10", "Read", 1000, 1000,
     {kMute, kFine, kMute, kFine, kZero, kMute, kNoReply, kMute, kZero, kUnwritten}},
    {"Kelvo10", "Write", 1000, 0,
     {kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kUnwritten}},
    {"Kelvo10", "SendCfg", 1000, 200,
     {kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kUnwritten}},
    {"Kelvo10", "ReadCfg", 1000, 5000,
     {kMute, kFine, kMute, kFine, {kelvo10CtlErrRgeNotSupported}, kMute, {kelvo10CtlErrRgeNotSupported}, kMute,
      {kelvo10CtlErrRgeNotSupported}, kUnwritten}},
    {"Cmx310", "Connect", 1000, 4800,
     {kMute, kFine, kMute, kFine, {cmx310CtlErrNotCmx310}, kMute, kFine, kMute, {cmx310CtlErrNotCmx310}, kUnopened}},
    {"Cmx310", "Identify", 1000, 4800,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, kFine, kUnwritten}},
    {"Cmx310", "Read", 1000, 1000,
     {kMute, kFine, kMute, kFine, kZero, kMute, kNoReply, kMute, kZero, kUnwritten}},
    {"Cmx310", "Write", 1000, 0,
     {kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kUnwritten}},
    {"Cmx310", "SendCfg", 1000, 200,
     {kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kUnwritten}},
    {"Cmx310", "ReadCfg", 1000, 5000,
     {kMute, kFine, kMute, kFine, {cmx310CtlErrRgeNotSupported}, kMute, {cmx310CtlErrRgeNotSupported}, kMute,
      {cmx310CtlErrRgeNotSupported}, kUnwritten}},
    {"Isotech", "Connect", 100, 0,
     {kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kUnopened}},
    {"Isotech", "Write", 100, 100,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, {isotechCtlErrNack}, kUnwritten}},
    {"Isotech", "Run", 100, 1100,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, {isotechCtlErrNack}, kUnwritten}},
    {"IsotechLine", "Connect", 1000, 0,
     {kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kUnopened}},
    {"IsotechLine", "Write", 1000, 1000,
     {kMute, kFine, kMute, kFine, {isotechCtlErrNack}, {isotechCtlErrNack, true}, {isotechCtlErrNack}, kMute,
      {isotechCtlErrNack}, kUnwritten}},
    {"IsotechLine", "Run", 1000, 2000,
     {kMute, kFine, kMute, kFine, {isotechCtlErrNack}, {isotechCtlErrNack, true}, {isotechCtlErrNack}, kMute,
      {isotechCtlErrNack}, kUnwritten}},
    {"IsotechLine", "Stop", 1000, 4000,
     {kMute, kFine, kMute, kFine, {isotechCtlErrNack}, {isotechCtlErrNack, true}, {isotechCtlErrNack, true}, kMute,
      {isotechCtlErrNack, true}, kUnwritten}},
    {"Microk", "Connect", 3000, 8400,
     {kMute, kFine, kMute, kFine, {microkCtlErrNotMicrok}, kMute, kFine, kMute, {microkCtlErrNotMicrok}, kUnopened}},
    {"Microk", "Read", 12000, 12000,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kMute, {microkCtlErrMeasureNotAvailable}, kUnwritten}},
    {"Millik", "Connect", 3000, 3000,
     {kMute, kFine, kMute, kFine, {microkCtlErrNotMillik}, kMute, kFine, kMute, {microkCtlErrNotMillik}, kUnopened}},
    {"Millik", "Read", 6000, 6000,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kMute, {microkCtlErrScpiCmdeError}, kUnwritten}},
    {"FlukeHydra", "Connect", 50000, 50000,
     {kMute, kFine, kMute, kFine, {flukehydraCtlErrNotFlukeHydra}, kMute, kFine, kMute,
      {flukehydraCtlErrNotFlukeHydra}, kUnopened}},
    {"FlukeHydra", "Identify", 50000, 50000,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, kFine, kUnwritten}},
    {"FlukeHydra", "Read", 50000, 50000,
     {kMute, kFine, kMute, kFine, kMute, kMute, kFine, kMute, {flukehydraCtlErrCmdExecError}, kUnwritten}},
    {"FlukeHydra", "Run", 50000, 90000,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kFine, kMute, kNoReply, kUnwritten}},
    {"FlukeHydra", "Stop", 50000, 50000,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, kNoReply, kUnwritten}},
    {"FlukeHydra", "ReadCfg", 50000, 1080000,
     {kMute, kFine, kMute, kFine, kMute, kMute, kFine, kMute, {flukehydraCtlErrCmdSyntaxError}, kUnwritten}},
    {"JofraRtc", "Connect", 1000, 31200,
     {kNotJofra, kFine, kNotJofra, kFine, {jofrartcptcCtlErrNotJofraRtcPtc}, kNotJofra, {jofrartcptcCtlErrNotJofraRtcPtc}, kNotJofra,
      {jofrartcptcCtlErrNotJofraRtcPtc}, kUnopened}},
    {"JofraRtc", "Identify", 1000, 14200,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, kFine, kUnwritten}},
    {"JofraRtc", "Read", 1000, 17400,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kMute, {jofrartcptcCtlErrNack}, kUnwritten}},
    {"JofraRtc", "Write", 1000, 12400,
     {kMute, kFine, kMute, kFine, {jofrartcptcCtlErrNack}, kMute, {jofrartcptcCtlErrNack}, kMute,
      {jofrartcptcCtlErrNack}, kUnwritten}},
    {"JofraCtc", "Connect", 1000, 16000,
     {kNotJofra, kFine, kNotJofra, kFine, {jofrartcptcCtlErrNotJofraRtcPtc}, kNotJofra, {jofrartcptcCtlErrNotJofraRtcPtc}, kNotJofra,
      {jofrartcptcCtlErrNotJofraCtc}, kUnopened}},
    {"JofraCtc", "Identify", 1000, 7200,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, kFine, kUnwritten}},
    {"JofraCtc", "Read", 1000, 9800,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kMute, {jofrartcptcCtlErrNack}, kUnwritten}},
    {"JofraCtc", "Write", 1000, 2000,
     {kMute, kFine, kMute, kFine, {jofrartcptcCtlErrNack}, kMute, {jofrartcptcCtlErrNack}, kMute,
      {jofrartcptcCtlErrNack}, kUnwritten}},
    {"Kambic", "Connect", 3000, 6000,
     {kMute, kFine, kMute, kFine, {kambicCtlErrNotKambic}, kMute, kFine, kMute, {kambicCtlErrNotKambic}, kUnopened}},
    {"Kambic", "Identify", 3000, 6000,
     {kMute, kFine, kMute, kFine, kFine, kMute, kFine, kMute, kFine, kUnwritten}},
    {"Kambic", "Read", 3000, 4600,
     {kMute, kFine, kMute, kFine, {kambicCtlErrBadResp}, kMute, kFine, kMute, {kambicCtlErrBadCmde}, kUnwritten}},
    {"Kambic", "Write", 3000, 3200,
     {kMute, kFine, kMute, kFine, {kambicCtlErrBadResp}, kMute, kFine, kMute, {kambicCtlErrBadCmde}, kUnwritten}},
    {"Adt761", "Connect", 1000, 10000,
     {kMute, kFine, kMute, kFine, {adt761CtlErrNotAdt761}, kMute, kNoReply, kMute, kShutOut, kUnopened}},
    {"Adt761", "Identify", 1000, 4000,
     {kMute, kFine, kMute, kFine, kFine, kMute, kNoReply, kMute, kFine, kUnwritten}},
    {"Adt761", "Read", 1000, 5400,
     {kMute, kFine, kMute, kFine, {adt761CtlErrNoMeasAvailable}, kMute, kNoReply, kMute,
      {adt761CtlErrNoMeasAvailable}, kUnwritten}},
    {"Adt761", "Write", 1000, 2800,
     {kMute, kFine, kMute, kFine, {adt761CtlErrNack}, kMute, kNoReply, kMute, {adt761CtlErrNack}, kUnwritten}},
    {"Hart", "Connect", 1000, 0,
     {kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kFine, kUnopened}},
    {"Hart", "Read", 1000, 1800,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kMute, kNoReply, kUnwritten}},
    {"Hart", "Write", 1000, 1800,
     {{hartCtlErrNack, true}, kFine, {hartCtlErrNack, true}, kFine, {hartCtlErrNack}, {hartCtlErrNack, true}, kFine,
      {hartCtlErrNack, true}, {hartCtlErrNack}, kUnwritten}},
    {"Adt760", "Connect", 5000, 5002,
     {kUsbMute, kFine, kUsbMute, kUsbMute, {adt760CtlErrNotAdt760}, kUsbMute, kFine, kUsbMute, kUsbMute,
      {winUsbCommErrGuidNotFound}}},
    {"Adt760", "Identify", 5000, 5001,
     {kUsbMute, kFine, kUsbMute, kUsbMute, kFine, kUsbMute, kFine, kUsbMute, kUsbMute, kUsbUnwritten}},
    {"Adt760", "Read", 5000, 9000,
     {kUsbMute, kFine, kUsbMute, kFine, kUsbNoReply, kUsbMute, {adt760CtlErrNoMeasAvailable}, kUsbMute, kUsbMute,
      kUsbUnwritten}},
    {"Adt760", "Write", 5000, 5000,
     {kUsbMute, kFine, kUsbMute, kFine, kUsbNoReply, kUsbMute, kFine, kUsbMute, kUsbMute, kUsbUnwritten}},
    {"Memolog", "Connect", 1000, 4530,
     {kMute, kFine, kMute, kMute, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnopened}},
    {"Memolog", "Identify", 1000, 4530,
     {kMute, kFine, kMute, kMute, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "Read", 1000, 1605,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "SendCfg", 1000, 17355,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kNoReply, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "ReadCfg", 1000, 31620,
     {kMute, kFine, kMute, kMute, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "ListMemory", 1000, 3229,
     {kMute, kFine, kMute, kMute, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "ReadMemory", 1000, 18640,
     {kMute, kFine, kMute, kMute, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "ReadMemoryMidway", 1000, 14505,
     {kMute, kFine, kMute, kMuteHeld, kNoReply, kMute, kNoReply, kNoReply, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "ClearMemory", 1000, 1405,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "SendProgram", 1000, 17355,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kNoReply, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "SendProgramMidway", 1000, 12660,
     {kMute, kFine, kMute, kFine, kNoReply, kMute, kNoReply, kNoReply, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "ReadProgram", 1000, 31620,
     {kMute, kFine, kMute, kMute, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"Memolog", "ReadProgramMidway", 1000, 25208,
     {kMute, kFine, kMute, kMute, kNoReply, kMute, kNoReply, kMute, {memologCtlErrMbusData}, kUnwritten}},
    {"MemologNetwork", "Connect", 1000, 2700,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "Identify", 1000, 2700,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "Read", 1000, 1001,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kFine, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "SendCfg", 1000, 2501,
     {kNetMute, kNetMute, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "ReadCfg", 1000, 30600,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "ListMemory", 1000, 1800,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "ReadMemory", 1000, 18000,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "ReadMemoryMidway", 1000, 14401,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "ClearMemory", 1000, 1001,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "SendProgram", 1000, 2501,
     {kNetMute, kNetMute, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "SendProgramMidway", 1000, 8100,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "ReadProgram", 1000, 30600,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
    {"MemologNetwork", "ReadProgramMidway", 1000, 23400,
     {kNetMute, kFine, kNetMute, kNetMute, kNetNoReply, kNetMute, kNetNoReply, kNetMute, {memologCtlErrMbusData},
      kNetUnopened}},
};
// clang-format on

const Row* FindRow(const Device& device, std::string_view operation) {
  for (const Row& row : kRows) {
    if (std::string_view(row.device) == device.name && row.operation == operation) return &row;
  }
  return nullptr;
}

class LineFaults : public ReaderBench {
 protected:
  struct Operation {
    const char* name;
    HRESULT (*act)(LineFaults& f);
  };
  static const Operation kOperations[];

  LineFaults() {
    SetQuantity(kBefore);
    if (!logger()) return;
    EXPECT_EQ(device->ReadProgram(path), S_OK);
    Set("program-file", path.c_str());
    program = logger()->program();
    EXPECT_EQ(ReadMemory(), S_OK);
    right_records = records;
  }
  ~LineFaults() override {
    std::filesystem::remove(path);
    EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
  }

  HRESULT Read() {
    reading = driver->ReadChannel(model.channels.empty() ? 0 : model.channels[0]);
    return reading.code;
  }
  HRESULT ListMemory() {
    std::vector<std::uint32_t> blocks;
    std::uint32_t size = 0;
    std::int32_t flag = 0;
    const HRESULT listed = device->MemBlocks(&blocks);
    return Failed(listed) ? listed : device->GetMemBlockStatus(kBlock, &size, &size, &flag, &flag);
  }
  HRESULT ReadMemory() {
    std::uint32_t count = 0;
    return device->ReadMemBlock(kBlock, kRecords, false, &records, &count);
  }
  HRESULT CheckProgram() {
    std::uint32_t count = 0;
    return device->CheckProgram(path, &count);
  }
  // Runs the operation with the fault set at the first step of its progress.
  HRESULT Midway(const std::function<HRESULT()>& operation) {
    struct Sink final : EventSink {
      std::function<void()> once;
      void Progress(int) override {
        if (const auto act = std::exchange(once, nullptr)) act();
      }
    };
    const auto sink = std::make_shared<Sink>();
    sink->once = [this] { bench->SetFaults({fault}); };
    bench->SetFaults({});
    const auto cookie = device->events().Advise(sink);
    const HRESULT result = operation();
    device->events().Unadvise(cookie);
    return result;
  }

  // Null for any other instrument.
  MemologSimulator* logger() {
    return bench->WithSimulator([](Simulator& s) { return dynamic_cast<MemologSimulator*>(&s); });
  }
  bool LoggerIsFree() { return !logger()->frozen(kBlock + 1) && logger()->lock() == 0 && !logger()->in_program_mode(); }

  // Ends the fault and waits until all late replies have come.
  void BringBack() {
    bench->SetFaults({});
    clock.SleepFor(kLongAfter);
  }
  void Check(const Operation& operation, const Row& row);
  void CheckFault(const Operation& operation, const Row& row, const FaultOutcome& expected);
  void ExpectAllWell(const Operation& operation);
  void ExpectSilence(const Operation& operation);
  void CheckGroup();

  static constexpr float kBefore = 12.25F;
  static constexpr float kAfter = 31.5F;
  static constexpr std::int32_t kBlock = 1;
  static constexpr std::uint32_t kRecords = 200;  // Five exchanges.
  const std::string path =
      (std::filesystem::temp_directory_path() / (UniqueName("ulix-line-faults-") + ".p90")).string();
  Fault fault{FaultKind::kSilent};
  Reading reading;
  ChannelArrays records, right_records;
  std::vector<MemologSimulator::Record> program;
};

const LineFaults::Operation LineFaults::kOperations[] = {
    {"Connect", [](LineFaults& f) { return f.device->Connect(); }},
    {"Identify", [](LineFaults& f) { return CodeOf(f.driver->Identify()); }},
    {"Read", [](LineFaults& f) { return f.Read(); }},
    {"Write", [](LineFaults& f) { return f.driver->WriteChannel(f.model.written, 25.0F); }},
    {"Run", [](LineFaults& f) { return f.device->Run(); }},
    {"Stop", [](LineFaults& f) { return f.device->Stop(); }},
    {"SendCfg", [](LineFaults& f) { return f.device->SendCfg(); }},
    {"ReadCfg", [](LineFaults& f) { return f.device->ReadCfg(); }},
    {"ListMemory", [](LineFaults& f) { return f.ListMemory(); }},
    {"ReadMemory", [](LineFaults& f) { return f.ReadMemory(); }},
    {"ReadMemoryMidway", [](LineFaults& f) { return f.Midway([&] { return f.ReadMemory(); }); }},
    {"ClearMemory", [](LineFaults& f) { return f.device->ClearMemBlock(0, 1); }},
    {"CheckProgram", [](LineFaults& f) { return f.CheckProgram(); }},
    {"SendProgram", [](LineFaults& f) { return f.device->SendProgram(f.path); }},
    {"SendProgramMidway", [](LineFaults& f) { return f.Midway([&] { return f.device->SendProgram(f.path); }); }},
    {"ReadProgram", [](LineFaults& f) { return f.device->ReadProgram(f.path); }},
    {"ReadProgramMidway", [](LineFaults& f) { return f.Midway([&] { return f.device->ReadProgram(f.path); }); }},
};

bool Connects(const char* operation) { return std::string_view(operation) == "Connect"; }

// The operation sends nothing, so that a mute device makes no difference.
void LineFaults::ExpectSilence(const Operation& operation) {
  TakeSent();
  fault = {FaultKind::kSilent};
  bench->SetFaults({fault});
  const MonotonicTime before = clock.Now();
  operation.act(*this);
  EXPECT_EQ(clock.Now(), before);
  EXPECT_EQ(TakeSent(), "");
  bench->SetFaults({});
}

void LineFaults::CheckFault(const Operation& operation, const Row& row, const FaultOutcome& expected) {
  if (Connects(operation.name)) device->Disconnect();
  bench->SetFaults({fault});
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(operation.act(*this), expected.code);
  const auto took = std::chrono::duration_cast<Milliseconds>(clock.Now() - before).count();
  EXPECT_LE(took, row.max_ms + (logger() ? 12 : 2) * kWireMs);
  if (expected.in_vain) {
    EXPECT_GE(took, row.patience_ms);
  }
  EXPECT_EQ(IsConnected(), !Connects(operation.name) || (expected.code == S_OK && !expected.leaves_closed));
  const bool reads = std::string_view(operation.name) == "Read";
  if (reads && expected.code == S_OK && model.has_quantities()) {
    EXPECT_EQ(reading.value, expected.value.value_or(kBefore));
  }
  // The driver writes the logger's registers back even without a reply. A logger that is gone cannot be written.
  if (logger() && fault.kind != FaultKind::kDrop) {
    EXPECT_EQ(LoggerIsFree(), !expected.leaves_held);
  }
}

void LineFaults::ExpectAllWell(const Operation& operation) {
  SetQuantity(kAfter);
  ASSERT_EQ(device->Connect(), S_OK);
  if (logger()) {
    EXPECT_EQ(device->SendProgram(path), S_OK) << "the program file is unchanged";
    EXPECT_EQ(logger()->program(), program);
    EXPECT_EQ(ReadMemory(), S_OK);
    EXPECT_EQ(records.values, right_records.values);
    EXPECT_TRUE(LoggerIsFree());
  }
  if (!model.channels.empty()) {
    EXPECT_EQ(Read(), S_OK);
  }
  if (model.has_quantities()) {
    EXPECT_EQ(reading.value, kAfter);
  }
  if (std::string_view(operation.name) == "Write") {
    EXPECT_EQ(operation.act(*this), S_OK);
  }
  SetQuantity(kBefore);
}

void LineFaults::Check(const Operation& operation, const Row& row) {
  const auto faults = FaultsOf(row.patience_ms);
  for (std::size_t index = 0; index < faults.size(); ++index) {
    fault = faults[index];
    SCOPED_TRACE(testing::Message() << operation.name << ", fault " << index << ", amount " << fault.amount);
    CheckFault(operation, row, row.outcomes[index]);
    BringBack();
    if (fault.kind == FaultKind::kDrop && !model.channels.empty()) {
      device->Disconnect();
      EXPECT_EQ(Read(), model.codes.closed);
    }
    ExpectAllWell(operation);
  }
}

// A group is run, scanned once and stopped. Each call works whatever the fault, and the report has the code of a
// reading.
void LineFaults::CheckGroup() {
  const Row* row = FindRow(model, "Read");
  if (row == nullptr || model.channels.empty()) return;
  const auto sink = std::make_shared<RecordingSink>();
  const auto cookie = device->events().Advise(sink);
  std::uint32_t group = 0;
  ASSERT_EQ(device->CreateGroup(&group), S_OK);
  ASSERT_EQ(device->ConnectGroupChan(group, model.channels[0]), S_OK);
  ASSERT_EQ(device->SetGroupSettings(group, {.period_ms = 3'600'000}), S_OK);
  const auto scan = [&](const FaultSet& faults, HRESULT code) {
    bench->SetFaults(faults);
    clock.SetMode(ManualClock::Mode::kStepped);
    const std::size_t before = sink->reports();
    EXPECT_EQ(device->RunGroup(group), S_OK);
    EXPECT_EQ(device->ImmediateReadGroups(std::vector{group}), S_OK);
    for (int step = 0; step < 100 && sink->reports() == before; ++step) {
      ASSERT_TRUE(clock.AwaitWaiters(2));
      clock.Advance(Milliseconds(row->patience_ms / 10 + 1));
    }
    ASSERT_TRUE(sink->AwaitReports(before + 1));
    EXPECT_EQ(sink->seen.Get().data.back().errors, std::vector<HRESULT>{code});
    EXPECT_EQ(device->StopGroup(group), S_OK);
    EXPECT_EQ(ThreadsAlive(), 0);
    clock.SetMode(ManualClock::Mode::kAutomatic);
    BringBack();
  };
  for (const std::size_t index : {0, 4, 8, 9}) {
    SCOPED_TRACE(testing::Message() << "group, fault " << index);
    scan({FaultsOf(row->patience_ms)[index]}, row->outcomes[index].code);
    scan({}, S_OK);
    if (model.has_quantities()) {
      EXPECT_EQ(sink->seen.Get().data.back().values, std::vector<float>{kBefore});
    }
  }
  device->events().Unadvise(cookie);
}

TEST_P(LineFaults, EachFault_GivesItsErrorInTimeAndTheNextExchangeIsRight) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    const Row* row = FindRow(model, operation.name);
    row ? Check(operation, *row) : ExpectSilence(operation);
  }
  CheckGroup();
}

std::vector<Device> All() { return {std::begin(kDevices), std::end(kDevices)}; }
INSTANTIATE_TEST_SUITE_P(Devices, LineFaults, testing::ValuesIn(All()), NameOf);

}  // namespace
}  // namespace ulix
