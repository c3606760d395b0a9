// The link over a serial port. The library's controls use serial ports only through this class.
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

// The name of the machine-wide mutex of all serial traffic. It is the same for every port; the 1 is not a port number.
// Other programs on the machine use the same name, so it must not change.
inline constexpr const char* kPortMutexName = "SerialComMutex1";

// Threads: any thread may call any operation, except DeviceIsThere. Each operation that touches the port holds the
// machine-wide mutex, so that the operations of all programs take turns. An operation waits at most 60 s for the mutex
// and fails with E_FAIL if it does not get it. A port inside this process (a simulated instrument) needs no such mutex.
//
// Errors: the serialCommErr codes, from codes(). A transfer on a closed port fails at once with
// serialCommErrCommClosed.
//
// Timeouts are in milliseconds. The argument 0 stands for the timeout of the port (1000 each way after Open); another
// value applies to that call only. A line is read byte by byte, so that no byte after the terminator is read. The
// timeout therefore bounds the wait for each byte, not for the whole line. The system accepts written bytes before they
// have left the machine, so the read timeout for the first byte of a reply begins only when the written bytes have had
// their time on the line.
//
// SerialLink link;
// link.SetParams({.port = 5});
// HRESULT result = link.Open();
// if (Succeeded(result)) result = link.WriteLine("MEAS?", '\r', 0);
// if (Succeeded(result)) Use(link.ReadLineText(80, '\r', 0));
class SerialLink final : public Link, public LinkParams {
 public:
  struct Options {
    platform::PortResolver resolve_port = ResolveSerialPort;
    std::chrono::milliseconds lock_wait{60000};
    LinkTrace trace;
    Clock* clock = &SystemClock();
    std::span<const std::uint32_t> baud_rates = kBaudRates;  // offered to users, in bits per second
    bool other_rates = true;                                 // whether all rates of kBaudRates are accepted too
  };

  SerialLink() : SerialLink(Options{}) {}
  explicit SerialLink(Options options);
  SerialLink(const SerialLink&) = delete;
  SerialLink& operator=(const SerialLink&) = delete;

  // The settings that the next Open will use.
  SerialParams params() const;
  void SetParams(const SerialParams& params);
  // Sets settings that a host chose. E_INVALIDARG, with nothing changed, for a baud rate that this link does not
  // accept; a link with `other_rates` accepts any rate here and fails at Open.
  HRESULT ChooseParams(const SerialParams& params);
  // Whether ReadLine converts received text from the instrument's OEM code page to Windows-1252. Sent text is always
  // converted.
  bool oemConversion = true;

  // Finds the device that params() name and opens it. S_OK when a port is open already, even if params() now name
  // another one. serialCommErrUnableToOpenComm when the port does not exist, is in use, or refuses the settings.
  HRESULT Open() override;
  // Opens the device that the last Open found, and not another one that now has its number or its path. Before the
  // first Open it does the same as Open.
  HRESULT Reopen() override;
  // Waits up to a second until the written bytes have left.
  HRESULT Close() override;
  // Why the last Open or Reopen failed, or why the last operation with E_FAIL did not obtain the mutex.
  platform::OpenFailure open_failure() const override;
  bool IsOpen() const override { return open_; }
  bool IsLost() override { return lost_; }
  // Does not wait for the mutex. Once the device is found to be gone, the link stays lost until it is closed. Must not
  // be called while another thread reads or writes.
  bool DeviceIsThere() override;

  LinkCodes codes() const override;
  std::span<const ErrorRow> errors() const override;
  std::string Info(Language language) const override { return CommInfoText(params(), language); }
  void ResetParams() override { SetParams(SerialParams()); }
  void SaveParams(VariantWriter& writer) const override { ulix::SaveParams(writer, params()); }
  // A load that fails keeps the values read before the failure.
  HRESULT LoadParams(VariantReader& reader) override;
  // The rates that a user may choose, in bits per second.
  std::span<const std::uint32_t> baud_rates() const { return options_.baud_rates; }

  // Sets the timeouts of the open port, in milliseconds, until the next Close. E_FAIL when the system refuses them.
  HRESULT SetTimeouts(std::uint32_t read_ms, std::uint32_t write_ms);
  HRESULT ApplyTimeouts(std::uint32_t read_ms, std::uint32_t write_ms) override;
  Milliseconds read_timeout() const override { return Milliseconds(read_ms_); }
  Milliseconds TimeLeftOnWire() override;
  // The timeouts of the open port, in milliseconds. serialCommErrCommClosed on a closed port.
  HRESULT GetTimeouts(std::uint32_t* read_ms, std::uint32_t* write_ms) const;

  // Sends the text, converted to the OEM code page. serialCommErrUnableToWriteComm when not every byte was accepted in
  // time; the timeout of that call then stays in force, because hosts expect that.
  HRESULT WriteString(std::string_view text, std::uint32_t timeout_ms);
  // Sends the text, then the terminator in a second write. The mutex is held during both. On a network both are one
  // write, which saves a packet. A terminator of 0 is not sent.
  HRESULT WriteLine(std::string_view text, char terminator, std::uint32_t timeout_ms);
  // Sends the bytes as they are.
  HRESULT WriteBytes(std::string_view bytes, std::uint32_t timeout_ms);

  // Reads up to the terminator and stores a zero in its place. A line longer than the buffer is cut, and the result is
  // S_OK. After serialCommErrUnableToReadComm the buffer holds the bytes that came, without a zero. A buffer of fewer
  // than two bytes is left unchanged, with S_OK.
  HRESULT ReadLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms);
  // Reads a line of up to `buffer_size` - 1 bytes and returns it up to its first zero byte. Empty on any failure.
  std::string ReadLineText(int buffer_size, char terminator, std::uint32_t timeout_ms);
  // Reads until the buffer is full or the time is over. S_OK if at least one byte came, unless the device is lost or
  // the earlier timeout cannot be restored. The count is not returned, because callers know the sizes of their frames.
  HRESULT ReadBytes(std::span<char> buffer, std::uint32_t timeout_ms);

  // Discards bytes that were received and not read, and bytes that were written and not sent. With both arguments false
  // the result is S_OK at once, also on a closed port.
  HRESULT Purge(bool input, bool output);

  // The operations that a session uses. They return the outcome, which is more precise than the code.
  struct Received {
    LinkOutcome outcome = LinkOutcome::kComplete;
    std::size_t count = 0;  // bytes read, including zeros, without the terminator
  };
  // Whether SendLine first discards received bytes, while it already holds the mutex.
  enum class Input { kKeep, kDiscard };
  LinkOutcome SendLine(std::string_view text, char terminator, std::uint32_t timeout_ms, Input input = Input::kKeep);
  LinkOutcome SendBytes(std::string_view bytes, std::uint32_t timeout_ms);
  // kTooLong when the line filled the whole buffer but its last byte.
  Received ReceiveLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms);
  Received ReceiveBytes(std::span<char> buffer, std::uint32_t timeout_ms);
  // Discards bytes that were received and not read.
  LinkOutcome DiscardInput() { return Discard(true, false); }

  // The system's error code of the last ReadLine that failed; 0 when it failed because its time ran out.
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
  platform::Mutex own_mutex_;  // held by each operation on the port; taken before port_mutex_
  bool of_machine_ = false;    // whether other programs can reach the port; guarded by own_mutex_
  platform::NamedMutex port_mutex_;
  HeldTrace trace_;  // guarded by own_mutex_
  mutable platform::Mutex params_mutex_;
  // All guarded by params_mutex_.
  SerialParams params_;
  std::shared_ptr<platform::BoundPort> bound_;  // the device that the last Open found; none before the first one
  platform::OpenFailure open_failure_;
  // Both guarded by port_life_mutex_. To replace the port, a thread holds both own_mutex_ and port_life_mutex_; a
  // thread that holds either may use the port.
  std::unique_ptr<platform::SerialPort> port_;
  int interruptions_ = 0;
  platform::Mutex port_life_mutex_;
  std::atomic<bool> open_ = false;
  std::atomic<bool> lost_ = false;
  std::atomic<std::uint32_t> read_ms_ = 0;
  std::atomic<std::uint32_t> write_ms_ = 0;
  std::atomic<std::uint32_t> last_error_ = 0;
  // Both guarded by own_mutex_ and valid for the open port.
  MonotonicTime wire_free_{};  // when the last written byte has left
  std::chrono::nanoseconds character_time_{0};
};

}  // namespace ulix
