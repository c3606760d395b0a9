// Replies come late by any time, alone or several at once. No driver ever takes one for the reply to a later query.
#include <gtest/gtest.h>

#include <string>

#include "sessions/outstanding_replies.h"
#include "tests/support/failing_memory.h"
#include "tests/support/reader_bench.h"

namespace ulix {
namespace {

// The lateness of the replies to a series of queries.
enum class LatenessPattern { kInTime, kAround, kLate, kBursts, kDripping, kCut, kMixed };

class StaleReplies : public ReaderBench {
 protected:
  void CheckLatenessPatterns();
  void CheckEveryLateness();
  void CheckOrdinaryExchangesSendNothingMore();
  void CheckFirstReadingAfterALongSilence();

  FaultSet FaultsIn(LatenessPattern pattern) {
    const int patience = model.patience_ms;
    switch (pattern) {
      case LatenessPattern::kInTime:
        return {{FaultKind::kDelay, Within(0, patience / 5)}};
      case LatenessPattern::kAround:
        return {{FaultKind::kDelay, Within(patience - 20, patience + 20)}};
      case LatenessPattern::kLate:
        return {{FaultKind::kDelay, Within(0, 10) * patience / Within(1, 10)}};
      case LatenessPattern::kBursts:
        return {{FaultKind::kDelay, Within(0, 3) == 0 ? Within(1, 10) * patience : 0}};
      case LatenessPattern::kDripping:
        return {{FaultKind::kDelay, Within(0, patience * 2)}, {FaultKind::kDrip, Within(1, patience / 10)}};
      case LatenessPattern::kCut:
        if (Within(0, 3) == 0) return {{FaultKind::kTruncate}, {FaultKind::kDelay, Within(0, patience * 2)}};
        if (Within(0, 3) == 0) return {{FaultKind::kSilent}};
        return {{FaultKind::kDelay, Within(0, patience * 3 / 2)}};
      default:
        return FaultsIn(static_cast<LatenessPattern>(Within(0, static_cast<int>(LatenessPattern::kMixed) - 1)));
    }
  }
};

void StaleReplies::CheckLatenessPatterns() {
  for (int pattern = 0; pattern <= static_cast<int>(LatenessPattern::kMixed); ++pattern) {
    SCOPED_TRACE(testing::Message() << "pattern " << pattern);
    for (int i = 0; i < 500; ++i) {
      bench->SetFaults(FaultsIn(static_cast<LatenessPattern>(pattern)));
      const HRESULT code = AskOnce();
      EXPECT_TRUE(code == S_OK || code == model.codes.unread) << code;
      if (Within(0, 1) == 0) clock.SleepFor(Milliseconds(Within(0, 2 * model.patience_ms)));
    }
    bench->SetFaults({});
    clock.SleepFor(Milliseconds(10'000 * model.patience_ms));
    EXPECT_EQ(AskOnce(), S_OK) << "all late replies have come by now";
    EXPECT_EQ(wrong, 0);
  }
  EXPECT_GE(values, 500) << "the pattern kInTime alone gives as many";
  // The sync queries, then the query. Other replies may come before each reply, and one more wait begins in that time.
  EXPECT_LE(longest.count(), (kMaxSyncQueries + 1) * static_cast<int>(kMaxReadTimeouts + 1) * model.patience_ms);
  RecordProperty("values", values);
  RecordProperty("longest_ms", static_cast<int>(longest.count()));
}

// One late reply in twenty, for each lateness in steps of a tenth of the patience. The next query follows at once.
void StaleReplies::CheckEveryLateness() {
  SCOPED_TRACE("every lateness");
  for (int tenths = 0; tenths <= 100; ++tenths) {
    SCOPED_TRACE(testing::Message() << "late by " << tenths << " tenths of the patience");
    values = 0;
    for (int i = 0; i < 40; ++i) {
      bench->SetFaults({{FaultKind::kDelay, i % 20 == 5 ? model.patience_ms * (10 + tenths) / 10 : 0}});
      AskOnce();
      clock.SleepFor(Milliseconds(10));
    }
    clock.SleepFor(Milliseconds(20 * model.patience_ms));
    EXPECT_GE(values, 5) << "those before the first late reply";
  }
  EXPECT_EQ(wrong, 0);
}

// An exchange sends more bytes than usual only after an exchange that failed.
void StaleReplies::CheckOrdinaryExchangesSendNothingMore() {
  SCOPED_TRACE("no byte more");
  const auto read = [&] {
    TakeSent();
    EXPECT_EQ(driver->ReadChannel(model.channels[0]).code, S_OK);
    return TakeSent();
  };
  const std::string ordinary = read();
  EXPECT_EQ(read(), ordinary);
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(driver->ReadChannel(model.channels[0]).code, model.codes.unread);
  EXPECT_TRUE(ordinary.starts_with(TakeSent())) << "the failing query sends nothing more";
  bench->SetFaults({});
  const std::string next = read();
  EXPECT_GT(next.size(), ordinary.size());
  EXPECT_TRUE(next.ends_with(ordinary));
  EXPECT_EQ(read(), ordinary);
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

// On a line that is mute for hours more and more replies are outstanding. The first exchange afterwards is right.
void StaleReplies::CheckFirstReadingAfterALongSilence() {
  SCOPED_TRACE("a long silence");
  longest = {};
  bench->SetFaults({{FaultKind::kSilent}});
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(AskOnce(), model.codes.unread);
    std::string text;
    if (i % 3 == 0) device->Identify(&text);
  }
  EXPECT_LE(longest.count(), model.patience_ms + kWireMs) << "each exchange waits as long as the first";
  bench->SetFaults({});
  for (int i = 0; i < 5; ++i) EXPECT_EQ(AskOnce(), S_OK);

  // Many outstanding replies to queries of both kinds do not prevent a new connection.
  bench->SetFaults({{FaultKind::kSilent}});
  for (int i = 0; i < 70; ++i) {
    std::string text;
    i % 2 == 0 ? device->Identify(&text) : AskOnce();
  }
  device->Disconnect();
  bench->SetFaults({});
  EXPECT_EQ(device->Connect(), S_OK);
  for (int i = 0; i < 10; ++i) AskOnce();
  EXPECT_EQ(AskOnce(), S_OK);
  EXPECT_EQ(wrong, 0);
}

TEST_P(StaleReplies, LateReply_IsNeverTakenForALaterQuery) {
  CheckOrdinaryExchangesSendNothingMore();
  CheckLatenessPatterns();
  CheckEveryLateness();
  CheckFirstReadingAfterALongSilence();
}

struct WriteCase {
  const char* model;
  ChannelId channel;
  const char* sync_query;
};

class WriteReply : public LineBench, public testing::WithParamInterface<WriteCase> {
 protected:
  WriteReply() : LineBench(GetParam().model) {}
};

// A senseless reply to a write may belong to another query. The write's own reply may still come.
TEST_P(WriteReply, SenselessReply_NextReadResynchronises) {
  ASSERT_EQ(device->Connect(), S_OK);
  const auto next_resynchronises = [&](const Fault& fault) {
    bench->SetFaults({fault});
    EXPECT_LT(driver->WriteChannel(GetParam().channel, 20.0F), 0);
    bench->SetFaults({});
    TakeSent();
    EXPECT_EQ(driver->ReadChannel(GetParam().channel).code, S_OK);
    return TakeSent().find(GetParam().sync_query) != std::string::npos;
  };
  EXPECT_TRUE(next_resynchronises({FaultKind::kGarbage}));
  EXPECT_FALSE(next_resynchronises({FaultKind::kRefuse})) << "a refusal is the write's own reply";
}

INSTANTIATE_TEST_SUITE_P(Models, WriteReply,
                         testing::Values(WriteCase{"jofrartcptc", 2, "CalibratorDevice?"},
                                         WriteCase{"kambic", 1, "IDENT"}, WriteCase{"adt761", 5, ":R:OTYPE"}),
                         [](const auto& tested) { return std::string(tested.param.model); });

class CutReply : public LineBench {
 protected:
  CutReply() : LineBench("kelvo10") {}
};

// A line longer than the buffer is read to its end before the next query. Nothing is sent for that, and the rest is not
// taken for a reply.
TEST_F(CutReply, RestOfTheLine_IsReadBeforeTheNextQuery) {
  SetBench("identity", "KELVO10" + std::string(150, '7'));
  ASSERT_EQ(device->Connect(), S_OK);
  SetBench("measure-text", "1.5");
  for (const int drip_ms : {0, 5}) {
    bench->SetFaults({{FaultKind::kDrip, drip_ms}});
    TakeSent();
    std::string text;
    EXPECT_EQ(device->Identify(&text), S_OK);
    EXPECT_EQ(text, "KELVO10" + std::string(42, '7'));
    const Reading reading = driver->ReadChannel(0);
    EXPECT_EQ(reading.code, S_OK);
    EXPECT_EQ(reading.value, 1.5F);
    EXPECT_EQ(TakeSent(), "*IDN?\nMEAS?\n");
  }
}

constexpr int kReplySize = 50;  // of a Kelvo10, the terminator included

// A line that is not driven may give zeros without end.
TEST_F(CutReply, EndlessZeros_FailInTime) {
  SetBench("measure-text", std::string(5000, '\0'));
  ASSERT_EQ(device->Connect(), S_OK);
  constexpr Milliseconds kDrip{100};
  bench->SetFaults({{FaultKind::kDrip, static_cast<int>(kDrip.count())}});
  const MonotonicTime before = clock.Now();
  driver->ReadChannel(0);
  EXPECT_LE(clock.Now() - before, kReplySize * kDrip);
}

// Reading all of a slow noisy line would block the line, and with it all other instruments, for thousands of bytes.
TEST_F(CutReply, SlowNoisyLine_FailsInTime) {
  ASSERT_EQ(device->Connect(), S_OK);
  constexpr Milliseconds kDrip{600};
  // The bytes that are read of a line before it is thrown away, and the piece that makes the line too long.
  constexpr int kMaxLine = 100 + 16;
  bench->SetFaults({{FaultKind::kOversize}, {FaultKind::kDrip, static_cast<int>(kDrip.count())}});
  for (int i = 0; i < 3; ++i) {
    const MonotonicTime before = clock.Now();
    driver->ReadChannel(0);
    EXPECT_LE(clock.Now() - before, 2 * kMaxLine * kDrip);
  }
}

INSTANTIATE_TEST_SUITE_P(Drivers, StaleReplies, testing::ValuesIn(Readers()), NameOf);

TEST(OutstandingRepliesTest, ReplyReceived_RemovesTheQueriesBeforeTheFirstItCanAnswer) {
  using enum ReplyKind;
  OutstandingReplies outstanding;
  outstanding.OnReceived(kSync);
  EXPECT_TRUE(outstanding.empty());
  for (const ReplyKind kind : {kSync, kAmbiguous, kSync, kSync}) outstanding.OnSent(kind);
  outstanding.OnReceived(kSync);  // It can only be assigned to the first query.
  EXPECT_TRUE(outstanding.Expects(kAmbiguous));
  EXPECT_EQ(outstanding.front(), kAmbiguous);
  outstanding.OnReceived(kAmbiguous);
  EXPECT_TRUE(outstanding.Expects(kAmbiguous)) << "it may have been noise";
  outstanding.OnReceived(kSync);
  EXPECT_FALSE(outstanding.Expects(kAmbiguous));
  EXPECT_TRUE(outstanding.Expects(kSync));
  outstanding.OnReceived(kSync);
  EXPECT_TRUE(outstanding.empty());
}

// Handshakes on a mute line go on sending.
TEST(OutstandingRepliesTest, ManyQueries_EachIsCountedWithoutAnAllocation) {
  using enum ReplyKind;
  constexpr int kMany = 500;
  OutstandingReplies outstanding;
  {
    const FailingAllocation failing(1);
    for (int i = 0; i < kMany; ++i) {
      outstanding.OnSent(kSync);
      outstanding.OnSent(kAmbiguous);
    }
    EXPECT_FALSE(failing.Happened());
  }
  EXPECT_TRUE(outstanding.full());
  for (int i = 0; i < kMany; ++i) {
    EXPECT_TRUE(outstanding.Expects(kSync)) << i;
    outstanding.OnReceived(kSync);
  }
  EXPECT_FALSE(outstanding.Expects(kSync));
  EXPECT_TRUE(outstanding.Expects(kAmbiguous));
}

}  // namespace
}  // namespace ulix
