#include "links/serial_link.h"

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <thread>

#include "tests/support/fake_serial_port.h"

namespace ulix {
namespace {

using platform::IoOutcome;
using Calls = std::vector<std::string>;

constexpr std::string_view kUntouched = "........";

class SerialLinkTest : public testing::Test {
 protected:
  void OpenLink() {
    ASSERT_EQ(link_.Open(), S_OK);
    line_.calls.clear();
  }
  // What the line was asked since the last look.
  Calls TakeCalls() { return std::exchange(line_.calls, {}); }
  HRESULT ReadLine(std::size_t size, std::uint32_t timeout_ms = 0) {
    buffer_ = kUntouched;
    return link_.ReadLine(std::span(buffer_).first(size), '\n', timeout_ms);
  }
  std::pair<std::uint32_t, std::uint32_t> Timeouts() {
    std::uint32_t read_ms = 0;
    std::uint32_t write_ms = 0;
    EXPECT_EQ(link_.GetTimeouts(&read_ms, &write_ms), S_OK);
    return {read_ms, write_ms};
  }

  FakeLine line_;
  std::string buffer_{kUntouched};
  SerialLink link_{{.open = OpenerOf(line_)}};
};

using Pair = std::pair<std::uint32_t, std::uint32_t>;

TEST_F(SerialLinkTest, OpensInOrderWithTheDefaults) {
  EXPECT_EQ(link_.params(), SerialParams());
  EXPECT_TRUE(link_.oemConversion);
  EXPECT_FALSE(link_.IsOpen());
  EXPECT_EQ(link_.Open(), S_OK);
  EXPECT_TRUE(link_.IsOpen());
  EXPECT_EQ(TakeCalls(), (Calls{"open 1", "queues 2000 1000", "purge in out", "timeouts 1000 1000", "configure"}));
  EXPECT_EQ(Timeouts(), Pair(1000, 1000));
  EXPECT_EQ(link_.Close(), S_OK);
  EXPECT_EQ(link_.Close(), S_OK);
  EXPECT_EQ(TakeCalls(), Calls{"close"});
}

TEST_F(SerialLinkTest, KeepsItsSettingsUntilTheNextOpen) {
  OpenLink();
  link_.SetParams({.port = 7, .baudRate = 300});
  EXPECT_EQ(link_.Open(), S_OK);
  EXPECT_EQ(TakeCalls(), Calls{});
  EXPECT_EQ(line_.settings.baud_rate, 9600u);
  link_.Close();
  EXPECT_EQ(link_.Open(), S_OK);
  EXPECT_EQ(line_.settings.baud_rate, 300u);
  EXPECT_EQ(TakeCalls()[1], "open 7");
}

TEST_F(SerialLinkTest, RefusesOtherRatesBeforeThePortIsTouched) {
  for (const std::uint32_t rate : {0u, 1u, 14400u, 128001u, 0xFFFFFFFFu}) {
    link_.SetParams({.baudRate = rate});
    EXPECT_EQ(link_.Open(), serialCommErrUnableToOpenComm) << rate;
    EXPECT_FALSE(link_.IsOpen());
  }
  EXPECT_EQ(TakeCalls(), Calls{});
  for (const std::uint32_t rate : kBaudRates) {
    link_.SetParams({.baudRate = rate});
    EXPECT_EQ(link_.Open(), S_OK);
    EXPECT_EQ(line_.settings.baud_rate, rate);
    link_.Close();
  }
}

TEST_F(SerialLinkTest, TurnsEveryCodeIntoALineSetting) {
  using platform::FlowControl;
  using platform::Parity;
  struct Row {
    SerialParams params;
    int data_bits, stop_bits;
    Parity parity;
    FlowControl flow;
  };
  const Row rows[] = {
      {{.dataBitsCode = 0, .parityCode = 0, .handshakeCode = 0}, 7, 1, Parity::kEven, FlowControl::kDtrDsr},
      {{.stopBitsCode = 1, .parityCode = 1, .handshakeCode = 1}, 8, 2, Parity::kOdd, FlowControl::kNone},
      {{.dataBitsCode = 2, .stopBitsCode = 2, .handshakeCode = 2}, 7, 1, Parity::kNone, FlowControl::kXonXoff},
      {{.dataBitsCode = -1, .parityCode = 3, .handshakeCode = 3}, 7, 1, Parity::kNone, FlowControl::kNone},
      {{.stopBitsCode = -1, .parityCode = -1, .handshakeCode = -1}, 8, 1, Parity::kNone, FlowControl::kNone},
  };
  for (const Row& row : rows) {
    link_.SetParams(row.params);
    ASSERT_EQ(link_.Open(), S_OK);
    EXPECT_EQ(line_.settings.data_bits, row.data_bits);
    EXPECT_EQ(line_.settings.stop_bits, row.stop_bits);
    EXPECT_EQ(line_.settings.parity, row.parity);
    EXPECT_EQ(line_.settings.flow_control, row.flow);
    link_.Close();
  }
}

TEST_F(SerialLinkTest, AnyFailureToOpenLeavesItClosed) {
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

TEST_F(SerialLinkTest, ClosedLinkAnswersAtOnce) {
  std::uint32_t ms = 0;
  const auto expect_closed = [&] {
    EXPECT_EQ(link_.SetTimeouts(1, 1), serialCommErrCommClosed);
    EXPECT_EQ(link_.GetTimeouts(&ms, &ms), serialCommErrCommClosed);
    EXPECT_EQ(link_.WriteString("A", 0), serialCommErrCommClosed);
    EXPECT_EQ(link_.WriteLine("A", '\n', 0), serialCommErrCommClosed);
    EXPECT_EQ(link_.WriteBytes("A", 0), serialCommErrCommClosed);
    for (const std::size_t size : {0u, 1u, 8u}) EXPECT_EQ(ReadLine(size), serialCommErrCommClosed);
    EXPECT_EQ(link_.ReadBytes({}, 0), serialCommErrCommClosed);
    EXPECT_EQ(link_.ReadLineText(8, '\n', 0), "");
    EXPECT_EQ(link_.Purge(true, false), serialCommErrCommClosed);
    EXPECT_EQ(link_.Purge(false, false), S_OK);
    EXPECT_EQ(link_.Close(), S_OK);
  };
  // Held elsewhere, the mutex would keep every one of them for a minute.
  platform::NamedMutex mutex("SerialComMutex1");
  ASSERT_TRUE(mutex.LockFor(std::chrono::seconds(60)));
  const auto start = std::chrono::steady_clock::now();
  std::thread(expect_closed).join();
  mutex.Unlock();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(SerialLinkTest, ReadsByteByByteUpToTheTerminator) {
  OpenLink();
  line_.input = "ABC\nrest";
  EXPECT_EQ(ReadLine(8), S_OK);
  EXPECT_EQ(buffer_, std::string("ABC\0....", 8));
  EXPECT_EQ(line_.input, "rest");
  EXPECT_EQ(TakeCalls(), Calls(4, "read 1"));
  line_.input = "\n";
  EXPECT_EQ(ReadLine(2), S_OK);
  EXPECT_EQ(buffer_.substr(0, 2), std::string("\0.", 2));
}

TEST_F(SerialLinkTest, CutsALineThatFillsTheBuffer) {
  OpenLink();
  line_.input = "ABCDEFG";
  EXPECT_EQ(ReadLine(4), S_OK);
  EXPECT_EQ(buffer_, std::string("ABC\0....", 8));
  EXPECT_EQ(line_.input, "DEFG");
  EXPECT_EQ(link_.ReadLineText(3, '\n', 0), "DE");
  line_.input = std::string("X\0Y\n", 4);
  EXPECT_EQ(link_.ReadLineText(8, '\n', 0), "X");
}

TEST_F(SerialLinkTest, LeavesATooSmallBufferAlone) {
  OpenLink();
  line_.input = "ABC\n";
  for (const std::size_t size : {0u, 1u}) EXPECT_EQ(ReadLine(size, 500), S_OK);
  for (const int size : {-5, 0, 1}) EXPECT_EQ(link_.ReadLineText(size, '\n', 0), "");
  EXPECT_EQ(link_.ReadBytes({}, 500), S_OK);
  EXPECT_EQ(buffer_, kUntouched);
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(SerialLinkTest, FailedReadLeavesWhatCameWithoutAnEnd) {
  OpenLink();
  line_.input = "AB";
  line_.after_input = {IoOutcome::kLinkLost, 0, 5};
  EXPECT_EQ(ReadLine(8), serialCommErrUnableToReadComm);
  EXPECT_EQ(buffer_, "AB......");
  EXPECT_EQ(link_.lastError(), 5u);
  EXPECT_EQ(TakeCalls(), (Calls{"read 1", "read 1", "read 1", "clear"}));
  EXPECT_TRUE(link_.IsOpen());
  // Only ReadLine touches it, and silence is no error of the system.
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 0), serialCommErrUnableToReadComm);
  EXPECT_EQ(link_.lastError(), 5u);
  line_.after_input = {IoOutcome::kNoFirstByte, 0, 0};
  EXPECT_EQ(ReadLine(8), serialCommErrUnableToReadComm);
  EXPECT_EQ(link_.lastError(), 0u);
  line_.input = "AB";
  EXPECT_EQ(link_.ReadLineText(8, '\n', 0), "");
}

TEST_F(SerialLinkTest, ConvertsWhatItSendsAndByFlagWhatItReceives) {
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

TEST_F(SerialLinkTest, ConvertsAfterAFailedReadOnlyWhatCame) {
  OpenLink();
  line_.input = "\xF8";
  std::array<char, 4> buffer{'\xF8', '\xF8', '\xF8', '\xF8'};
  EXPECT_EQ(link_.ReadLine(buffer, '\n', 0), serialCommErrUnableToReadComm);
  EXPECT_EQ(std::string_view(buffer.data(), 4), "\xB0\xF8\xF8\xF8");
}

TEST_F(SerialLinkTest, PutsAReadTimeoutBackWhateverHappened) {
  OpenLink();
  EXPECT_EQ(link_.SetTimeouts(700, 800), S_OK);
  TakeCalls();
  line_.input = "A\nBC";
  EXPECT_EQ(ReadLine(8, 50), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 50 800", "read 1", "read 1", "timeouts 700 800"}));
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 50), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 50 800", "read 8", "timeouts 700 800"}));
  EXPECT_EQ(ReadLine(8, 50), serialCommErrUnableToReadComm);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 50 800", "read 1", "clear", "timeouts 700 800"}));
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 50), serialCommErrUnableToReadComm);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 50 800", "read 8", "clear", "timeouts 700 800"}));
  EXPECT_EQ(Timeouts(), Pair(700, 800));
}

TEST_F(SerialLinkTest, PutsAWriteTimeoutBackOnlyAfterSuccess) {
  OpenLink();
  EXPECT_EQ(link_.WriteString("AB", 50), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 1000 50", "write AB", "timeouts 1000 1000"}));
  line_.bytes_taken = 1;
  EXPECT_EQ(link_.WriteString("AB", 50), serialCommErrUnableToWriteComm);
  EXPECT_EQ(TakeCalls(), (Calls{"timeouts 1000 50", "write AB", "clear"}));
  EXPECT_EQ(Timeouts(), Pair(1000, 50));
  EXPECT_EQ(link_.WriteBytes("AB", 60), serialCommErrUnableToWriteComm);
  EXPECT_EQ(Timeouts(), Pair(1000, 60));
}

TEST_F(SerialLinkTest, SaysWhenTimeoutsCannotBeSetOrPutBack) {
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

  line_.timeouts_taken = 1;
  EXPECT_EQ(ReadLine(8, 50), E_FAIL);
  EXPECT_EQ(buffer_.substr(0, 2), std::string("\xF8\0", 2));  // not converted either
  line_.timeouts_taken = 1;
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 50), E_FAIL);
  line_.timeouts_taken = 1;
  EXPECT_EQ(link_.WriteString("A", 50), E_FAIL);
  line_.timeouts_taken = 1;
  EXPECT_EQ(link_.WriteBytes("A", 50), E_FAIL);
}

TEST_F(SerialLinkTest, WritesALineAndItsTerminatorApart) {
  OpenLink();
  EXPECT_EQ(link_.WriteLine("MEAS?", '\n', 0), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"write MEAS?", "write \n"}));
  EXPECT_EQ(link_.WriteLine("MEAS?", '\0', 0), S_OK);
  EXPECT_EQ(TakeCalls(), Calls{"write MEAS?"});
  line_.bytes_taken = 2;
  EXPECT_EQ(link_.WriteLine("MEAS?", '\n', 0), serialCommErrUnableToWriteComm);
  EXPECT_EQ(TakeCalls(), (Calls{"write MEAS?", "clear"}));
  line_.bytes_taken = 0;
  EXPECT_EQ(link_.WriteLine("", '\n', 0), serialCommErrUnableToWriteComm);
  EXPECT_EQ(TakeCalls(), (Calls{"write ", "write \n", "clear"}));
}

TEST_F(SerialLinkTest, ReadsRawBytesInOneCall) {
  OpenLink();
  line_.input = "A\nB";
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_).first(2), 0), S_OK);
  EXPECT_EQ(buffer_, "A\n......");
  line_.after_input = {IoOutcome::kLinkLost, 0, 5};
  EXPECT_EQ(link_.ReadBytes(std::span(buffer_), 0), S_OK);
  EXPECT_EQ(buffer_, "B\n......");
  EXPECT_EQ(TakeCalls(), (Calls{"read 2", "read 8"}));
}

TEST_F(SerialLinkTest, PurgesWhatItIsTold) {
  OpenLink();
  EXPECT_EQ(link_.Purge(true, false), S_OK);
  EXPECT_EQ(link_.Purge(false, true), S_OK);
  EXPECT_EQ(link_.Purge(false, false), S_OK);
  EXPECT_EQ(link_.Purge(true, true), S_OK);
  EXPECT_EQ(TakeCalls(), (Calls{"purge in", "purge out", "purge in out"}));
}

TEST_F(SerialLinkTest, TracesWhatMoved) {
  std::vector<std::pair<TraceDirection, std::string>> traced;
  SerialLink link({.open = OpenerOf(line_), .trace = [&](TraceDirection direction, std::string_view bytes) {
                     traced.emplace_back(direction, bytes);
                   }});
  ASSERT_EQ(link.Open(), S_OK);
  line_.input = "\xF8\nAB";
  link.WriteLine("\xB0", '\n', 0);
  link.ReadLineText(8, '\n', 0);
  link.ReadLineText(8, '\n', 0);
  const decltype(traced) expected = {{TraceDirection::kSent, "\xF8"},
                                     {TraceDirection::kSent, "\n"},
                                     {TraceDirection::kReceived, "\xF8\n"},
                                     {TraceDirection::kReceived, "AB"}};
  EXPECT_EQ(traced, expected);
}

TEST_F(SerialLinkTest, GivesUpWhenTheMutexIsHeldElsewhere) {
  SerialLink closed({.open = OpenerOf(line_), .lock_wait = std::chrono::milliseconds(1)});
  SerialLink link({.open = OpenerOf(line_), .lock_wait = std::chrono::milliseconds(1)});
  platform::NamedMutex mutex("SerialComMutex1");
  ASSERT_TRUE(mutex.LockFor(std::chrono::seconds(60)));
  ASSERT_EQ(link.Open(), S_OK);
  line_.calls.clear();
  const auto expect_refused = [&] {
    EXPECT_EQ(closed.Open(), E_FAIL);
    EXPECT_EQ(link.SetTimeouts(1, 1), E_FAIL);
    EXPECT_EQ(link.WriteString("A", 0), E_FAIL);
    EXPECT_EQ(link.WriteLine("A", '\n', 0), E_FAIL);
    EXPECT_EQ(link.WriteBytes("A", 0), E_FAIL);
    EXPECT_EQ(link.ReadLine(buffer_, '\n', 0), E_FAIL);
    EXPECT_EQ(link.ReadBytes(buffer_, 0), E_FAIL);
    EXPECT_EQ(link.Purge(true, true), E_FAIL);
    EXPECT_EQ(link.Close(), E_FAIL);
    std::uint32_t ms = 0;
    EXPECT_EQ(link.GetTimeouts(&ms, &ms), S_OK);
  };
  std::thread(expect_refused).join();
  EXPECT_EQ(TakeCalls(), Calls{});
  EXPECT_TRUE(link.IsOpen());
  // Whoever holds the mutex may go on with whole exchanges.
  EXPECT_EQ(link.WriteLine("A", '\n', 0), S_OK);
  mutex.Unlock();
  EXPECT_EQ(link.Close(), S_OK);
}

// Both links write to one unguarded log: an overlap breaks a line in two, and shows as a race.
TEST_F(SerialLinkTest, LinksOnDifferentPortsNeverOverlap) {
  constexpr int kLines = 300;
  const auto write_lines = [&](int port, std::string_view text) {
    SerialLink link({.open = OpenerOf(line_)});
    link.SetParams({.port = port});
    EXPECT_EQ(link.Open(), S_OK);
    for (int i = 0; i < kLines; ++i) EXPECT_EQ(link.WriteLine(text, '\n', 0), S_OK);
    EXPECT_EQ(link.Close(), S_OK);
  };
  auto other = std::async(std::launch::async, write_lines, 2, "two");
  write_lines(1, "one");
  other.get();
  int lines = 0;
  for (std::size_t i = 0; i + 1 < line_.calls.size(); ++i) {
    if (line_.calls[i] != "write one" && line_.calls[i] != "write two") continue;
    EXPECT_EQ(line_.calls[i + 1], "write \n");
    ++lines;
  }
  EXPECT_EQ(lines, 2 * kLines);
}

}  // namespace
}  // namespace ulix
