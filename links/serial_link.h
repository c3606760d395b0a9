// A serial port: opens, configures, reads and writes it. Every serial port of the library is used through this class.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/result.h"
#include "links/link.h"
#include "links/link_trace.h"
#include "links/network_port.h"
#include "links/serial_params.h"
#include "platform/mutex.h"
#include "platform/named_mutex.h"
#include "platform/port_binding.h"

namespace ulix {

// The name of the machine-wide mutex. It is the same for every port: the 1 is part of the name, not a port number.
// Other programs on the machine know this name, so it must not change.
inline constexpr const char* kPortMutexName = "SerialComMutex1";

// Threads: any thread may call any operation. Each operation that touches the port holds the machine-wide mutex, so
// that the operations of all programs take turns. The mutex is waited for at most 60 s; without it the operation fails
// with E_FAIL. A port inside this process (a simulated instrument) needs no such mutex.
//
// Errors: the serialCommErr codes, from `codes()`. An operation on a closed port fails with serialCommErrCommClosed at
// once.
//
// Timeouts are in milliseconds. As an argument, 0 keeps the timeout of the port (1000 each way after Open); another
// value applies to that call only. A line is read byte by byte, so that no byte after the terminator is taken: the
// timeout bounds the wait before each byte, not the wait for the line. The system accepts written bytes before they
// have left the machine: the wait for the first byte of a reply begins when the written bytes have had their time on
// the line.
class SerialLink final : public Link, public LinkParams {
 public:
  struct Options {
    platform::PortResolver resolve_port = ResolveSerialPort;
    std::chrono::milliseconds lock_wait{60000};
    LinkTrace trace;
    Clock* clock = &SystemClock();
    std::span<const std::uint32_t> baud_rates = kBaudRates;  // that a user may choose, in bits per second
    bool other_rates = true;                                 // whether the rates of kBaudRates are accepted as well
  };

  SerialLink() : SerialLink(Options{}) {}
  explicit SerialLink(Options options);
  SerialLink(const SerialLink&) = delete;
  SerialLink& operator=(const SerialLink&) = delete;

  // The settings that the next Open will use.
  SerialParams params() const;
  void SetParams(const SerialParams& params);
  // The same for settings that a host chose. E_INVALIDARG, and nothing changed, for a rate that this link cannot have.
  HRESULT ChooseParams(const SerialParams& params);
  // Whether ReadLine converts received text from the instrument's OEM code page to Windows-1252. Sent text is always
  // converted.
  bool oemConversion = true;

  // Finds the device that params() name and opens it. S_OK when a port is open already, also where params() name
  // another one by now. serialCommErrUnableToOpenComm when the port does not exist, is in use, or refuses the settings.
  HRESULT Open() override;
  // Opens the device that the last Open found, and no other one that has its number or its path by now.
  HRESULT Reopen() override;
  HRESULT Close() override;
  // Why the last Open or Reopen failed, or why the last operation with E_FAIL did not obtain the mutex.
  platform::OpenFailure open_failure() const override;
  bool IsOpen() const override { return open_; }
  bool IsLost() override { return lost_; }
  // Does not wait for the mutex. Once the device was found gone, the link stays lost until it is closed. Not to be
  // called while another thread reads or writes.
  bool DeviceIsThere() override;

  LinkCodes codes() const override;
  std::span<const ErrorRow> errors() const override;
  std::string Info(Language language) const override { return CommInfoText(params(), language); }
  void ResetParams() override { SetParams(SerialParams()); }
  void SaveParams(VariantWriter& writer) const override { ulix::SaveParams(writer, params()); }
  HRESULT LoadParams(VariantReader& reader) override;
  // The rates that a user may choose, in bits per second.
  std::span<const std::uint32_t> baud_rates() const { return options_.baud_rates; }

  // Sets the timeouts of the open port, in milliseconds, until the next Close. E_FAIL when the system refuses them.
  HRESULT SetTimeouts(std::uint32_t read_ms, std::uint32_t write_ms);
  HRESULT ApplyTimeouts(std::uint32_t read_ms, std::uint32_t write_ms) override;
  Milliseconds read_timeout() const override { return Milliseconds(read_ms_); }
  Milliseconds TimeLeftOnWire() override;
  HRESULT GetTimeouts(std::uint32_t* read_ms, std::uint32_t* write_ms) const;

  // Sends the text, converted to the OEM code page. serialCommErrUnableToWriteComm when not every byte went out; a
  // timeout that was given with that call then stays in force, as hosts know it.
  HRESULT WriteString(std::string_view text, std::uint32_t timeout_ms);
  // Sends the text, then the terminator as a second write; the mutex is held over both. On a network both are one
  // write, which saves a packet. A terminator of 0 is not sent.
  HRESULT WriteLine(std::string_view text, char terminator, std::uint32_t timeout_ms);
  // Sends the bytes as they are.
  HRESULT WriteBytes(std::string_view bytes, std::uint32_t timeout_ms);

  // Reads up to the terminator and stores a zero in its place. A line that is longer than the buffer is cut, with
  // success. After serialCommErrUnableToReadComm the buffer holds what came, without a zero. A buffer of less than two
  // places is not touched: S_OK.
  HRESULT ReadLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms);
  // The line, cut at its first zero byte; empty on any failure.
  std::string ReadLineText(int buffer_size, char terminator, std::uint32_t timeout_ms);
  // Waits until the buffer is full or the time is over. S_OK if at least one byte came; the count is not returned,
  // since callers know the sizes of their frames.
  HRESULT ReadBytes(std::span<char> buffer, std::uint32_t timeout_ms);

  // Discards what was received and not read, and what was written and not sent. With both false it is S_OK at once,
  // also on a closed port.
  HRESULT Purge(bool input, bool output);

  // The same operations for a session. They return the outcome, which says more than the code.
  struct Received {
    LinkOutcome outcome = LinkOutcome::kComplete;
    std::size_t count = 0;  // bytes read, zeros among them, without the terminator
  };
  // Whether SendLine first discards what was received, while it holds the mutex for the line.
  enum class Input { kKeep, kDiscard };
  LinkOutcome SendLine(std::string_view text, char terminator, std::uint32_t timeout_ms, Input input = Input::kKeep);
  LinkOutcome SendBytes(std::string_view bytes, std::uint32_t timeout_ms);
  // kTooLong when all but the last place of the buffer was filled.
  Received ReceiveLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms);
  Received ReceiveBytes(std::span<char> buffer, std::uint32_t timeout_ms);
  LinkOutcome DiscardInput() { return Discard(true, false); }

  // The system's error code of the last ReadLine that failed; 0 when it only ran out of time.
  std::uint32_t lastError() const { return last_error_; }

 private:
  class Hold;
  class ReadTimeout;
  template <typename Body>
  LinkOutcome WithPort(Body&& body);
  void SetPort(std::unique_ptr<platform::SerialPort> port);
  void AddInterruptions(int count) override;
  enum class Device { kAnew, kBound };
  HRESULT Open(Device device);
  platform::PortResolution Find(Device device, const SerialParams& wanted) const;
  std::unique_ptr<platform::SerialPort> OpenConfigured(const platform::PortResolution& found,
                                                       const SerialParams& wanted);
  void NoteNoTurn(const platform::LockProblem& problem);
  bool Prepare(platform::SerialPort& port, const SerialParams& wanted);
  bool TakesRate(std::uint32_t rate) const;
  LinkOutcome Discard(bool input, bool output);
  LinkOutcome ReadLineLocked(std::span<char> buffer, char terminator, std::uint32_t timeout_ms, std::size_t& filled);
  LinkOutcome ReadUpTo(std::span<char> buffer, char terminator, std::size_t& filled);
  LinkOutcome ReadBytesLocked(std::span<char> buffer, std::uint32_t timeout_ms, std::size_t& count);
  platform::IoResult ReadFrom(std::span<char> bytes);
  LinkOutcome WriteTextLocked(std::string_view text, std::uint32_t timeout_ms);
  LinkOutcome WriteLocked(std::string_view bytes, std::uint32_t timeout_ms);
  HRESULT CodeOfStep(LinkStep step, LinkOutcome outcome) const { return PublishedCode(codes(), step, outcome); }
  // The timeouts in force, kept beside the port so that GetTimeouts needs no lock.
  platform::SerialTimeouts timeouts() const;
  void Remember(const platform::SerialTimeouts& timeouts);
  bool Apply(const platform::SerialTimeouts& timeouts);
  void NoteWritten(std::size_t count);
  LinkOutcome Note(const platform::IoResult& result);

  Options options_;
  platform::Mutex own_mutex_;  // one turn at the port; taken before port_mutex_
  bool of_machine_ = false;    // whether other programs can reach the port; guarded by own_mutex_
  platform::NamedMutex port_mutex_;
  HeldTrace trace_;  // guarded by own_mutex_
  mutable platform::Mutex params_mutex_;
  // All guarded by params_mutex_.
  SerialParams params_;
  std::shared_ptr<platform::BoundPort> bound_;  // the device that was found; none before the first Open
  platform::OpenFailure open_failure_;
  // Both guarded by port_life_mutex_. The port is changed with own_mutex_ held too, so a thread that holds either mutex
  // may use it.
  std::unique_ptr<platform::SerialPort> port_;
  int interruptions_ = 0;
  platform::Mutex port_life_mutex_;
  std::atomic<bool> open_ = false;
  std::atomic<bool> lost_ = false;
  std::atomic<std::uint32_t> read_ms_ = 0;
  std::atomic<std::uint32_t> write_ms_ = 0;
  std::atomic<std::uint32_t> last_error_ = 0;
  // Both guarded by own_mutex_, the second of the open port.
  MonotonicTime wire_free_{};  // when the last written byte has left
  std::chrono::nanoseconds character_time_{0};
};

}  // namespace ulix
