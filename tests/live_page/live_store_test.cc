#include "tools/live_page/live_store.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace ulix {
namespace {

LiveFrame FrameAt(double seconds, std::optional<double> value, LiveQuality quality = LiveQuality::kGood) {
  LiveFrame frame{.seconds = seconds};
  frame.series.push_back({.name = "T1", .unit = "K", .value = value, .quality = quality});
  return frame;
}

TEST(LiveStore, DayOfFrames_KeepsTheNewestAndAThinnedPastInOrder) {
  LiveStore store;
  constexpr int kDay = 86400;
  for (int second = 0; second < kDay; ++second) store.Put(FrameAt(second, second));
  const auto history = nlohmann::json::parse(store.History());
  EXPECT_EQ(history["recent"].size(), 600U);
  EXPECT_EQ(history["recent"].back()[0], kDay - 1);
  const auto& all = history["all"];
  EXPECT_LE(all.size(), 1200U);
  EXPECT_GE(all.size(), 600U);
  EXPECT_EQ(all.front()[0], 0);
  const double step = all[1][0].get<double>();
  for (std::size_t k = 1; k < all.size(); ++k) ASSERT_EQ(all[k][0].get<double>() - all[k - 1][0].get<double>(), step);
}

TEST(LiveStore, FailedValue_IsShownAsNullAndLeavesAGapInTheCurve) {
  LiveStore store;
  store.Put(FrameAt(1, 20.5));
  store.Put(FrameAt(2, std::nullopt, LiveQuality::kFailed));
  EXPECT_EQ(nlohmann::json::parse(store.History())["recent"].dump(), "[[1.0,20.5],[2.0,null]]");
  std::uint64_t seen = 0;
  const auto frame = nlohmann::json::parse(store.Next(seen, std::chrono::milliseconds(0)));
  EXPECT_TRUE(frame["series"][0]["value"].is_null());
  EXPECT_EQ(frame["series"][0]["quality"], "failed");
}

TEST(LiveStore, SlowReader_GetsTheNewestFrameOnceAndNothingAfterTheEnd) {
  LiveStore store;
  for (int second = 0; second < 5; ++second) store.Put(FrameAt(second, 1));
  std::uint64_t seen = 0;
  EXPECT_EQ(nlohmann::json::parse(store.Next(seen, std::chrono::milliseconds(0)))["seconds"], 4);
  EXPECT_EQ(store.Next(seen, std::chrono::milliseconds(0)), "");
  store.Close();
  EXPECT_EQ(store.Next(seen, std::chrono::hours(1)), "");
  EXPECT_TRUE(store.closed());
}

TEST(LiveAddress, PortAlone_IsThisMachineOnly) {
  EXPECT_TRUE(ParseLiveAddress("8080")->loopback());
  EXPECT_TRUE(ParseLiveAddress("[::1]:0")->loopback());
  const auto open = ParseLiveAddress("0.0.0.0:65535");
  ASSERT_TRUE(open);
  EXPECT_FALSE(open->loopback());
  EXPECT_EQ(open->port, 65535);
}

TEST(LiveAddress, NoAddressOrPort_IsRefused) {
  for (const char* text :
       {"", "x", "65536", "-1", "1.5", ":80", "host:", "::1:80", "a b:80", "http://x:80", "99999999999"})
    EXPECT_FALSE(ParseLiveAddress(text)) << text;
}

}  // namespace
}  // namespace ulix
