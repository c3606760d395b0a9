// The cost of a scan by a running group, from the request to its event. For comparison the same number of bare
// exchanges, whose values are kept, on the same pseudo terminal with the same peer.
#include <mutex>
#include <vector>

#include "bench/exchange.h"
#include "core/instrument.h"
#include "platform/mutex.h"

namespace ulix::bench {
namespace {

constexpr std::size_t kChannelCounts[] = {1, 35, 1000};
constexpr int kExchangesInBatch = 2000;
constexpr int kBatches = 5;          // of a round
constexpr double kScanBound = 1.10;  // For more than one channel: a scan also wakes two threads.

constexpr std::chrono::minutes kLongestScan{1};

const std::vector<ChannelRow> kChannels(1000, ChannelRow{"IN", ChanIn});
const ModelCard kCard = {.model_id = "scan", .class_name = "Scan", .channels = kChannels};

class LineDriver final : public Driver {
 public:
  explicit LineDriver(BenchLine& line)
      : Driver(kCard, LineWire({.terminator = '\n', .reply_size = kReplySize}, DriverServices{})) {
    link().serial()->SetParams(line.link.params());
    line.link.Close();
  }
  Reading ReadChannel(ChannelId) override {
    return Exchange([](Conversation& talk) -> Reading {
      const auto reply = talk.Query(kQuery, kReplyPlan);
      return {CodeOf(reply), 12.3456F};
    });
  }

 private:
  Expected<bool> StartSession(Conversation&) override { return true; }
};

class Waiter final : public EventSink {
 public:
  void MeasReady(std::uint32_t) override {
    const std::lock_guard lock(mutex_);
    ++scans_;
    changed_.notify_one();
  }
  bool AwaitNext() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kLongestScan, [this] { return scans_ > seen_; })) return false;
    seen_ = scans_;
    return true;
  }

 private:
  platform::Mutex mutex_;
  platform::ConditionVariable changed_;
  int scans_ = 0;
  int seen_ = 0;
};

class Scanned {
 public:
  Scanned(BenchLine& line, std::size_t channels) : instrument_(std::make_unique<LineDriver>(line)) {
    instrument_.events().Advise(waiter_);
    std::uint32_t group = 0;
    Require("Connect", instrument_.Connect());
    Require("CreateGroup", instrument_.CreateGroup(&group));
    Require("SetGroupSettings", instrument_.SetGroupSettings(group, {.period_ms = 3'600'000}));
    for (ChannelId id = 0; id < channels; ++id) Require("ConnectGroupChan", instrument_.ConnectGroupChan(group, id));
    Require("RunGroup", instrument_.RunGroup(group));
    groups_ = {group};
  }
  void Scan() {
    Require("ImmediateReadGroups", instrument_.ImmediateReadGroups(groups_));
    if (!waiter_->AwaitNext()) Leave("no scan came to its end within a minute");
  }

 private:
  std::shared_ptr<Waiter> waiter_ = std::make_shared<Waiter>();
  Instrument instrument_;
  std::vector<std::uint32_t> groups_;
};

int Run() {
  StayOnThisProcessor();
  BenchLine line;
  bool held = true;
  for (const std::size_t channels : kChannelCounts) {
    Scanned scanned(line, channels);
    const int scans = std::max(1, kExchangesInBatch / static_cast<int>(channels));
    std::vector<float> kept(channels);
    const auto bare_scan = [&] {
      return std::all_of(kept.begin(), kept.end(), [&](float& value) {
        value = 12.3456F;
        return line.ExchangeBare();
      });
    };
    const auto scan = [&] {
      scanned.Scan();
      return true;
    };
    ComparedRounds found;
    for (int round = 0; round < kRounds; ++round) {
      found.Add(Compare(
          kBatches, [&] { return Batch(scans, scan); }, [&] { return Batch(scans, bare_scan); }));
    }
    held &= Show({Text("scan of %zu channels", channels), found.ratio(), "of bare", channels == 1 ? 0 : kScanBound,
                  false, found.Details()});
  }
  return held ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main() { return ulix::bench::Run(); }
