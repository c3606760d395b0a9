#include "links/serial_link.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "tests/support/fake_serial_port.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

using platform::IoOutcome;
using Calls = std::vector<std::string>;
using Pair = std::pair<std::uint32_t, std::uint32_t>;

constexpr std::string_view kUntouched = "........";

class SerialLinkTest : public testing::Test {
 protected:
  void OpenLink() {
    ASSERT_EQ(link_.Open(), S_OK);
    line_.calls.clear();
  }
  // The calls that the line received since the last TakeCalls.
  Calls TakeCalls() { return std::exchange(line_.calls, {}); }
  HRESULT ReadLine(std::size_t size, std::uint32_t timeout_ms = 0) {
    buffer_ = kUntouched;
    return link_.ReadLine(std::span(buffer_).first(size), '\n', timeout_ms);
  }
  Pair Timeouts() {
    Pair read_and_write;
    EXPECT_EQ(link_.GetTimeouts(&read_and_write.first, &read_and_write.second), S_OK);
    return read_and_write;
  }

  FakeLine line_;
  std::string buffer_{kUntouched};
  SerialLink link_{{.resolve_port = ResolverOf(line_)}};
};

TEST_F(SerialLinkTest, Open_PreparesThePortInOrder) {
  EXPECT_EQ(link_.params(), SerialParams());
  EXPECT_TRUE(link_.oemConversion);
  EXPECT_FALSE(link_.IsOpen());
  EXPECT_EQ(link_.Open(), S_OK);
  EXPECT_TRUE(link_.IsOpen());
  EXPECT_EQ(TakeCalls(), (Calls{"open 1", "queues 2000 1000", "purge in out", "timeouts 1000 1000", "configure"}));
  EXPECT_EQ(Timeouts(), Pair(1000, 1000));
}

TEST_F(SerialLinkTest, ParamsSetWhileOpen_ApplyAtTheNextOpen) {
  OpenLink();
  link_.SetParams({.port = 7, .baudRate = 300});
  EXPECT_EQ(link_.Open(), S_OK);
  EXPECT_EQ(link_.Close(), S_OK);
  EXPECT_EQ(link_.Close(), S_OK);
  EXPECT_EQ(TakeCalls(), Calls{"close"});
  EXPECT_EQ(line_.settings.baud_rate, 9600u);
  EXPECT_EQ(link_.Open(), S_OK);
  EXPECT_EQ(line_.settings.baud_rate, 300u);
  EXPECT_EQ(TakeCalls()[0], "open 7");
}

TEST_F(SerialLinkTest, UnsupportedBaudRate_IsRefusedBeforeThePortIsOpened) {
  for (const std::uint32_t rate : {0u, 1u, 14400u, 128001u, 0xFFFFFFFFu}) {
    link_.SetParams({.baudRate = rate});
    EXPECT_EQ(link_.Open(), serialCommErrUnableToOpenComm) << rate;
  }
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(SerialLinkTest, ParameterCodes_BecomeLineSettings) {
  using enum platform::FlowControl;
  using platform::Parity;
  const std::pair<SerialParams, platform::LineSettings> rows[] = {
      {{.dataBitsCode = 0, .parityCode = 0, .handshakeCode = 0}, {9600, 7, 1, Parity::kEven, kDtrDsr}},
      {{.stopBitsCode = 1, .parityCode = 1, .handshakeCode = 1}, {9600, 8, 2, Parity::kOdd, kNone}},
      {{.dataBitsCode = 2, .stopBitsCode = 2, .handshakeCode = 2}, {9600, 7, 1, Parity::kNone, kXonXoff}},
      {{.dataBitsCode = -1, .parityCode = 3, .handshakeCode = 3}, {9600, 7, 1, Parity::kNone, kNone}},
      {{.stopBitsCode = -1, .parityCode = -1, .handshakeCode = -1}, {9600, 8, 1, Parity::kNone, kNone}},
  };
  for (const auto& [params, settings] : rows) {
    link_.SetParams(params);
    ASSERT_EQ(link_.Open(), S_OK);
    EXPECT_EQ(line_.settings.data_bits, settings.data_bits);
    EXPECT_EQ(line_.settings.stop_bits, settings.stop_bits);
    EXPECT_EQ(line_.settings.parity, settings.parity);
    EXPECT_EQ(line_.settings.flow_control, settings.flow_control);
    link_.Close();
  }
}

TEST_F(SerialLinkTest, OpenThatFails_ClosesThePort) {
  const auto fails = [&](auto& order, auto value, const Calls& calls) {
    const auto before = std::exchange(order, value);
    EXPECT_EQ(link_.Open(), serialCommErrUnableToOpenComm);
    EXPECT_FALSE(link_.IsOpen());
    EXPECT_EQ(TakeCalls(), calls);
    order = before;
  };
  fails(line_.refuses_open, true, {"open 1"});
  fails(line_.refuses_queues, true, {"open 1", "queues 2000 1000", "close"});
  fails(line_.timeouts_taken, 0, {"open 1", "queues 2000 1000", "purge in out", "timeouts 1000 1000", "close"});
  fails(line_.refuses_configure, true,
        {"open 1", "queues 2000 1000", "purge in out", "timeouts 1000 1000", "configure", "close"});
  EXPECT_EQ(link_.Open(), S_OK);
}

TEST_F(SerialLinkTest, ReadLine_EndsAtTheTerminatorOrTheFullBuffer) {
  OpenLink();
  line_.input = "ABC\nDEFGHI";
  EXPECT_EQ(ReadLine(8), S_OK);
  EXPECT_EQ(buffer_, std::string("ABC\0....", 8));
  EXPECT_EQ(TakeCalls(), Calls(4, "read 1"));
  EXPECT_EQ(ReadLine(4), S_OK);
  EXPECT_EQ(buffer_, std::string("DEF\0....", 8));
  EXPECT_EQ(link_.ReadLineText(3, '\n', 0), "GH");
  line_.input = std::string("X\0Y\n\n", 5);
  EXPECT_EQ(link_.ReadLineText(8, '\n', 0), "X");
  EXPECT_EQ(ReadLine(2), S_OK);
  EXPECT_EQ(buffer_.substr(0, 2), std::string("\0.", 2));
}

TEST_F(SerialLinkTest, ReadIntoTooSmallABuffer_SucceedsAndReadsNothing) {
  OpenLink();
  line_.input = "ABC\n";
  for (const std::size_t size : {0u, 1u}) EXPECT_EQ(ReadLine(size, 500), S_OK);
  for (const int size : {-5, 0, 1}) EXPECT_EQ(link_.ReadLineText(size, '\n', 0), "");
  EXPECT_EQ(link_.ReadBytes({}, 500), S_OK);
  EXPECT_EQ(buffer_, kUntouched);
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(SerialLinkTest, ReadLineThatFails_LeavesTheReceivedTextUnterminated) {
  OpenLink();
  line_.input = "AB";
  line_.after_input = {IoOutcome::kLinkLost, 0, 5};
  EXPECT_EQ(ReadLine(8), serialCommErrUnableToReadComm);
  EXPECT_EQ(buffer_, "AB......");
  EXPECT_EQ(link_.lastError(), 5u);
  EXPECT_EQ(TakeCalls(), (Calls{"read 1", "read 1", "read 1", "clear"}));
  EXPECT_TRUE(link_.IsOpen());
}

// lastError holds the system's error of the last ReadLine. A timeout is no error of the system.
TEST_F(SerialLinkTest, ReadLineThatFails_SetsLastErrorAndReadBytesDoesNot) {
  OpenLink();
  line_.after_input = {IoOutcome::kLinkLost, 0, 5};
  EXPECT_EQ(ReadLine(8), serialCommErrUnableToReadComm);
  EXPECT_EQ(link_.lastError(), 5u);
  line_.after_input = {IoOutcome::kLinkLost, 0, 6};
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 0), serialCommErrUnableToReadComm);
  EXPECT_EQ(link_.lastError(), 5u);
  line_.after_input = {IoOutcome::kNoFirstByte, 0, 0};
  EXPECT_EQ(ReadLine(8), serialCommErrUnableToReadComm);
  EXPECT_EQ(link_.lastError(), 0u);
}

TEST_F(SerialLinkTest, ReadThatTimesOutMidway_ConvertsTheReceivedText) {
  OpenLink();
  line_.after_input = {IoOutcome::kNoFirstByte, 0, 0};
  line_.input = "\xF8";
  EXPECT_EQ(ReadLine(4), serialCommErrUnableToReadComm);
  EXPECT_EQ(buffer_, "\xB0.......");
  line_.input = "AB";
  EXPECT_EQ(link_.ReadLineText(8, '\n', 0), "");
}

TEST_F(SerialLinkTest, OemConversion_AppliesToWrittenTextAndIfEnabledToReadLines) {
  OpenLink();
  for (const bool conversion : {true, false}) {
    link_.oemConversion = conversion;
    EXPECT_EQ(link_.WriteString("\xB0\x43", 0), S_OK);
    EXPECT_EQ(link_.WriteLine("\xE9", '\xB0', 0), S_OK);
    EXPECT_EQ(TakeCalls(), (Calls{"write \xF8\x43", "write \x82", "write \xF8"}));
    EXPECT_EQ(link_.WriteBytes("\xB0", 0), S_OK);
    EXPECT_EQ(TakeCalls(), (Calls{"write \xB0"}));
    line_.input = "\xF8\n\xF8";
    EXPECT_EQ(link_.ReadLineText(8, '\n', 0), conversion ? "\xB0" : "\xF8");
    EXPECT_EQ(link_.ReadBytes(std::span(buffer_).first(1), 0), S_OK);
    EXPECT_EQ(buffer_[0], '\xF8');
    TakeCalls();
  }
}

TEST_F(SerialLinkTest, ReadWithItsOwnTimeout_AlwaysRestoresTheTimeout) {
  OpenLink();
  EXPECT_EQ(link_.SetTimeouts(700, 800), S_OK);
  TakeCalls();
  line_.input = "A\n";
  EXPECT_EQ(ReadLine(8, 50), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 50 800", "read 1", "read 1", "timeouts 700 800"}));
  EXPECT_EQ(ReadLine(8, 50), serialCommErrUnableToReadComm);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 50 800", "read 1", "clear", "timeouts 700 800"}));
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 50), serialCommErrUnableToReadComm);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 50 800", "read 8", "clear", "timeouts 700 800"}));
}

TEST_F(SerialLinkTest, WriteWithItsOwnTimeout_RestoresTheTimeoutOnlyAfterSuccess) {
  OpenLink();
  EXPECT_EQ(link_.SetTimeouts(700, 800), S_OK);
  TakeCalls();
  EXPECT_EQ(link_.WriteString("AB", 50), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 700 50", "write AB", "timeouts 700 800"}));
  line_.bytes_taken = 1;
  EXPECT_EQ(link_.WriteString("AB", 50), serialCommErrUnableToWriteComm);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 700 50", "write AB", "clear"}));
  EXPECT_EQ(link_.WriteBytes("AB", 60), serialCommErrUnableToWriteComm);
  EXPECT_EQ(Timeouts(), Pair(700, 60));
}

TEST_F(SerialLinkTest, TimeoutThatCannotBeSet_FailsTheCall) {
  OpenLink();
  line_.input = "\xF8\n\xF8\xF8";
  line_.timeouts_taken = 0;
  EXPECT_EQ(link_.SetTimeouts(1, 2), E_FAIL);
  EXPECT_EQ(ReadLine(8, 50), serialCommErrUnableToReadComm);
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 50), serialCommErrUnableToReadComm);
  EXPECT_EQ(link_.WriteString("A", 50), serialCommErrUnableToWriteComm);
  EXPECT_EQ(link_.WriteBytes("A", 50), serialCommErrUnableToWriteComm);
  EXPECT_EQ(TakeCalls(),
            (Calls{"timeouts 1 2", "timeouts 50 1000", "timeouts 50 1000", "timeouts 1000 50", "timeouts 1000 50"}));
  EXPECT_EQ(Timeouts(), Pair(1000, 1000));
}

TEST_F(SerialLinkTest, TimeoutThatCannotBeRestored_IsEFail) {
  OpenLink();
  line_.input = "\xF8\n\xF8\xF8";
  const auto put_back_fails = [&](auto&& act) {
    line_.timeouts_taken = 1;
    EXPECT_EQ(act(), E_FAIL);
  };
  put_back_fails([&] { return ReadLine(8, 50); });
  EXPECT_EQ(buffer_.substr(0, 2), std::string("\xF8\0", 2)) << "not converted either";
  put_back_fails([&] { return link_.ReadBytes(std::span(buffer_), 50); });
  put_back_fails([&] { return link_.WriteString("A", 50); });
  put_back_fails([&] { return link_.WriteBytes("A", 50); });
}

TEST_F(SerialLinkTest, WriteLine_WritesTextThenTerminator) {
  OpenLink();
  for (const char end : {'\n', '\0'}) EXPECT_EQ(link_.WriteLine("MEAS?", end, 0), S_OK);
  line_.bytes_taken = 2;
  EXPECT_EQ(link_.WriteLine("MEAS?", '\n', 0), serialCommErrUnableToWriteComm);
  EXPECT_EQ(TakeCalls(), (Calls{"write MEAS?", "write \n", "write MEAS?", "write MEAS?", "clear"}));
}

TEST_F(SerialLinkTest, Purge_DiscardsTheDirectionsNamed) {
  OpenLink();
  for (const bool input : {true, false}) EXPECT_EQ(link_.Purge(input, !input), S_OK);
  EXPECT_EQ(link_.Purge(false, false), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"purge in", "purge out"}));
}

// Calls every operation of the link, Close last, and returns their results.
std::vector<HRESULT> TryAll(SerialLink& link) {
  std::string buffer(8, '.');
  return {link.SetTimeouts(1, 1),    link.WriteString("A", 0),       link.WriteLine("A", '\n', 0),
          link.WriteBytes("A", 0),   link.ReadLine(buffer, '\n', 0), link.ReadLine(std::span(buffer).first(0), '\n', 0),
          link.ReadBytes(buffer, 0), link.Purge(true, false),        link.Close()};
}

// Opening a port discards the bytes that have not left it.
TEST_F(SerialLinkTest, Close_WaitsUntilTheLastCommandHasLeft) {
  ManualClock clock(ManualClock::Mode::kAutomatic);
  SerialLink link({.resolve_port = ResolverOf(line_), .clock = &clock});
  const auto time_of_close_after = [&](std::string_view text) {
    EXPECT_EQ(link.Open(), S_OK);
    EXPECT_EQ(link.WriteLine(text, '\n', 0), S_OK);
    const MonotonicTime start = clock.Now();
    EXPECT_EQ(link.Close(), S_OK);
    return clock.Now() - start;
  };
  link.SetParams({.baudRate = 300});
  EXPECT_EQ(time_of_close_after("LOC"), Milliseconds(134)) << "four characters of ten bits";
  EXPECT_EQ(time_of_close_after(std::string(100, 'A')), Milliseconds(1000)) << "the longest wait";
}

// Another thread holds the mutex. A call with the default wait would wait for a minute.
TEST_F(SerialLinkTest, MutexHeldByAnotherThread_ClosedLinkFailsAtOnce) {
  SerialLink closed({.resolve_port = ResolverOf(line_), .lock_wait = std::chrono::milliseconds(1)});
  platform::NamedMutex mutex("SerialComMutex1");
  ASSERT_TRUE(mutex.LockFor(std::chrono::seconds(60)));
  const auto start = std::chrono::steady_clock::now();
  std::thread([&] {
    std::vector<HRESULT> all(9, serialCommErrCommClosed);
    all.back() = S_OK;
    EXPECT_EQ(TryAll(link_), all);
    EXPECT_EQ(link_.ReadLineText(8, '\n', 0), "");
    EXPECT_EQ(link_.Purge(false, false), S_OK);
    std::uint32_t ms = 0;
    EXPECT_EQ(link_.GetTimeouts(&ms, &ms), serialCommErrCommClosed);
    EXPECT_EQ(closed.Open(), E_FAIL);
  }).join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(TakeCalls(), Calls{});
  mutex.Unlock();
}

TEST_F(SerialLinkTest, MutexHeldByAnotherThread_OpenLinkTimesOutAndNamesTheMutex) {
  SerialLink impatient({.resolve_port = ResolverOf(line_), .lock_wait = std::chrono::milliseconds(1)});
  platform::NamedMutex mutex("SerialComMutex1");
  ASSERT_TRUE(mutex.LockFor(std::chrono::seconds(60)));
  ASSERT_EQ(impatient.Open(), S_OK);
  line_.calls.clear();
  std::thread([&] {
    std::vector<HRESULT> all(9, E_FAIL);
    all[5] = S_OK;  // a read into an empty buffer
    EXPECT_EQ(TryAll(impatient), all);
    std::uint32_t ms = 0;
    EXPECT_EQ(impatient.GetTimeouts(&ms, &ms), S_OK);
  }).join();
  EXPECT_EQ(TakeCalls(), Calls{});
  EXPECT_TRUE(impatient.IsOpen());
  EXPECT_EQ(impatient.open_failure().cause, platform::OpenFailureCause::kNoTurn);
  EXPECT_NE(impatient.open_failure().lock.object.find("SerialComMutex1"), std::string::npos);
  // The thread that holds the mutex can go on with its exchanges.
  EXPECT_EQ(impatient.WriteLine("A", '\n', 0), S_OK);
  EXPECT_EQ(impatient.Close(), S_OK);
  mutex.Unlock();
}

// Another program that waits for a mute instrument does not delay a simulated one.
TEST_F(SerialLinkTest, PortInsideTheProcess_DoesNotWaitForOtherPrograms) {
  line_.of_machine = false;
  platform::NamedMutex mutex("SerialComMutex1");
  ASSERT_TRUE(mutex.LockFor(std::chrono::seconds(60)));
  std::thread([&] {
    SerialLink link({.resolve_port = ResolverOf(line_), .lock_wait = std::chrono::milliseconds(1)});
    EXPECT_EQ(link.Open(), S_OK);
    EXPECT_EQ(link.WriteLine("A", '\n', 0), S_OK);
    EXPECT_EQ(link.Close(), S_OK);
  }).join();
  mutex.Unlock();
}

// A trace may block, for example on a paused terminal. Other links must not wait for it.
TEST_F(SerialLinkTest, Trace_IsCalledAfterTheMutexIsReleased) {
  bool free = false;
  platform::NamedMutex mutex("SerialComMutex1");
  SerialLink link({.resolve_port = ResolverOf(line_), .trace = [&](TraceDirection, std::string_view) {
                     std::thread([&] {
                       free = mutex.LockFor(std::chrono::seconds(10));
                       if (free) mutex.Unlock();
                     }).join();
                   }});
  ASSERT_EQ(link.Open(), S_OK);
  EXPECT_EQ(link.WriteLine("A", '\n', 0), S_OK);
  EXPECT_TRUE(free);
}

// Both links write to one log without a lock. An overlap breaks a line in two and shows as a race.
TEST_F(SerialLinkTest, LinksOnDifferentPorts_NeverOverlap) {
  const auto write_lines = [&](int port, std::string_view text) {
    SerialLink link({.resolve_port = ResolverOf(line_)});
    link.SetParams({.port = port});
    EXPECT_EQ(link.Open(), S_OK);
    for (int i = 0; i < 300; ++i) EXPECT_EQ(link.WriteLine(text, '\n', 0), S_OK);
    EXPECT_EQ(link.Close(), S_OK);
  };
  auto other = std::async(std::launch::async, write_lines, 2, "two");
  write_lines(1, "one");
  other.get();
  for (std::size_t i = 0; i + 1 < line_.calls.size(); ++i) {
    EXPECT_TRUE(!line_.calls[i].starts_with("write ") || line_.calls[i] == "write \n" ||
                line_.calls[i + 1] == "write \n");
  }
}

}  // namespace
}  // namespace ulix
