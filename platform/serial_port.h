// A serial port: the calls of the operating system that the serial link needs.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace ulix::platform {

enum class Parity { kNone, kEven, kOdd };
enum class FlowControl { kNone, kDtrDsr, kXonXoff };

struct LineSettings {
  std::uint32_t baud_rate = 9600;
  int data_bits = 8;
  int stop_bits = 1;
  Parity parity = Parity::kNone;
  FlowControl flow_control = FlowControl::kNone;

  bool operator==(const LineSettings&) const = default;
};

// The number of bits of one character on the line: start, data, parity and stop bits.
constexpr int BitsPerCharacter(const LineSettings& line) {
  return 1 + line.data_bits + (line.parity == Parity::kNone ? 0 : 1) + line.stop_bits;
}

// The time that `bytes` bytes take on the line, rounded up to a microsecond; zero for a baud rate of 0. The system's
// write returns before the bytes have left, so read timeouts and pauses after a write begin this much later.
constexpr std::chrono::microseconds TransmissionTime(const LineSettings& line, std::size_t bytes) {
  if (line.baud_rate == 0) return std::chrono::microseconds(0);
  const std::uint64_t bits = std::uint64_t{bytes} * static_cast<std::uint64_t>(BitsPerCharacter(line));
  return std::chrono::microseconds((bits * 1'000'000 + line.baud_rate - 1) / line.baud_rate);
}

// The longest time of one read or write as a whole, in milliseconds. 0 means no limit.
struct SerialTimeouts {
  std::uint32_t read_ms = 0;
  std::uint32_t write_ms = 0;
};

enum class IoOutcome {
  kComplete,
  kNoFirstByte,    // the time ran out before the first byte
  kStoppedMidway,  // the time ran out after some of the bytes
  kDamaged,        // a byte arrived with a parity or framing error
  kLinkLost,       // the system call failed: the device is gone or refuses
  kCancelled,      // Interrupt ended the wait
};

struct IoResult {
  IoOutcome outcome = IoOutcome::kComplete;
  std::size_t count = 0;       // bytes read or written, whatever the outcome
  std::uint32_t os_error = 0;  // the system's error code; only with kDamaged and kLinkLost
};

// The outputs of a line, which a program can switch.
enum class LineSignal { kDtr, kRts, kBreak };

// The inputs of a line, which the device switches.
struct ModemInputs {
  bool cts = false;
  bool dsr = false;
  bool ring = false;
  bool carrier = false;

  bool operator==(const ModemInputs&) const = default;
};

// The system's handle of an open port. With it a program can wait for input of the port and of other sources at the
// same time.
using InputHandle = std::intptr_t;
inline constexpr InputHandle kNoInput = -1;

// One open port. The caller lets one thread at a time use it; only Interrupt may be called from any thread at any time.
// The destructor closes the port. Members that return bool return false when the system refuses. Configure and
// SetTimeouts come before the first read or write.
class SerialPort {
 public:
  virtual ~SerialPort() = default;
  // Sets the sizes of the driver's queues, in bytes. Has no effect and returns true on a system without this setting.
  virtual bool SetQueueSizes(std::uint32_t receive, std::uint32_t transmit) = 0;
  virtual bool SetTimeouts(const SerialTimeouts& timeouts) = 0;
  // Sets the line's rate and format, binary mode and no echo, and raises DTR and RTS (with DTR/DSR flow control on
  // Windows the driver switches DTR). False for a rate that the driver does not accept.
  virtual bool Configure(const LineSettings& settings) = 0;
  // Reads until `bytes` is full or the read timeout is over. An empty `bytes` is complete at once.
  virtual IoResult Read(std::span<char> bytes) = 0;
  // Writes the bytes. Returns when the system has accepted all of them, or when the write timeout is over.
  virtual IoResult Write(std::string_view bytes) = 0;
  // Whether each write becomes a network packet of its own. A command with its terminator is then better written at
  // once.
  virtual bool WritesArePackets() const { return false; }
  // Discards bytes that were received and not read (`input`), and bytes that were written and not yet sent (`output`).
  virtual void Purge(bool input, bool output) = 0;
  // Clears a line error that the system has stored, so that the next read does not fail because of it.
  virtual void ClearError() = 0;
  // Whether the device is still there, as far as the system knows. Does not wait and sends nothing.
  virtual bool IsPresent() = 0;
  // While `on`, reads return the bytes that have already come and do not wait for more. A read that is waiting ends
  // within half a second, with kCancelled.
  virtual void Interrupt(bool on) = 0;

  // The members below serve a program that shares the line with others on a network. Ports that are not devices of this
  // machine have only these defaults.

  virtual InputHandle input_handle() const { return kNoInput; }
  // Reads the bytes that have come, without a wait. kComplete also when there are none.
  virtual IoResult ReadAvailable(std::span<char>) { return {}; }
  // Switches an output. False when the port has no such output.
  virtual bool SetSignal(LineSignal, bool) { return false; }
  // The present inputs; none when the port has no such inputs.
  virtual std::optional<ModemInputs> modem_inputs() { return std::nullopt; }
};

}  // namespace ulix::platform
