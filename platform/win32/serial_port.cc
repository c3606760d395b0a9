#include "platform/serial_port.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <utility>

#include "platform/port_binding.h"
#include "platform/port_list.h"
#include "platform/win32/handle.h"

namespace ulix::platform {
namespace {

constexpr char kXon = 0x11;
constexpr char kXoff = 0x13;

struct FlowRow {
  bool xon_xoff;
  DWORD dtr_control : 2;
  bool dsr_output_flow;
};

// In the order of FlowControl.
constexpr std::array kFlows = {FlowRow{false, DTR_CONTROL_ENABLE, false}, FlowRow{false, DTR_CONTROL_HANDSHAKE, true},
                               FlowRow{true, DTR_CONTROL_ENABLE, false}};
constexpr std::array<BYTE, 3> kParities = {NOPARITY, EVENPARITY, ODDPARITY};  // in the order of Parity

void SetCharacterFormat(DCB& state, const LineSettings& line) {
  state.BaudRate = line.baud_rate;
  state.ByteSize = line.data_bits == 8 ? 8 : 7;
  state.StopBits = line.stop_bits == 2 ? TWOSTOPBITS : ONESTOPBIT;
  state.Parity = kParities[static_cast<std::size_t>(line.parity)];
  state.fParity = line.parity != Parity::kNone;
  state.fBinary = TRUE;
  state.fAbortOnError = FALSE;  // a damaged byte must not end all transfers
}

void SetFlowControl(DCB& state, FlowControl flow) {
  const FlowRow& row = kFlows[static_cast<std::size_t>(flow)];
  state.fOutX = row.xon_xoff;
  state.fInX = row.xon_xoff;
  state.fDtrControl = row.dtr_control;
  state.fOutxDsrFlow = row.dsr_output_flow;
  state.fRtsControl = RTS_CONTROL_ENABLE;
  state.fOutxCtsFlow = FALSE;
  if (!row.xon_xoff) return;
  state.XonChar = kXon;
  state.XoffChar = kXoff;
}

// A read waits in slices of at most this time, so that it can be interrupted.
constexpr std::uint32_t kLongestSliceMs = 500;

// The number of slices of a read; 1 for a read without a limit.
constexpr std::uint32_t SlicesOf(std::uint32_t read_ms) {
  return std::max(1U, (read_ms + kLongestSliceMs - 1) / kLongestSliceMs);
}

// The result of a transfer of `wanted` bytes. The driver applies the timeouts, so a short transfer is one whose time
// ran out.
IoResult ResultOf(BOOL succeeded, DWORD count, std::size_t wanted) {
  if (!succeeded) return {IoOutcome::kLinkLost, count, GetLastError()};
  if (count == wanted) return {IoOutcome::kComplete, count, 0};
  return {count == 0 ? IoOutcome::kNoFirstByte : IoOutcome::kStoppedMidway, count, 0};
}

constexpr IoResult kDamagedBytes{IoOutcome::kDamaged, 0, ERROR_CRC};

class CommPort final : public SerialPort {
 public:
  explicit CommPort(Handle port) : port_(std::move(port)) {}

  bool SetQueueSizes(std::uint32_t receive, std::uint32_t transmit) override {
    return SetupComm(port_.get(), receive, transmit);
  }

  bool SetTimeouts(const SerialTimeouts& timeouts) override {
    limited_ = timeouts.read_ms != 0;
    slices_ = SlicesOf(timeouts.read_ms);
    COMMTIMEOUTS times{
        .ReadIntervalTimeout = 0,
        .ReadTotalTimeoutMultiplier = 0,
        .ReadTotalTimeoutConstant = limited_ ? (timeouts.read_ms + slices_ - 1) / slices_ : kLongestSliceMs,
        .WriteTotalTimeoutMultiplier = 0,
        .WriteTotalTimeoutConstant = timeouts.write_ms};
    return SetCommTimeouts(port_.get(), &times);
  }

  bool Configure(const LineSettings& line) override {
    DCB state{};
    state.DCBlength = sizeof state;
    if (!GetCommState(port_.get(), &state)) return false;
    SetCharacterFormat(state, line);
    SetFlowControl(state, line.flow_control);
    return SetCommState(port_.get(), &state);
  }

  IoResult Read(std::span<char> bytes) override {
    std::size_t filled = 0;
    for (std::uint32_t slice = 1;; ++slice) {
      const std::span<char> rest = bytes.subspan(filled);
      DWORD count = 0;
      const BOOL succeeded = ReadFile(port_.get(), rest.data(), static_cast<DWORD>(rest.size()), &count, nullptr);
      filled += count;
      const bool over = limited_ && slice >= slices_;
      if (!succeeded || filled == bytes.size() || over) {
        const IoResult result = ResultOf(succeeded, static_cast<DWORD>(filled), bytes.size());
        return succeeded && filled > 0 && TakeDamage() ? kDamagedBytes : result;
      }
      if (interrupted_) return {IoOutcome::kCancelled, filled, 0};
    }
  }

  IoResult Write(std::string_view bytes) override {
    DWORD count = 0;
    const BOOL succeeded = WriteFile(port_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    return ResultOf(succeeded, count, bytes.size());
  }

  void Purge(bool input, bool output) override {
    const DWORD input_actions = input ? PURGE_RXABORT | PURGE_RXCLEAR : 0;
    const DWORD output_actions = output ? PURGE_TXABORT | PURGE_TXCLEAR : 0;
    PurgeComm(port_.get(), input_actions | output_actions);
    if (input) TakeDamage();
  }

  void ClearError() override { TakeDamage(); }

  bool IsPresent() override {
    COMSTAT state{};
    return AskState(state);
  }

  void Interrupt(bool on) override { interrupted_ = on; }

  InputHandle input_handle() const override { return reinterpret_cast<InputHandle>(port_.get()); }

  IoResult ReadAvailable(std::span<char> bytes) override {
    COMSTAT state{};
    if (!AskState(state)) return {IoOutcome::kLinkLost, 0, GetLastError()};
    const DWORD wanted = std::min(state.cbInQue, static_cast<DWORD>(bytes.size()));
    DWORD count = 0;
    if (wanted > 0 && !ReadFile(port_.get(), bytes.data(), wanted, &count, nullptr))
      return {IoOutcome::kLinkLost, count, GetLastError()};
    return count > 0 && TakeDamage() ? kDamagedBytes : IoResult{IoOutcome::kComplete, count, 0};
  }

  bool SetSignal(LineSignal signal, bool on) override {
    const std::array<std::array<DWORD, 2>, 3> functions = {
        {{CLRDTR, SETDTR}, {CLRRTS, SETRTS}, {CLRBREAK, SETBREAK}}};  // in the order of LineSignal
    return EscapeCommFunction(port_.get(), functions[static_cast<std::size_t>(signal)][on ? 1 : 0]);
  }

  std::optional<ModemInputs> modem_inputs() override {
    DWORD lines = 0;
    if (!GetCommModemStatus(port_.get(), &lines)) return std::nullopt;
    return ModemInputs{.cts = (lines & MS_CTS_ON) != 0,
                       .dsr = (lines & MS_DSR_ON) != 0,
                       .ring = (lines & MS_RING_ON) != 0,
                       .carrier = (lines & MS_RLSD_ON) != 0};
  }

 private:
  // Each question clears the errors in the system, so they are kept here.
  bool AskState(COMSTAT& state) {
    DWORD errors = 0;
    const bool answered = ClearCommError(port_.get(), &errors, &state);
    damaged_ |= (errors & (CE_RXPARITY | CE_FRAME)) != 0;
    return answered;
  }
  // Whether a byte arrived with a parity or framing error since the last call.
  bool TakeDamage() {
    COMSTAT state{};
    AskState(state);
    return std::exchange(damaged_, false);
  }

  Handle port_;
  bool damaged_ = false;
  bool limited_ = false;      // whether a read has a time limit
  std::uint32_t slices_ = 1;  // slices of that time
  std::atomic<bool> interrupted_ = false;
};

OpenFailureCause CauseOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
      return OpenFailureCause::kNoSuchDevice;
    case ERROR_ACCESS_DENIED:  // the error for a port that another program has open
    case ERROR_SHARING_VIOLATION:
      return OpenFailureCause::kInUse;
    default:
      return OpenFailureCause::kSystem;
  }
}

// The system keeps a number for each device, so another adapter gets another number and another path.
class BoundComm final : public BoundPort {
 public:
  explicit BoundComm(std::string path) : path_(std::move(path)) {}
  const std::string& location() const override { return path_; }

  OpenResult Open() override {
    constexpr DWORD kNotShared = 0;
    Handle handle(CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, kNotShared, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
    if (handle.valid()) return {std::make_unique<CommPort>(std::move(handle)), {}};
    const DWORD error = GetLastError();
    return {nullptr, {.cause = CauseOf(error), .os_error = error}};
  }

 private:
  std::string path_;
};

// "COM5" works as a path only up to 9; DeviceOfPort gives the full path, which works for any number.
std::optional<std::string> DeviceAt(const std::string& location) {
  const int number = PortOfDevice(location);
  return number > 0 ? DeviceOfPort(number) : std::optional(location);
}

}  // namespace

PortResolution ResolvePort(const PortAddress& address) {
  const auto device = address.location.empty() ? DeviceOfPort(address.number) : DeviceAt(address.location);
  if (!device) return {nullptr, {.cause = OpenFailureCause::kNoSuchDevice, .os_error = ERROR_FILE_NOT_FOUND}};
  return {std::make_shared<BoundComm>(*device), {}};
}

}  // namespace ulix::platform
