#include "fleet/node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "fleet/payload.h"
#include "tests/support/unique_name.h"

namespace ulix::fleet {
namespace {

using ::testing::ElementsAre;

struct Sent {
  Topic topic;
  Payload payload;
};

// A broker that accepts everything, or nothing.
class FakeBroker final : public BrokerConnection {
 public:
  bool Publish(const std::string& topic, const std::string& payload, int) override {
    if (!takes) return false;
    sent.push_back({*ParseTopic(topic), *Decode(payload)});
    return true;
  }
  bool RequestConfirmation() override { return ++requests, true; }

  std::vector<Sent> Of(MessageType type) const {
    std::vector<Sent> found;
    for (const Sent& message : sent) {
      if (message.topic.type == type) found.push_back(message);
    }
    return found;
  }

  std::vector<Sent> sent;
  int requests = 0;
  bool takes = true;
};

Metric ValueOf(double value, UnixMs time = 1) {
  Metric metric{.name = "Inputs/IN/Value", .type = DataType::kDouble, .value = value, .time = time};
  metric.SetProperty(kQualityKey, static_cast<std::int32_t>(Quality::kGood));
  return metric;
}

class NodeTest : public ::testing::Test {
 protected:
  NodeTest() : folder_(std::filesystem::temp_directory_path() / UniqueName("node")), node_(Options()) {}
  ~NodeTest() override { std::filesystem::remove_all(folder_); }

  Node::Options Options() {
    return {.group = "lab",
            .node = "bench",
            .open_store =
                [this](const std::string& device) {
                  return std::move(*MessageStore::Open((folder_ / device).string(), 1 << 20));
                },
            .log = [this](LogLevel, const calibration::BilingualText& text) { log_.push_back(text.en); }};
  }
  void GoOnline() {
    node_.BeginSession();
    node_.Online(broker_);
  }
  Node::Health TickAt(std::chrono::milliseconds at) { return node_.Tick(Node::SteadyTime() + at); }

  const std::filesystem::path folder_;
  FakeBroker broker_;
  std::vector<std::string> log_;
  Node node_;
};

TEST_F(NodeTest, EveryMessage_CountsSeqFromTheBirthWithoutASkip) {
  node_.DeviceBorn("a", {ValueOf(0)});
  GoOnline();
  for (int k = 0; k < 100'000; ++k) {
    node_.DeviceData("a", {ValueOf(k)});
    if (k % 1000 == 0) TickAt(std::chrono::seconds(k)), node_.Confirmed();
    if (k % 7919 == 0) broker_.takes = !broker_.takes;  // a message that is not accepted uses no number
  }
  for (std::size_t k = 0; k < broker_.sent.size(); ++k) {
    ASSERT_EQ(broker_.sent[k].payload.seq, k % 256) << k;
  }
  EXPECT_GT(broker_.sent.size(), 40'000U);
}

TEST_F(NodeTest, Reconnected_CountsBdSeqAndBirthsStartAtSeqZero) {
  node_.DeviceBorn("a", {ValueOf(0)});
  for (const int bd_seq : {0, 1, 2}) {
    GoOnline();
    const Sent birth = broker_.Of(MessageType::kNodeBirth).back();
    EXPECT_EQ(birth.payload.seq, 0);
    EXPECT_EQ(birth.payload.metrics[0].value, MetricValue(std::int64_t{bd_seq}));
    EXPECT_EQ(Decode(node_.will()->payload)->metrics[0].value, MetricValue(std::int64_t{bd_seq}));
    node_.Offline();
  }
}

TEST_F(NodeTest, UnconfirmedAndOffline_ComeAgainAsHistoryInOrder) {
  node_.DeviceBorn("a", {ValueOf(0)});
  GoOnline();
  node_.DeviceData("a", {ValueOf(1)});
  TickAt(std::chrono::seconds(1));
  node_.DeviceData("a", {ValueOf(2)});
  node_.Confirmed();  // confirms the first one only
  node_.Offline();
  node_.DeviceData("a", {ValueOf(3)});
  broker_.sent.clear();
  GoOnline();
  TickAt(std::chrono::seconds(2));
  std::vector<MetricValue> history;
  for (const Sent& message : broker_.Of(MessageType::kDeviceData)) {
    EXPECT_TRUE(message.payload.metrics[0].historical);
    history.push_back(message.payload.metrics[0].value);
  }
  EXPECT_THAT(history, ElementsAre(MetricValue(2.0), MetricValue(3.0)));
  // Unconfirmed messages are sent again; confirmed ones are not.
  node_.Offline();
  broker_.sent.clear();
  GoOnline();
  TickAt(std::chrono::seconds(3));
  EXPECT_EQ(broker_.Of(MessageType::kDeviceData).size(), 2U);
  node_.Confirmed();
  node_.Offline();
  broker_.sent.clear();
  GoOnline();
  TickAt(std::chrono::seconds(4));
  EXPECT_TRUE(broker_.Of(MessageType::kDeviceData).empty());
}

TEST_F(NodeTest, DeathOffline_LeavesAGapInTheHistory) {
  node_.DeviceBorn("a", {ValueOf(1)});
  node_.DeviceDied("a");
  node_.DeviceBorn("a", {ValueOf(2)});
  GoOnline();
  TickAt(std::chrono::seconds(1));
  const auto data = broker_.Of(MessageType::kDeviceData);
  ASSERT_EQ(data.size(), 1U);
  EXPECT_EQ(data[0].payload.metrics[0].value, MetricValue());
  EXPECT_EQ(data[0].payload.metrics[0].quality(), Quality::kStale);
}

TEST_F(NodeTest, BrokerThatConfirmsNothing_IsStuckAfterTenSeconds) {
  node_.DeviceBorn("a", {ValueOf(0)});
  GoOnline();
  node_.DeviceData("a", {ValueOf(1)});
  EXPECT_EQ(TickAt(std::chrono::seconds(1)), Node::Health::kGood);
  EXPECT_EQ(broker_.requests, 1);
  EXPECT_EQ(TickAt(std::chrono::seconds(10)), Node::Health::kGood);
  EXPECT_EQ(TickAt(std::chrono::milliseconds(11'100)), Node::Health::kStuck);
}

TEST_F(NodeTest, RebirthRequests_AreAnsweredOnceASecond) {
  GoOnline();
  const std::string rebirth =
      Encode({.metrics = {{.name = "Node Control/Rebirth", .type = DataType::kBoolean, .value = true}}});
  for (int k = 0; k < 50; ++k) {
    node_.Received("spBv1.0/lab/NCMD/bench", rebirth, false);
    TickAt(std::chrono::milliseconds(5000 + 10 * k));
  }
  EXPECT_EQ(broker_.Of(MessageType::kNodeBirth).size(), 2U);
  TickAt(std::chrono::seconds(7));
  EXPECT_EQ(broker_.Of(MessageType::kNodeBirth).size(), 3U);
}

TEST_F(NodeTest, CommandsOfOthersOrRetained_AreIgnored) {
  int commands = 0;
  node_.HandleCommandsWith([&](const std::string&, const Metric&) { return ++commands, ""; });
  const std::string write = Encode({.metrics = {ValueOf(1)}});
  for (const char* topic : {"spBv1.0/lab/DCMD/other/a", "spBv1.0/x/DCMD/bench/a", "spBv1.0/lab/DDATA/bench/a", "a"}) {
    node_.Received(topic, write, false);
  }
  node_.Received("spBv1.0/lab/DCMD/bench/a", write, true);
  node_.Received("spBv1.0/lab/DCMD/bench/a", std::string(100'000, '\n'), false);
  EXPECT_EQ(commands, 0);
  node_.Received("spBv1.0/lab/DCMD/bench/a", write, false);
  EXPECT_EQ(commands, 1);
}

TEST_F(NodeTest, RefusedCommands_AreOneCleanLineForAMessageAndBounded) {
  node_.HandleCommandsWith([](const std::string&, const Metric&) { return "no"; });
  Metric forged = ValueOf(1);
  forged.name = "x\nulix-publish: all is well\x1b[2J" + std::string(300, 'y');
  const std::string message = Encode({.metrics = std::vector<Metric>(110, forged)});
  for (int k = 0; k < 100; ++k) node_.Received("spBv1.0/lab/DCMD/bench/a", message, false);
  EXPECT_EQ(log_.size(), Node::kMaxRefusals);
  EXPECT_EQ(log_[0].find_first_of("\n\x1b"), std::string::npos);
  EXPECT_LT(log_[0].size(), 300U);
  EXPECT_THAT(log_[0], ::testing::EndsWith(", is refused: no (and 109 more)"));
}

TEST_F(NodeTest, DeviceId_StaysWithTheInstrumentThatHadItFirst) {
  EXPECT_EQ(node_.ClaimDevice("m-1", "left"), "left");
  EXPECT_EQ(node_.ClaimDevice("m-1", "right"), "left");
  EXPECT_EQ(node_.ClaimDevice("m-1", "left"), "left");
  // The cables were swapped, so the instrument on the left is another one now.
  EXPECT_EQ(node_.ClaimDevice("m-2", "left"), "left");
  EXPECT_EQ(node_.ClaimDevice("m-1", "right"), "right");
}

class StoreTest : public NodeTest {
 protected:
  std::unique_ptr<MessageStore> Open(std::uint64_t max_bytes = 1 << 20) {
    return std::move(*MessageStore::Open((folder_ / "s").string(), max_bytes));
  }
};

TEST_F(StoreTest, NextProgram_FindsWhatWasNotConfirmed) {
  {
    const auto store = Open();
    for (const char* record : {"1", "2", "3"}) store->Append(record);
    store->Next();
    store->Confirm();
  }
  const auto store = Open();
  std::vector<std::string> found;
  while (const auto record = store->Next()) found.push_back(*record);
  // The first one was confirmed within a segment that is still there: it may come twice, and nothing is lost.
  EXPECT_THAT(found, ElementsAre("1", "2", "3"));
  store->Confirm();
  EXPECT_TRUE(store->empty());
}

TEST_F(StoreTest, TornTail_EndsTheSegmentAndNothingElse) {
  Open()->Append("whole");
  const auto file = std::filesystem::directory_iterator(folder_ / "s")->path();
  Open()->Append("next");
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
  const auto store = Open();
  EXPECT_EQ(store->Next(), "next");
  EXPECT_EQ(store->Next(), std::nullopt);
}

TEST_F(StoreTest, BoundReached_OldestGoAndAreCounted) {
  const auto store = Open(64 * 1024);
  const std::string record(1000, 'x');
  for (int k = 0; k < 200; ++k) store->Append(record);
  EXPECT_LE(store->bytes(), 64U * 1024);
  std::uint64_t left = 0;
  while (store->Next()) ++left;
  EXPECT_EQ(left + store->lost(), 200U);
  EXPECT_GT(left, 50U);
}

// Simulates a full disk by the system's limit of file sizes.
class FullDisk {
 public:
  FullDisk() {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit full{100, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
  }
  ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
};

TEST_F(StoreTest, FullDisk_GetsNoFilesWithoutRecordsAndIsUsedAgain) {
  const auto store = Open();
  const std::string record(200, 'x');
  {
    const FullDisk full;
    for (int k = 0; k < 50; ++k) EXPECT_FALSE(store->Append(record));
    EXPECT_LE(std::distance(std::filesystem::directory_iterator(folder_ / "s"), {}), 1);
    EXPECT_TRUE(store->empty());
  }
  EXPECT_EQ(store->lost(), 50U);
  EXPECT_TRUE(store->Append(record));
  EXPECT_EQ(store->Next(), record);
}

TEST_F(StoreTest, AppendedWhileRead_ComesToo) {
  const auto store = Open();
  store->Append("1");
  EXPECT_EQ(store->Next(), "1");
  EXPECT_EQ(store->Next(), std::nullopt);
  store->Append("2");
  EXPECT_EQ(store->Next(), "2");
  store->Rewind();
  EXPECT_EQ(store->Next(), "1");
}

TEST(FleetTopic, OtherForms_AreNone) {
  EXPECT_EQ(ParseTopic("spBv1.0/g/DDATA/n/d"), (Topic{"g", MessageType::kDeviceData, "n", "d"}));
  for (const char* text : {"", "spBv1.0/g/DDATA/n", "spBv1.0/g/NDATA/n/d", "spBv1.0/g/WHAT/n", "spBv1.0/g/NDATA/",
                           "spAv1.0/g/NDATA/n", "spBv1.0/g/NDATA/n/d/e", "spBv1.0//NDATA/n"}) {
    EXPECT_EQ(ParseTopic(text), std::nullopt) << text;
  }
}

TEST(FleetPayload, EveryKindOfValue_ComesBack) {
  Payload payload{.time = 1'700'000'000'000, .seq = std::uint8_t{255}};
  const std::pair<DataType, MetricValue> values[] = {
      {DataType::kInt32, std::int32_t{-5}}, {DataType::kInt64, std::int64_t{-1} << 40}, {DataType::kDouble, -0.1},
      {DataType::kBoolean, true},           {DataType::kString, std::string("°C")},     {DataType::kInt32, {}}};
  for (const auto& [type, value] : values) {
    Metric metric{.name = "m", .type = type, .value = value, .time = 7, .historical = true};
    metric.SetProperty("p", value);
    payload.metrics.push_back(metric);
  }
  EXPECT_EQ(Decode(Encode(payload)), payload);
}

TEST(FleetPayload, UnsignedNumbers_AreNeverReadAsNegative) {
  const auto read = [](std::uint32_t type, MetricValue bits) {
    const Metric metric{.name = "m", .type = static_cast<DataType>(type), .value = std::move(bits)};
    return Decode(Encode({.metrics = {metric}}))->metrics[0].value;
  };
  EXPECT_EQ(read(7, std::int32_t{-1}), MetricValue(std::int64_t{4294967295}));
  EXPECT_EQ(read(8, std::int64_t{-1}), MetricValue(18446744073709551615.0));
  EXPECT_EQ(read(8, std::int64_t{5}), MetricValue(std::int64_t{5}));
  EXPECT_EQ(read(3, std::int32_t{-1}), MetricValue(std::int32_t{-1}));
  EXPECT_EQ(read(0, std::int32_t{-1}), MetricValue()) << "a type that is not told";
}

}  // namespace
}  // namespace ulix::fleet
