#include "fleet/fleet_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "fleet/fleet_subscriber.h"

namespace ulix::fleet {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kChannel[] = "IN";

Metric Reading(double value, Quality quality = Quality::kGood, const std::string& name = "Inputs/IN/Value") {
  Metric metric{.name = name, .type = DataType::kDouble, .value = value, .time = 1'700'000'000'123};
  metric.SetProperty(kUnitKey, std::string("V"));
  metric.SetProperty(kQualityKey, static_cast<std::int32_t>(quality));
  return metric;
}

Metric BdSeq(std::int64_t number) { return {.name = "bdSeq", .type = DataType::kInt64, .value = number}; }

class FleetViewTest : public ::testing::Test {
 protected:
  bool Send(const std::string& type, std::vector<Metric> metrics, std::optional<std::uint8_t> seq) {
    return view_.Received("spBv1.0/lab/" + type, Encode({.time = 1, .seq = seq, .metrics = std::move(metrics)}));
  }
  // Makes a bench with one instrument that has sent a good value.
  void Run() {
    Send("NBIRTH/bench", {BdSeq(3)}, 0);
    Send("DBIRTH/bench/meter", {Reading(1.5)}, 1);
  }
  SeenChannel Channel() { return view_.Benches().at("bench").instruments.at("meter").channels.at(kChannel); }
  std::size_t Reports() {
    std::uint64_t dropped = 0;
    return view_.TakeReports(&dropped).size();
  }

  FleetView view_{"lab", true};
};

TEST_F(FleetViewTest, ReportOfARunningBench_IsGoodWithUnitAndTime) {
  Run();
  EXPECT_FALSE(Send("DDATA/bench/meter", {Reading(2.5)}, 2));
  const SeenChannel expected{.value = 2.5, .unit = "V", .quality = Quality::kGood, .time = 1'700'000'000'123};
  EXPECT_EQ(Channel(), expected);
  EXPECT_EQ(Reports(), 2U);
}

TEST_F(FleetViewTest, WhatIsNotKnownToBeTrue_IsStaleAndKeepsItsValue) {
  const std::vector<std::function<void()>> ends = {
      [&] { Send("DDEATH/bench/meter", {}, 2); },
      [&] { Send("NDEATH/bench", {BdSeq(3)}, std::nullopt); },
      [&] { Send("NBIRTH/bench", {BdSeq(4)}, 0); },  // the bench has a new session, its instruments have none yet
      [&] { view_.Disconnected(); },
  };
  for (const auto& end : ends) {
    Run();
    ASSERT_EQ(Channel().quality, Quality::kGood);
    Reports();
    end();
    EXPECT_EQ(Channel().quality, Quality::kStale);
    EXPECT_EQ(Channel().value, 1.5);
    EXPECT_EQ(Reports(), 1U);
  }
}

TEST_F(FleetViewTest, DeathOfAnEarlierSession_ChangesNothing) {
  Run();
  Send("NDEATH/bench", {BdSeq(2)}, std::nullopt);
  EXPECT_EQ(Channel().quality, Quality::kGood);
}

TEST_F(FleetViewTest, BirthThatWasAskedFor_ChangesNothing) {
  Run();
  Reports();
  Send("NBIRTH/bench", {BdSeq(3)}, 0);
  EXPECT_EQ(Channel().quality, Quality::kGood);
  EXPECT_EQ(Reports(), 0U);
}

TEST_F(FleetViewTest, MissedMessage_AsksForBirthsAndIsCounted) {
  Run();
  EXPECT_TRUE(Send("DDATA/bench/meter", {Reading(2)}, 5));
  EXPECT_FALSE(Send("DDATA/bench/meter", {Reading(3)}, 6));
  EXPECT_EQ(view_.Benches().at("bench").skipped, 1U);
  EXPECT_TRUE(Send("DDATA/late/meter", {Reading(2)}, 77)) << "its birth was before our time";
}

TEST_F(FleetViewTest, FailedReading_IsBadWithItsErrorAndWithoutAValue) {
  Run();
  Metric failed = Reading(0, Quality::kBad);
  failed.value = {};
  Metric error{.name = "Channel/IN/Error code", .type = DataType::kInt32, .value = std::int32_t{-2146155517}};
  error.SetProperty("text", std::string("Unable to read answer"));
  Send("DDATA/bench/meter", {error, failed}, 2);
  EXPECT_EQ(Channel().quality, Quality::kBad);
  EXPECT_EQ(Channel().value, std::nullopt);
  EXPECT_EQ(Channel().error_text, "Unable to read answer");
  Send("DDATA/bench/meter", {Reading(std::nan(""))}, 3);
  EXPECT_EQ(Channel().quality, Quality::kBad) << "no number is no good value";
}

TEST_F(FleetViewTest, HistoricalReading_IsReportedAndIsNotTheValueOfNow) {
  Run();
  Metric old = Reading(9);
  old.historical = true;
  Send("DDATA/bench/meter", {old}, 2);
  EXPECT_EQ(Channel().value, 1.5);
  std::uint64_t dropped = 0;
  const auto reports = view_.TakeReports(&dropped);
  EXPECT_TRUE(reports.back().historical);
  EXPECT_EQ(reports.back().state.value, 9);
}

TEST_F(FleetViewTest, HistoricalFailure_HasItsError) {
  Run();
  Metric failed = Reading(0, Quality::kBad);
  failed.value = {};
  Metric error{.name = "Channel/IN/Error code", .type = DataType::kInt32, .value = std::int32_t{-2146155517}};
  error.SetProperty("text", std::string("Unable to read answer"));
  error.historical = failed.historical = true;
  Send("DDATA/bench/meter", {error, failed}, 2);
  Send("DDATA/bench/meter", {failed}, 3);  // only changes of the code are sent
  std::uint64_t dropped = 0;
  EXPECT_EQ(view_.TakeReports(&dropped).back().state.error_text, "Unable to read answer");
  EXPECT_EQ(Channel().error, 0);
}

TEST_F(FleetViewTest, FailedCommand_HasItsError) {
  Run();
  Metric failed = Reading(0, Quality::kBad, "Outputs/OUT/Set point");
  failed.value = {};
  Metric error{.name = "Channel/OUT/Error code", .type = DataType::kInt32, .value = std::int32_t{-2146155517}};
  error.SetProperty("text", std::string("Unable to read answer"));
  Send("DDATA/bench/meter", {failed, error}, 2);
  const SeenChannel set_point = view_.Benches().at("bench").instruments.at("meter").channels.at("OUT set point");
  EXPECT_EQ(set_point.error, -2146155517);
  EXPECT_EQ(set_point.error_text, "Unable to read answer");
}

TEST_F(FleetViewTest, ErrorCodeThatIsNone_IsZero) {
  Run();
  for (const MetricValue& none : {MetricValue(1e300), MetricValue(std::nan("")), MetricValue(std::int64_t{1} << 40)}) {
    Send("DDATA/bench/meter", {{.name = "Channel/IN/Error code", .value = none}}, 2);
    EXPECT_EQ(Channel().error, 0);
  }
}

TEST_F(FleetViewTest, NamesInAnyScript_StayApart) {
  for (const char* bench : {"стенд А", "стенд Б"}) Send(std::string("NBIRTH/") + bench, {BdSeq(1)}, 0);
  EXPECT_EQ(view_.Benches().size(), 2U);
  Send("NBIRTH/bench\u202Egnp", {BdSeq(1)}, 0);
  EXPECT_EQ(view_.Benches().size(), 2U) << "a name that turns the writing round is none";
}

TEST(BirthRequests, GapSoonAfterARequest_IsAskedForWhenTheIntervalIsOver) {
  BirthRequests requests;
  const BirthRequests::SteadyTime start{};
  const auto due_at = [&](int seconds) { return requests.TakeDue(start + std::chrono::seconds(seconds)).size(); };
  requests.Want("bench");
  EXPECT_EQ(due_at(0), 1U);
  requests.Want("bench");
  EXPECT_EQ(due_at(9), 0U);
  EXPECT_EQ(due_at(10), 1U);
  EXPECT_EQ(due_at(30), 0U);
  requests.Want("bench");
  requests.Born("bench");
  EXPECT_EQ(due_at(60), 0U) << "its births came by themselves";
}

TEST_F(FleetViewTest, TextsOfAStranger_AreCleanAndBounded) {
  Run();
  Metric metric = Reading(1, Quality::kGood, "Inputs/\x1b[2J\xc2\x9b\xff" + std::string(5000, 'x') + "/Value");
  metric.SetProperty(kUnitKey, std::string("\"\\\n\r\x07"));
  Send("DDATA/bench/meter", {metric}, 2);
  const std::string text = MetricsText("lab", view_.Benches(), true);
  EXPECT_EQ(text.find_first_of("\x1b\r\x07\xff"), text.npos);
  EXPECT_THAT(text, Not(HasSubstr("\xc2\x9b")));
  EXPECT_LT(text.size(), 5000U);
}

TEST_F(FleetViewTest, NamesOfAStranger_AreBoundedInAll) {
  for (int bench = 0; bench < 21; ++bench) {
    std::vector<Metric> metrics;
    for (int k = 0; k < 5000; ++k)
      metrics.push_back(Reading(k, Quality::kGood, "Inputs/" + std::to_string(k) + "/Value"));
    Send("DDATA/b" + std::to_string(bench) + "/meter", std::move(metrics), 0);
  }
  std::size_t names = 0;
  for (const auto& [name, bench] : view_.Benches()) {
    for (const auto& [instrument, seen] : bench.instruments) names += 1 + seen.channels.size();
  }
  EXPECT_EQ(names, FleetView::kMaxNames);
  std::uint64_t dropped = 0;
  EXPECT_LE(view_.TakeReports(&dropped).size(), FleetView::kMaxReports);
}

TEST_F(FleetViewTest, SetPoint_IsThereOnceItWasSet) {
  Run();
  Metric output = Reading(0, Quality::kStale, "Outputs/OUT/Set point");
  output.value = {};
  Send("DBIRTH/bench/meter", {Reading(1), output}, 2);
  EXPECT_EQ(view_.Benches().at("bench").instruments.at("meter").channels.size(), 1U);
  Send("DDATA/bench/meter", {Reading(2.5, Quality::kGood, "Outputs/OUT/Set point")}, 3);
  EXPECT_EQ(view_.Benches().at("bench").instruments.at("meter").channels.at("OUT set point").value, 2.5);
}

TEST(FleetMetrics, OnlyGoodValues_AreToldAsValues) {
  SeenBenches benches;
  auto& channels = benches["b"].instruments["m"].channels;
  channels["A"] = {.value = 0.1F, .unit = "V", .quality = Quality::kGood};
  channels["B"] = {.value = 2, .unit = "V", .quality = Quality::kStale};
  const std::string text = MetricsText("lab", benches, false);
  EXPECT_THAT(text, HasSubstr("ulix_broker_connected{group=\"lab\"} 0\n"));
  EXPECT_THAT(
      text, HasSubstr("ulix_channel_value{group=\"lab\",bench=\"b\",instrument=\"m\",channel=\"A\",unit=\"V\"} 0.1\n"));
  EXPECT_THAT(text, Not(HasSubstr("ulix_channel_value{group=\"lab\",bench=\"b\",instrument=\"m\",channel=\"B\"")));
  EXPECT_THAT(text, HasSubstr("channel=\"B\",unit=\"V\"} 500\n"));
}

TEST(FleetAddress, TakesTls_ExceptOnThisMachine) {
  struct Case {
    const char* url;
    const char* host;
    int port;
    bool tls;
  };
  for (const Case& expected :
       {Case{"mqtt://localhost/lab", "localhost", 1883, false}, Case{"mqtts://localhost/lab", "localhost", 8883, true},
        Case{"mqtt://broker.example/lab", "broker.example", 8883, true},
        Case{"mqtt://me@broker.example:99/lab", "broker.example", 99, true},
        Case{"mqtt://[::1]:99/lab", "::1", 99, false}, Case{"mqtt://[::1]/lab", "::1", 1883, false}}) {
    const auto address = ParseFleetAddress(expected.url);
    ASSERT_TRUE(address) << expected.url;
    EXPECT_EQ(address->broker.host, expected.host);
    EXPECT_EQ(address->broker.port, expected.port);
    EXPECT_EQ(address->broker.tls.has_value(), expected.tls);
    EXPECT_EQ(address->group, "lab");
  }
  for (const char* wrong : {"", "http://h/g", "mqtt://h", "mqtt://h/", "mqtt:///g", "mqtt://h:0/g", "mqtt://h:x/g",
                            "mqtt://h:70000/g", "mqtt://h/a/b", "mqtt://h/#", "mqtt://me:secret@h/g"}) {
    EXPECT_FALSE(ParseFleetAddress(wrong)) << wrong;
  }
}

}  // namespace
}  // namespace ulix::fleet
