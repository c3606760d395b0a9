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
#include "sessions/limits.h"
#include "simulators/memolog.h"
#include "tests/support/reader_bench.h"
#include "tests/support/recording_sink.h"
#include "tests/support/unique_name.h"

namespace ulix {
namespace {

// The outcome of an operation under a fault.
struct FaultOutcome {
  HRESULT code;
  bool in_vain = false;                       // The operation takes at least the whole patience.
  std::optional<float> value = std::nullopt;  // The prescribed value of a reading, where it is not the right one.
  bool leaves_closed = false;                 // The connection is refused without an error.
  bool leaves_held = false;  // The logger's memory block stays locked: its release does not get through.
};
constexpr FaultOutcome kFine = {S_OK};
constexpr FaultOutcome kZero = {.code = S_OK, .value = 0.0F};
constexpr FaultOutcome kShutOut = {.code = S_OK, .leaves_closed = true};
constexpr FaultOutcome kMute = {.code = serialCommErrUnableToReadComm, .in_vain = true};
constexpr FaultOutcome kMuteHeld = {.code = serialCommErrUnableToReadComm, .in_vain = true, .leaves_held = true};
constexpr FaultOutcome kNoReply = {serialCommErrUnableToReadComm};
constexpr FaultOutcome kUnwritten = {serialCommErrUnableToWriteComm};
constexpr FaultOutcome kUnopened = {serialCommErrUnableToOpenComm};
constexpr FaultOutcome kNetMute = {.code = networkCommErrUnableToReadComm, .in_vain = true};
constexpr FaultOutcome kNetNoReply = {networkCommErrUnableToReadComm};
// The connection was closed, and the logger on the next connection does not identify itself.
constexpr FaultOutcome kNetMuteHeld = {.code = networkCommErrUnableToReadComm, .in_vain = true, .leaves_held = true};
constexpr FaultOutcome kNetNoReplyHeld = {.code = networkCommErrUnableToReadComm, .leaves_held = true};
constexpr FaultOutcome kNetUnopened = {networkCommErrUnableToConnect};
constexpr FaultOutcome kNotJofra = {.code = jofrartcptcCtlErrNotJofraRtcPtc, .in_vain = true};
constexpr FaultOutcome kUsbMute = {.code = winUsbCommErrUnableToReadComm, .in_vain = true};
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
  int patience_ms;        // How long one exchange waits for a mute device.
  int queries = 1;        // Replies that the operation needs, by the instrument's protocol.
  int pauses_ms = 0;      // The operation's own waits, by the instrument's manual.
  int resyncs = 0;        // Queries after one whose reply did not come, such as those that free a logger.
  int open_attempts = 1;  // A second apart.
  // The outcome of each fault. A fault that a row does not name does no harm.
  FaultOutcome silent = kFine, slow = kFine, too_slow = kFine, drip = kFine, garbage = kFine;
  FaultOutcome truncate = kFine, oversize = kFine, late = kFine, refuse = kFine, drop = kFine;

  // In the order of FaultsOf.
  std::array<FaultOutcome, kFaults> outcomes() const {
    return {silent, slow, too_slow, drip, garbage, truncate, oversize, late, refuse, drop};
  }
};

// An operation that has no row for a device sends nothing to it.
// clang-format off
const Row kRows[] = {
    {.device = "Kelvo10", .operation = "Connect", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = {kelvo10CtlErrNotKelvo10}, .truncate = kMute, .late = kMute,
     .refuse = {kelvo10CtlErrNotKelvo10}, .drop = kUnopened},
    {.device = "Kelvo10", .operation = "Identify", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .drop = kUnwritten},
    {.device = "Kelvo10", .operation = "Read", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = kZero, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = kZero, .drop = kUnwritten},
    {.device = "Kelvo10", .operation = "Write", .patience_ms = 1000, .queries = 0,
     .drop = kUnwritten},
    {.device = "Kelvo10", .operation = "SendCfg", .patience_ms = 1000, .queries = 0, .pauses_ms = 200,
     .drop = kUnwritten},
    {.device = "Kelvo10", .operation = "ReadCfg", .patience_ms = 1000, .queries = 2,
     .silent = kMute, .too_slow = kMute, .garbage = {kelvo10CtlErrRgeNotSupported}, .truncate = kMute,
     .oversize = {kelvo10CtlErrRgeNotSupported}, .late = kMute, .refuse = {kelvo10CtlErrRgeNotSupported},
     .drop = kUnwritten},
    {.device = "Cmx310", .operation = "Connect", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = {cmx310CtlErrNotCmx310}, .truncate = kMute, .late = kMute,
     .refuse = {cmx310CtlErrNotCmx310}, .drop = kUnopened},
    {.device = "Cmx310", .operation = "Identify", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .drop = kUnwritten},
    {.device = "Cmx310", .operation = "Read", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = kZero, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = kZero, .drop = kUnwritten},
    {.device = "Cmx310", .operation = "Write", .patience_ms = 1000, .queries = 0,
     .drop = kUnwritten},
    {.device = "Cmx310", .operation = "SendCfg", .patience_ms = 1000, .queries = 0, .pauses_ms = 200,
     .drop = kUnwritten},
    {.device = "Cmx310", .operation = "ReadCfg", .patience_ms = 1000, .queries = 2,
     .silent = kMute, .too_slow = kMute, .garbage = {cmx310CtlErrRgeNotSupported}, .truncate = kMute,
     .oversize = {cmx310CtlErrRgeNotSupported}, .late = kMute, .refuse = {cmx310CtlErrRgeNotSupported},
     .drop = kUnwritten},
    {.device = "Isotech", .operation = "Connect", .patience_ms = 100, .queries = 0,
     .drop = kUnopened},
    {.device = "Isotech", .operation = "Write", .patience_ms = 100,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .refuse = {isotechCtlErrNack},
     .drop = kUnwritten},
    {.device = "Isotech", .operation = "Run", .patience_ms = 100,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .refuse = {isotechCtlErrNack},
     .drop = kUnwritten},
    {.device = "IsotechLine", .operation = "Connect", .patience_ms = 1000, .queries = 0,
     .drop = kUnopened},
    {.device = "IsotechLine", .operation = "Write", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = {isotechCtlErrNack}, .truncate = {isotechCtlErrNack, true},
     .oversize = {isotechCtlErrNack}, .late = kMute, .refuse = {isotechCtlErrNack}, .drop = kUnwritten},
    {.device = "IsotechLine", .operation = "Run", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = {isotechCtlErrNack}, .truncate = {isotechCtlErrNack, true},
     .oversize = {isotechCtlErrNack}, .late = kMute, .refuse = {isotechCtlErrNack}, .drop = kUnwritten},
    {.device = "IsotechLine", .operation = "Stop", .patience_ms = 1000, .pauses_ms = 2000,
     .silent = kMute, .too_slow = kMute, .garbage = {isotechCtlErrNack}, .truncate = {isotechCtlErrNack, true},
     .oversize = {isotechCtlErrNack, true}, .late = kMute, .refuse = {isotechCtlErrNack, true}, .drop = kUnwritten},
    {.device = "Microk", .operation = "Connect", .patience_ms = 3000,
     .silent = kMute, .too_slow = kMute, .garbage = {microkCtlErrNotMicrok}, .truncate = kMute, .late = kMute,
     .refuse = {microkCtlErrNotMicrok}, .drop = kUnopened},
    {.device = "Microk", .operation = "Read", .patience_ms = 12000,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = {microkCtlErrMeasureNotAvailable}, .drop = kUnwritten},
    {.device = "Millik", .operation = "Connect", .patience_ms = 3000,
     .silent = kMute, .too_slow = kMute, .garbage = {microkCtlErrNotMillik}, .truncate = kMute, .late = kMute,
     .refuse = {microkCtlErrNotMillik}, .drop = kUnopened},
    {.device = "Millik", .operation = "Read", .patience_ms = 6000,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = {microkCtlErrScpiCmdeError}, .drop = kUnwritten},
    {.device = "FlukeHydra", .operation = "Connect", .patience_ms = 50000, .open_attempts = 11,
     .silent = kMute, .too_slow = kMute, .garbage = {flukehydraCtlErrNotFlukeHydra}, .truncate = kMute,
     .late = kMute, .refuse = {flukehydraCtlErrNotFlukeHydra}, .drop = kUnopened},
    {.device = "FlukeHydra", .operation = "Identify", .patience_ms = 50000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .drop = kUnwritten},
    {.device = "FlukeHydra", .operation = "Read", .patience_ms = 50000,
     .silent = kMute, .too_slow = kMute, .garbage = kMute, .truncate = kMute, .late = kMute,
     .refuse = {flukehydraCtlErrCmdExecError}, .drop = kUnwritten},
    {.device = "FlukeHydra", .operation = "Run", .patience_ms = 50000, .queries = 2,
     .silent = kMute, .too_slow = kMute, .garbage = kMute, .truncate = kMute, .late = kMute, .refuse = kNoReply,
     .drop = kUnwritten},
    {.device = "FlukeHydra", .operation = "Stop", .patience_ms = 50000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .refuse = kNoReply, .drop = kUnwritten},
    {.device = "FlukeHydra", .operation = "ReadCfg", .patience_ms = 50000, .queries = 24,
     .silent = kMute, .too_slow = kMute, .garbage = kMute, .truncate = kMute, .late = kMute,
     .refuse = {flukehydraCtlErrCmdSyntaxError}, .drop = kUnwritten},
    {.device = "JofraRtc", .operation = "Connect", .patience_ms = 1000, .queries = 4, .open_attempts = 11,
     .silent = kNotJofra, .too_slow = kNotJofra, .garbage = {jofrartcptcCtlErrNotJofraRtcPtc}, .truncate = kNotJofra,
     .oversize = {jofrartcptcCtlErrNotJofraRtcPtc}, .late = kNotJofra, .refuse = {jofrartcptcCtlErrNotJofraRtcPtc},
     .drop = kUnopened},
    {.device = "JofraRtc", .operation = "Identify", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .drop = kUnwritten},
    {.device = "JofraRtc", .operation = "Read", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = {jofrartcptcCtlErrNack}, .drop = kUnwritten},
    {.device = "JofraRtc", .operation = "Write", .patience_ms = 1000, .queries = 2,
     .silent = kMute, .too_slow = kMute, .garbage = {jofrartcptcCtlErrNack}, .truncate = kMute,
     .oversize = {jofrartcptcCtlErrNack}, .late = kMute, .refuse = {jofrartcptcCtlErrNack}, .drop = kUnwritten},
    {.device = "JofraCtc", .operation = "Connect", .patience_ms = 1000, .queries = 3, .open_attempts = 11,
     .silent = kNotJofra, .too_slow = kNotJofra, .garbage = {jofrartcptcCtlErrNotJofraRtcPtc}, .truncate = kNotJofra,
     .oversize = {jofrartcptcCtlErrNotJofraRtcPtc}, .late = kNotJofra, .refuse = {jofrartcptcCtlErrNotJofraCtc},
     .drop = kUnopened},
    {.device = "JofraCtc", .operation = "Identify", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .drop = kUnwritten},
    {.device = "JofraCtc", .operation = "Read", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = {jofrartcptcCtlErrNack}, .drop = kUnwritten},
    {.device = "JofraCtc", .operation = "Write", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = {jofrartcptcCtlErrNack}, .truncate = kMute,
     .oversize = {jofrartcptcCtlErrNack}, .late = kMute, .refuse = {jofrartcptcCtlErrNack}, .drop = kUnwritten},
    {.device = "Kambic", .operation = "Connect", .patience_ms = 3000,
     .silent = kMute, .too_slow = kMute, .garbage = {kambicCtlErrNotKambic}, .truncate = kMute, .late = kMute,
     .refuse = {kambicCtlErrNotKambic}, .drop = kUnopened},
    {.device = "Kambic", .operation = "Identify", .patience_ms = 3000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .late = kMute, .drop = kUnwritten},
    {.device = "Kambic", .operation = "Read", .patience_ms = 3000,
     .silent = kMute, .too_slow = kMute, .garbage = {kambicCtlErrBadResp}, .truncate = kMute, .late = kMute,
     .refuse = {kambicCtlErrBadCmde}, .drop = kUnwritten},
    {.device = "Kambic", .operation = "Write", .patience_ms = 3000,
     .silent = kMute, .too_slow = kMute, .garbage = {kambicCtlErrBadResp}, .truncate = kMute, .late = kMute,
     .refuse = {kambicCtlErrBadCmde}, .drop = kUnwritten},
    {.device = "Adt761", .operation = "Connect", .patience_ms = 1000, .open_attempts = 11,
     .silent = kMute, .too_slow = kMute, .garbage = {adt761CtlErrNotAdt761}, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = kShutOut, .drop = kUnopened},
    {.device = "Adt761", .operation = "Identify", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .truncate = kMute, .oversize = kNoReply, .late = kMute, .drop = kUnwritten},
    {.device = "Adt761", .operation = "Read", .patience_ms = 1000, .queries = 2,
     .silent = kMute, .too_slow = kMute, .garbage = {adt761CtlErrNoMeasAvailable}, .truncate = kMute,
     .oversize = kNoReply, .late = kMute, .refuse = {adt761CtlErrNoMeasAvailable}, .drop = kUnwritten},
    {.device = "Adt761", .operation = "Write", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = {adt761CtlErrNack}, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {adt761CtlErrNack}, .drop = kUnwritten},
    {.device = "Hart", .operation = "Connect", .patience_ms = 1000, .queries = 0,
     .drop = kUnopened},
    {.device = "Hart", .operation = "Read", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = kNoReply, .drop = kUnwritten},
    {.device = "Hart", .operation = "Write", .patience_ms = 1000,
     .silent = {hartCtlErrNack, true}, .too_slow = {hartCtlErrNack, true}, .garbage = {hartCtlErrNack},
     .truncate = {hartCtlErrNack, true}, .late = {hartCtlErrNack, true}, .refuse = {hartCtlErrNack},
     .drop = kUnwritten},
    {.device = "Adt760", .operation = "Connect", .patience_ms = 5000,
     .silent = kUsbMute, .too_slow = kUsbMute, .drip = kUsbMute, .garbage = {adt760CtlErrNotAdt760},
     .truncate = kUsbMute, .late = kUsbMute, .refuse = kUsbMute, .drop = {winUsbCommErrGuidNotFound}},
    {.device = "Adt760", .operation = "Identify", .patience_ms = 5000,
     .silent = kUsbMute, .too_slow = kUsbMute, .drip = kUsbMute, .truncate = kUsbMute, .late = kUsbMute,
     .refuse = kUsbMute, .drop = kUsbUnwritten},
    {.device = "Adt760", .operation = "Read", .patience_ms = 5000, .queries = 2,
     .silent = kUsbMute, .too_slow = kUsbMute, .garbage = kUsbMute, .truncate = kUsbMute,
     .oversize = {adt760CtlErrNoMeasAvailable}, .late = kUsbMute, .refuse = kUsbMute, .drop = kUsbUnwritten},
    {.device = "Adt760", .operation = "Write", .patience_ms = 5000,
     .silent = kUsbMute, .too_slow = kUsbMute, .garbage = kUsbMute, .truncate = kUsbMute, .late = kUsbMute,
     .refuse = kUsbMute, .drop = kUsbUnwritten},
    {.device = "Memolog", .operation = "Connect", .patience_ms = 1000, .queries = 3,
     .silent = kMute, .too_slow = kMute, .drip = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {memologCtlErrMbusData}, .drop = kUnopened},
    {.device = "Memolog", .operation = "Identify", .patience_ms = 1000, .queries = 3,
     .silent = kMute, .too_slow = kMute, .drip = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "Read", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "SendCfg", .patience_ms = 1000, .queries = 12, .pauses_ms = 500, .resyncs = 2,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kNoReply, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "ReadCfg", .patience_ms = 1000, .queries = 34,
     .silent = kMute, .too_slow = kMute, .drip = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "ListMemory", .patience_ms = 1000, .queries = 2,
     .silent = kMute, .too_slow = kMute, .drip = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "ReadMemory", .patience_ms = 1000, .queries = 20,
     .silent = kMute, .too_slow = kMute, .drip = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "ReadMemoryMidway", .patience_ms = 1000, .queries = 16, .resyncs = 2,
     .silent = kMute, .too_slow = kMute, .drip = kMuteHeld, .garbage = kNoReply, .truncate = kMute,
     .oversize = kNoReply, .late = kNoReply, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "ClearMemory", .patience_ms = 1000,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply, .late = kMute,
     .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "SendProgram", .patience_ms = 1000, .queries = 12, .pauses_ms = 500, .resyncs = 2,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kNoReply, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "SendProgramMidway", .patience_ms = 1000, .queries = 9, .resyncs = 1,
     .silent = kMute, .too_slow = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kNoReply, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "ReadProgram", .patience_ms = 1000, .queries = 34,
     .silent = kMute, .too_slow = kMute, .drip = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "Memolog", .operation = "ReadProgramMidway", .patience_ms = 1000, .queries = 26,
     .silent = kMute, .too_slow = kMute, .drip = kMute, .garbage = kNoReply, .truncate = kMute, .oversize = kNoReply,
     .late = kMute, .refuse = {memologCtlErrMbusData}, .drop = kUnwritten},
    {.device = "MemologNetwork", .operation = "Connect", .patience_ms = 1000, .queries = 3,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "Identify", .patience_ms = 1000, .queries = 3,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "Read", .patience_ms = 1000,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "SendCfg", .patience_ms = 1000, .queries = 12, .pauses_ms = 500, .resyncs = 2,
     .silent = kNetMute, .slow = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply,
     .truncate = kNetMute, .oversize = kNetNoReplyHeld, .late = kNetMute, .refuse = {memologCtlErrMbusData},
     .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "ReadCfg", .patience_ms = 1000, .queries = 34,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "ListMemory", .patience_ms = 1000, .queries = 2,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "ReadMemory", .patience_ms = 1000, .queries = 20,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "ReadMemoryMidway", .patience_ms = 1000, .queries = 16, .resyncs = 2,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMuteHeld, .garbage = kNetNoReplyHeld, .truncate = kNetMuteHeld,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "ClearMemory", .patience_ms = 1000,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "SendProgram", .patience_ms = 1000, .queries = 12, .pauses_ms = 500, .resyncs = 2,
     .silent = kNetMute, .slow = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply,
     .truncate = kNetMute, .oversize = kNetNoReplyHeld, .late = kNetMute, .refuse = {memologCtlErrMbusData},
     .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "SendProgramMidway", .patience_ms = 1000, .queries = 9, .resyncs = 1,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMuteHeld, .garbage = kNetNoReplyHeld, .truncate = kNetMuteHeld,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "ReadProgram", .patience_ms = 1000, .queries = 34,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
    {.device = "MemologNetwork", .operation = "ReadProgramMidway", .patience_ms = 1000, .queries = 26,
     .silent = kNetMute, .too_slow = kNetMute, .drip = kNetMute, .garbage = kNetNoReply, .truncate = kNetMute,
     .oversize = kNetNoReply, .late = kNetMute, .refuse = {memologCtlErrMbusData}, .drop = kNetUnopened},
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
  int MaxMs(const Row& row, const FaultOutcome& expected) const;
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

// The longest time that an operation may take under the fault: the time of the replies that came, one wait for the
// reply that did not come, the operation's pauses, and the resynchronisations. Before each resynchronisation a serial
// line must be quiet. A network need not be quiet.
int LineFaults::MaxMs(const Row& row, const FaultOutcome& expected) const {
  int ms = row.pauses_ms + (row.queries + 2) * kWireMs;
  if (fault.kind == FaultKind::kDrop && Connects(row.operation)) ms += (row.open_attempts - 1) * 1000;
  if (fault.kind == FaultKind::kDelay && fault.amount < row.patience_ms) ms += row.queries * fault.amount;
  if (fault.kind == FaultKind::kDrip) ms += static_cast<int>(received) * kDripMs;
  if (expected.in_vain) ms += row.patience_ms;
  const int quiet = model.on_network ? 0 : kMaxSilenceTimeouts;
  return ms + row.resyncs * (quiet + 1) * row.patience_ms;
}

void LineFaults::CheckFault(const Operation& operation, const Row& row, const FaultOutcome& expected) {
  if (Connects(operation.name)) device->Disconnect();
  bench->SetFaults({fault});
  const MonotonicTime before = clock.Now();
  received = 0;
  EXPECT_EQ(operation.act(*this), expected.code);
  const auto took = std::chrono::duration_cast<Milliseconds>(clock.Now() - before).count();
  EXPECT_LE(took, MaxMs(row, expected));
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
    CheckFault(operation, row, row.outcomes()[index]);
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
  for (const std::size_t index : {0u, 4u, 8u, 9u}) {
    SCOPED_TRACE(testing::Message() << "group, fault " << index);
    scan({FaultsOf(row->patience_ms)[index]}, row->outcomes()[index].code);
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
