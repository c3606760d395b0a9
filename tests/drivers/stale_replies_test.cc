// Replies that come late, at any time, alone or several at once: no driver ever takes one for the answer to a later
// query.
#include <gtest/gtest.h>

#include <string>

#include "sessions/outstanding_replies.h"
#include "tests/support/reader_bench.h"

namespace ulix {
namespace {

// How the replies of a stretch of queries come.
enum class LatenessPattern { kInTime, kAround, kLate, kBursts, kDripping, kCut, kMixed };

class StaleReplies : public ReaderBench {
 protected:
  void AreNeverTakenForTheReplyThatWasAskedFor();
  void AtEveryLatenessOfOneReplyInTwenty();
  void CostNoByteInOrdinaryExchanges();
  void FirstReadingAfterALongSilenceIsRight();

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

void StaleReplies::AreNeverTakenForTheReplyThatWasAskedFor() {
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
    EXPECT_EQ(AskOnce(), S_OK) << "all is well again, and all that was late has come";
    EXPECT_EQ(wrong, 0);
  }
  EXPECT_GE(values, 500) << "the fair pattern alone";
  // A few exchanges to get in sync, then the query; each reply may use up the patience, and its bytes may drip.
  EXPECT_LE(longest.count(), 60 * model.patience_ms);
  RecordProperty("values", values);
  RecordProperty("longest_ms", static_cast<int>(longest.count()));
}

// One late reply, at every lateness in steps, between queries that follow at once.
void StaleReplies::AtEveryLatenessOfOneReplyInTwenty() {
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
    EXPECT_GE(values, tenths < 20 ? 30 : 2);
  }
  EXPECT_EQ(wrong, 0);
}

// Only after an exchange that failed does a byte go out that was not there before.
void StaleReplies::CostNoByteInOrdinaryExchanges() {
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
  EXPECT_TRUE(ordinary.starts_with(TakeSent())) << "the query that fails";
  bench->SetFaults({});
  const std::string next = read();
  EXPECT_GT(next.size(), ordinary.size());
  EXPECT_TRUE(next.ends_with(ordinary));
  EXPECT_EQ(read(), ordinary);
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

// A line that is mute for hours owes more and more; the first exchange with the instrument back is right.
void StaleReplies::FirstReadingAfterALongSilenceIsRight() {
  SCOPED_TRACE("a long silence");
  longest = {};
  bench->SetFaults({{FaultKind::kSilent}});
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(AskOnce(), model.codes.unread);
    std::string text;
    if (i % 3 == 0) device->Identify(&text);
  }
  EXPECT_LE(longest.count(), model.patience_ms + kWireMs) << "a wait, as ever";
  bench->SetFaults({});
  for (int i = 0; i < 5; ++i) EXPECT_EQ(AskOnce(), S_OK);

  // Queries of both kinds by turns are never forgotten, and keep nobody from connecting again.
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

TEST_P(StaleReplies, AreNobodysAnswer) {
  CostNoByteInOrdinaryExchanges();
  AreNeverTakenForTheReplyThatWasAskedFor();
  AtEveryLatenessOfOneReplyInTwenty();
  FirstReadingAfterALongSilenceIsRight();
}

struct WriteCase {
  const char* model;
  ChannelId channel;
  const char* sync_query;
};

class SenselessAnswer : public LineBench, public testing::WithParamInterface<WriteCase> {
 protected:
  SenselessAnswer() : LineBench(GetParam().model) {}
};

// What answers a write without being an answer to it may be another's reply; its own may still come.
TEST_P(SenselessAnswer, ToAWriteLeavesTheLineInDoubt) {
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
  EXPECT_FALSE(next_resynchronises({FaultKind::kRefuse})) << "an answer";
}

INSTANTIATE_TEST_SUITE_P(Models, SenselessAnswer,
                         testing::Values(WriteCase{"jofrartcptc", 2, "CalibratorDevice?"},
                                         WriteCase{"kambic", 1, "IDENT"}, WriteCase{"adt761", 5, ":R:OTYPE"}),
                         [](const auto& tested) { return std::string(tested.param.model); });

class CutReply : public LineBench {
 protected:
  CutReply() : LineBench("kelvo10") {}
};

// A line that is longer than what is read of it is read to its end before the next query: no byte goes out for it, and
// its rest is no reply.
TEST_F(CutReply, ItsRestIsNobodysReply) {
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

// Nor do zeros without end, such as a line that floats may give, keep an exchange.
TEST_F(CutReply, ZerosAreCountedToo) {
  SetBench("measure-text", std::string(5000, '\0'));
  ASSERT_EQ(device->Connect(), S_OK);
  bench->SetFaults({{FaultKind::kDrip, 100}});
  const MonotonicTime before = clock.Now();
  driver->ReadChannel(0);
  EXPECT_LE(clock.Now() - before, Milliseconds(10'000));
}

// A slow noisy line would keep the line, and with it every other instrument's, for its thousands of bytes.
TEST_F(CutReply, SlowNoisyLine_IsGivenUp) {
  ASSERT_EQ(device->Connect(), S_OK);
  bench->SetFaults({{FaultKind::kOversize}, {FaultKind::kDrip, 600}});
  for (int i = 0; i < 3; ++i) {
    const MonotonicTime before = clock.Now();
    driver->ReadChannel(0);
    EXPECT_LE(clock.Now() - before, Milliseconds(200'000));
  }
}

INSTANTIATE_TEST_SUITE_P(Drivers, StaleReplies, testing::ValuesIn(Readers()), NameOf);

TEST(OutstandingRepliesTest, SettlesWhatWasAskedBeforeTheFirstThatAReplyCanBelongTo) {
  using enum ReplyKind;
  OutstandingReplies outstanding;
  outstanding.OnReceived(kSync);
  EXPECT_TRUE(outstanding.empty());
  for (const ReplyKind kind : {kSync, kAmbiguous, kSync, kSync}) outstanding.OnSent(kind);
  outstanding.OnReceived(kSync);  // the first one's, for all that is known
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

}  // namespace
}  // namespace ulix
