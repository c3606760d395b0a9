// The one serial-port object of the library: opens, configures, reads and writes a COM port.
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

// Formatted once, with the port number that every link has when it is made: all links of the machine share one mutex,
// whatever ports they drive. Programs rely on it to interleave whole operations.
inline constexpr const char* kPortMutexName = "SerialComMutex1";

// Every operation that touches the port holds one mutex shared by all processes of the machine, whatever port it
// drives, so that whole operations interleave and never bytes. It is waited for at most 60 s; E_FAIL when it was not
// obtained. A port inside this process (a simulated instrument) needs none, and waits for no other program. Operations
// on a closed port give serialCommErrCommClosed without waiting. Any thread may call any operation.
//
// Timeouts are in milliseconds. As an argument, 0 keeps the port's own (1000 each way after Open); another value
// replaces it for that call. Reading goes byte by byte, so that nothing behind a terminator is taken: the timeout
// bounds the silence before each byte, not the line. A system takes what is written before it has left: the wait for
// the first byte begins when the written bytes have had their time on the line.
class SerialLink final : public Link, public LinkParams {
 public:
  struct Options {
    platform::PortResolver resolve_port = ResolveSerialPort;
    std::chrono::milliseconds lock_wait{60000};
    LinkTrace trace;
    Clock* clock = &SystemClock();
    std::span<const std::uint32_t> baud_rates = kBaudRates;  // to choose from
    bool other_rates = true;                                 // whether those of kBaudRates are taken as well
  };

  SerialLink() : SerialLink(Options{}) {}
  explicit SerialLink(Options options);
  SerialLink(const SerialLink&) = delete;
  SerialLink& operator=(const SerialLink&) = delete;

  // The settings that the next Open will use.
  SerialParams params() const;
  void SetParams(const SerialParams& params);
  // As a host sets them: E_INVALIDARG for a rate that the link never has.
  HRESULT ChooseParams(const SerialParams& params);
  // Whether received text is converted from the OEM code page. Text is always converted when sent.
  bool oemConversion = true;

  // Finds the device of the params' port and opens it. serialCommErrUnableToOpenComm when the port is not there, is in
  // use, or refuses the settings; S_OK when already open, whatever the fields say now.
  HRESULT Open() override;
  // The device that the last Open found and no other, whatever has its number or its path by now.
  HRESULT Reopen() override;
  HRESULT Close() override;
  // Why the last Open or Reopen failed, or the last operation that got E_FAIL because it never had its turn.
  platform::OpenFailure open_failure() const override;
  bool IsOpen() const override { return open_; }
  bool IsLost() override { return lost_; }
  // Without a wait for the mutex. A device that went is lost from then on. Not while another thread reads or writes.
  bool DeviceIsThere() override;

  LinkCodes codes() const override;
  std::span<const ErrorRow> errors() const override;
  std::string Info(Language language) const override { return CommInfoText(params(), language); }
  void ResetParams() override { SetParams(SerialParams()); }
  void SaveParams(VariantWriter& writer) const override { ulix::SaveParams(writer, params()); }
  HRESULT LoadParams(VariantReader& reader) override;
  // The rates that a person may choose from.
  std::span<const std::uint32_t> baud_rates() const { return options_.baud_rates; }

  // E_FAIL when the port refuses. Until the next Close.
  HRESULT SetTimeouts(std::uint32_t read_ms, std::uint32_t write_ms);
  HRESULT ApplyTimeouts(std::uint32_t read_ms, std::uint32_t write_ms) override;
  Milliseconds read_timeout() const override { return Milliseconds(read_ms_); }
  Milliseconds TimeLeftOnWire() override;
  HRESULT GetTimeouts(std::uint32_t* read_ms, std::uint32_t* write_ms) const;

  // serialCommErrUnableToWriteComm when not every byte went out; a timeout given with that call then stays in force.
  HRESULT WriteString(std::string_view text, std::uint32_t timeout_ms);
  // The text, then the terminator as a write of its own, under one hold of the mutex. A terminator of 0 adds nothing.
  HRESULT WriteLine(std::string_view text, char terminator, std::uint32_t timeout_ms);
  HRESULT WriteBytes(std::string_view bytes, std::uint32_t timeout_ms);

  // Reads up to the terminator and puts a zero in its place. A buffer that fills up first is cut there with success. On
  // serialCommErrUnableToReadComm the buffer holds what came, without a zero. A buffer below 2 is left alone with S_OK.
  HRESULT ReadLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms);
  // The line, cut at its first zero byte; empty on any failure.
  std::string ReadLineText(int buffer_size, char terminator, std::uint32_t timeout_ms);
  // Waits for all bytes and succeeds with what came, if anything came; how many is not told, since callers know their
  // frames.
  HRESULT ReadBytes(std::span<char> buffer, std::uint32_t timeout_ms);

  // S_OK at once when both are false, even when closed.
  HRESULT Purge(bool input, bool output);

  // The same operations for a session, which needs their outcome.
  struct Received {
    LinkOutcome outcome = LinkOutcome::kComplete;
    std::size_t count = 0;  // bytes read, zeros among them, without the terminator
  };
  // Either with what was received discarded first, under the same hold, or without.
  enum class Input { kKeep, kDiscard };
  LinkOutcome SendLine(std::string_view text, char terminator, std::uint32_t timeout_ms, Input input = Input::kKeep);
  LinkOutcome SendBytes(std::string_view bytes, std::uint32_t timeout_ms);
  // kTooLong when all but the last place of the buffer was filled.
  Received ReceiveLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms);
  Received ReceiveBytes(std::span<char> buffer, std::uint32_t timeout_ms);
  LinkOutcome DiscardInput() { return Discard(true, false); }

  // The system's error code of the last byte that ReadLine could not read; 0 when the read only ran out of time.
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
  // Both guarded by port_life_mutex_; the port is changed with own_mutex_ held as well, so that either will do to use
  // it.
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
