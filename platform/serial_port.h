// A serial port of the operating system: the calls that the serial link needs.
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

// The bits of one character on the line: start, data, parity and stop bits.
constexpr int BitsPerCharacter(const LineSettings& line) {
  return 1 + line.data_bits + (line.parity == Parity::kNone ? 0 : 1) + line.stop_bits;
}

// The time that `bytes` bytes take on the line, rounded up; zero for a rate of 0. The system's write returns before the
// bytes have left, so read timeouts and pauses after a write begin that much later.
constexpr std::chrono::microseconds TransmissionTime(const LineSettings& line, std::size_t bytes) {
  if (line.baud_rate == 0) return std::chrono::microseconds(0);
  const std::uint64_t bits = std::uint64_t{bytes} * static_cast<std::uint64_t>(BitsPerCharacter(line));
  return std::chrono::microseconds((bits * 1'000'000 + line.baud_rate - 1) / line.baud_rate);
}

// How long one whole read or write may take, in milliseconds; 0 waits without limit.
struct SerialTimeouts {
  std::uint32_t read_ms = 0;
  std::uint32_t write_ms = 0;
};

enum class IoOutcome {
  kComplete,
  kNoFirstByte,    // the time ran out before any byte moved
  kStoppedMidway,  // the time ran out with some bytes moved
  kDamaged,        // a byte arrived with a parity or framing error
  kLinkLost,       // the system call failed: the device is gone or refuses
  kCancelled,      // an interruption ended the wait
};

struct IoResult {
  IoOutcome outcome = IoOutcome::kComplete;
  std::size_t count = 0;
  std::uint32_t os_error = 0;  // the system's error code, with kDamaged and kLinkLost only
};

// Outputs of a line that a program switches.
enum class LineSignal { kDtr, kRts, kBreak };

// Inputs of a line that the device switches.
struct ModemInputs {
  bool cts = false;
  bool dsr = false;
  bool ring = false;
  bool carrier = false;

  bool operator==(const ModemInputs&) const = default;
};

// The system's handle of a port: a program can wait for the port's input and for something else at the same time.
using InputHandle = std::intptr_t;
inline constexpr InputHandle kNoInput = -1;

// One open port. The caller lets one thread at a time use it; only Interrupt may be called from any thread at any time.
// The destructor closes the port. Members that return bool return false when the system refuses.
class SerialPort {
 public:
  virtual ~SerialPort() = default;
  // Sizes of the driver's queues in bytes. True on a system without such a setting.
  virtual bool SetQueueSizes(std::uint32_t receive, std::uint32_t transmit) = 0;
  virtual bool SetTimeouts(const SerialTimeouts& timeouts) = 0;
  // Sets the line, binary mode, no echo, and reads that return each byte as it comes. All else stays as the driver has
  // it.
  virtual bool Configure(const LineSettings& settings) = 0;
  // Reads until `bytes` is full or the read timeout is over.
  virtual IoResult Read(std::span<char> bytes) = 0;
  // Returns when the system has accepted all bytes, or when the write timeout is over.
  virtual IoResult Write(std::string_view bytes) = 0;
  // Whether each write costs a packet of its own, so that a command is better written in one.
  virtual bool WritesArePackets() const { return false; }
  // Discards what was received and not read, and what was written and not sent.
  virtual void Purge(bool input, bool output) = 0;
  // Clears a line error that the system remembers, so that the next read starts without it.
  virtual void ClearError() = 0;
  // Whether the device is still there, as far as the system knows: no wait, and no byte on the line.
  virtual bool IsPresent() = 0;
  // While `on`, reads return what has come and do not wait. A read that is waiting ends within half a second, with
  // kCancelled.
  virtual void Interrupt(bool on) = 0;

  // The rest is for a program that shares the port with others. A port that is not a device of this machine has none of
  // it.

  virtual InputHandle input_handle() const { return kNoInput; }
  // What has come and was not read, without a wait. kComplete when nothing has come, too.
  virtual IoResult ReadAvailable(std::span<char>) { return {}; }
  // False when the port has no such line.
  virtual bool SetSignal(LineSignal, bool) { return false; }
  virtual std::optional<ModemInputs> modem_inputs() { return std::nullopt; }
};

}  // namespace ulix::platform
