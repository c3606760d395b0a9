// Acquisition as published: which scans are reported, in which order and with which values, and how soon groups stop.
#include "tests/automation/published_host.h"

namespace published {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr long kGroup = 1;
constexpr ULONG kFastest = 100, kForever = 1'000'000;
// The additional time that a busy machine may take.
constexpr auto kSlack = milliseconds(1500);

// A connected control with one group that reads the input, and a sink of its events.
class Acquisition : public testing::Test {
 protected:
  void Start(const GroupSettings& settings) {
    control = ConfiguredOn("ULIX_TEST_LOOPED_PORT", settings);
    ASSERT_TRUE(control);
    ASSERT_EQ(control->Connect(), S_OK);
    SetOutput(10);
    advice.emplace(control.Get(), sink);
    ASSERT_TRUE(advice->given());
  }
  void TearDown() override {
    if (!control) return;
    control->StopAllGroups();
    control->SetChanVal(kOutput, Variant(0.0));  // the instrument answers again
    control->Disconnect();
  }
  void SetOutput(double value) { ASSERT_EQ(control->SetChanVal(kOutput, Variant(value)), S_OK); }
  // Waits until a scan has read the value and a later scan has begun, so that all events of the first scan have been
  // fired.
  void AwaitScansOf(double value) {
    ASSERT_TRUE(Until([&] { return InputOf(control.Get()).value == static_cast<float>(value); })) << value;
    const DATE seen = InputOf(control.Get()).time;
    ASSERT_TRUE(Until([&] { return InputOf(control.Get()).time != seen; })) << value;
  }
  std::size_t Reports() const {
    std::size_t count = 0;
    for (const Event& event : log.events()) count += event.name == L"DataChange" ? 1 : 0;
    return count;
  }
  // Runs the group, sets each value in turn, and checks whether its change is reported.
  void ExpectReported(std::initializer_list<std::pair<double, bool>> steps) {
    ASSERT_EQ(control->RunGroup(kGroup), S_OK);
    AwaitScansOf(10);
    EXPECT_EQ(Reports(), 1U) << "the first scan is reported, and no other of the same value";
    std::size_t expected = 1;
    for (const auto& [value, reported] : steps) {
      SetOutput(value);
      AwaitScansOf(value);
      expected += reported ? 1 : 0;
      EXPECT_EQ(Reports(), expected) << value;
      if (reported) {
        EXPECT_EQ(LastReported(), static_cast<float>(value));
      }
    }
  }
  float LastReported() const {
    float value = 0;
    for (const Event& event : log.events()) value = event.values.empty() ? value : event.values[0];
    return value;
  }
  // How long a call of the control took.
  template <typename Call>
  static milliseconds Took(Call&& call) {
    const auto before = steady_clock::now();
    EXPECT_EQ(call(), S_OK);
    return duration_cast<milliseconds>(steady_clock::now() - before);
  }

  Log log;
  Sink sink{log};
  ComPtr<Instr> control;
  std::optional<Advice> advice;
};

TEST_F(Acquisition, EdgesOfTheAbsoluteBand_AreReported) {
  Start({kFastest, 0, 0.5F, kForever});
  ExpectReported({{9.6, false}, {10.4, false}, {10.0, false}, {9.5, true}, {9.9, false}, {10.0, true}, {10.5, true}});
}

TEST_F(Acquisition, EdgesOfTheRelativeBand_AreReported) {
  Start({kFastest, 10, 0, kForever});
  ExpectReported({{9.1, false}, {10.9, false}, {9.0, true}, {9.8, false}, {10.0, true}, {11.0, true}});
}

TEST_F(Acquisition, BandOfANegativeValue_IsMeasuredFromItsSize) {
  Start({kFastest, 10, 0, kForever});
  ExpectReported({{-10.0, true}, {-10.9, false}, {-9.1, false}, {-11.0, true}});
}

TEST_F(Acquisition, ZeroBands_ReportEveryScan) {
  Start({kFastest, 0, 0, kForever});
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(10));
  const auto events = log.events();
  for (std::size_t k = 0; k < 10; ++k) EXPECT_EQ(events[k].name, k % 2 ? L"MeasReady" : L"DataChange");
}

TEST_F(Acquisition, ReportInterval_IsCountedInWholeSecondsStrictly) {
  Start({kFastest, 0, 1000, 1});
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(6));
  const auto events = log.events();
  for (std::size_t k = 2; k < 6; k += 2) {
    const auto quiet = duration_cast<milliseconds>(events[k].when - events[k - 1].when);
    EXPECT_GE(quiet.count(), 1950) << "more than one whole second: two";
    EXPECT_LE(quiet, milliseconds(2000 + kFastest) + kSlack);
  }
}

TEST_F(Acquisition, DataChange_CarriesFourArrays) {
  Start({kFastest, 0, 0, 0});
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(1));
  const Event data = log.events()[0];
  EXPECT_EQ(data.group, kGroup);
  EXPECT_EQ(data.quantity, 1);
  EXPECT_EQ(data.types, (std::vector<VARTYPE>{0x2003, 0x200C, 0x2003, 0x2007}));
  EXPECT_EQ(data.ids, (std::vector<long>{kInput}));
  EXPECT_EQ(data.values, (std::vector<float>{10}));
  EXPECT_EQ(data.errors, (std::vector<long>{0}));
  ASSERT_EQ(data.times.size(), 1U);
  EXPECT_NEAR(data.times[0], client::LocalTimeNow(), 1.0 / 1440);
}

TEST_F(Acquisition, MeasReady_FollowsOnTheSameThreadOfTheGroup) {
  Start({kFastest, 0, 0, 0});
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(2));
  const auto events = log.events();
  EXPECT_EQ(events[1].name, L"MeasReady");
  EXPECT_EQ(events[1].group, kGroup);
  EXPECT_EQ(events[1].thread, events[0].thread);
  EXPECT_NE(events[0].thread, GetCurrentThreadId());
}

TEST_F(Acquisition, Sinks_AreCalledInTheOrderInWhichTheyConnected) {
  Start({});  // an immediate read waits one period for its report
  Sink second(log, L"second ");
  Advice other(control.Get(), second);
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(4));
  const auto events = log.events();
  const wchar_t* const order[] = {L"DataChange", L"second DataChange", L"MeasReady", L"second MeasReady"};
  for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(events[k].name, order[k]);
  control->StopGroup(kGroup);
  const std::size_t before = log.size();
  advice->End();
  ASSERT_EQ(control->ImmediateReadGroups(IdArray({kGroup})), S_OK);
  const auto later = log.events();
  ASSERT_EQ(later.size(), before + 2) << "one sink is left";
  EXPECT_EQ(later[before].name, L"second DataChange");
}

TEST_F(Acquisition, ImmediateReadOfAStoppedGroup_ReportsOnce) {
  Start({1000, 0, 1000, kForever});
  for (std::size_t k = 1; k <= 3; ++k) {
    ASSERT_EQ(control->ImmediateReadGroups(IdArray({kGroup})), S_OK);
    EXPECT_EQ(Reports(), k);
  }
  long running = 1;
  EXPECT_EQ(control->IsGroupRunning(kGroup, &running), S_OK);
  EXPECT_EQ(running, 0);
}

TEST_F(Acquisition, ImmediateReadOfARunningGroup_ReportsInsideTheBand) {
  Start({kFastest, 0, 1000, kForever});
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  AwaitScansOf(10);
  ASSERT_EQ(Reports(), 1U);
  ASSERT_EQ(control->ImmediateReadGroups(IdArray({kGroup})), S_OK);
  ASSERT_TRUE(log.Await(4));
  AwaitScansOf(10);
  AwaitScansOf(10);
  EXPECT_EQ(Reports(), 2U);
}

TEST_F(Acquisition, ImmediateRead_StopsAtTheFirstUnknownGroup) {
  Start({});
  long second = 0;
  ASSERT_EQ(control->CreateGroup(&second), S_OK);
  EXPECT_EQ(control->ImmediateReadGroups(IdArray({kGroup, 99, second})), E_INVALIDARG);
  EXPECT_EQ(Reports(), 1U) << "the group before it was read";
  EXPECT_EQ(control->ImmediateReadGroups(Variant(1L)), E_INVALIDARG);
}

TEST_F(Acquisition, ImmediateRead_WaitsNoLongerThanAPeriod) {
  Start({kFastest, 0, 0, 0});
  SetOutput(kAnswersLate);
  const auto took = Took([&] { return control->ImmediateReadGroups(IdArray({kGroup})); });
  EXPECT_LE(took, milliseconds(kFastest + 1000) + kSlack);
}

TEST_F(Acquisition, GroupWithoutChannels_ReportsNothing) {
  Start({kFastest, 0, 0, 0});
  ASSERT_EQ(control->RemoveGroupChan(kGroup, kInput), S_OK);
  Variant channels;
  ASSERT_EQ(control->InChans(kGroup, &channels), S_OK);
  EXPECT_EQ(channels.vt, VT_ARRAY | VT_I4);
  EXPECT_TRUE(Elements<long>(channels).empty());
  ASSERT_EQ(control->ImmediateReadGroups(IdArray({kGroup})), S_OK);
  EXPECT_EQ(log.size(), 0U);
}

TEST_F(Acquisition, RunAndStop_DoNothingTheSecondTime) {
  Start({kFastest, 0, 0, kForever});
  long running = 0;
  for (int k = 0; k < 2; ++k) EXPECT_EQ(control->RunGroup(kGroup), S_OK);
  EXPECT_EQ(control->IsGroupRunning(kGroup, &running), S_OK);
  EXPECT_NE(running, 0);
  for (int k = 0; k < 2; ++k) EXPECT_EQ(control->StopGroup(kGroup), S_OK);
  EXPECT_EQ(control->IsGroupRunning(kGroup, &running), S_OK);
  EXPECT_EQ(running, 0);
  const std::size_t before = log.size();
  Sleep(3 * kFastest);
  EXPECT_EQ(log.size(), before) << "a stopped group tells nothing";
  EXPECT_EQ(control->RunGroup(2), E_INVALIDARG);
  EXPECT_EQ(control->StopGroup(2), E_INVALIDARG);
}

TEST_F(Acquisition, AllGroups_RunAndStopTogether) {
  Start({kFastest, 0, 0, 0});
  long second = 0, running = 0;
  ASSERT_EQ(control->CreateGroup(&second), S_OK);
  ASSERT_EQ(control->RunAllGroups(), S_OK);
  for (long group : {kGroup, second}) {
    EXPECT_EQ(control->IsGroupRunning(group, &running), S_OK);
    EXPECT_NE(running, 0) << group;
  }
  ASSERT_EQ(control->StopAllGroups(), S_OK);
  for (long group : {kGroup, second}) {
    EXPECT_EQ(control->IsGroupRunning(group, &running), S_OK);
    EXPECT_EQ(running, 0) << group;
  }
}

TEST_F(Acquisition, HungInstrument_IsAnErrorOfItsChannel) {
  Start({kFastest, 0, 0, 0});
  SetOutput(kHangs);
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(2));
  const auto events = log.events();
  EXPECT_EQ(events[0].errors, (std::vector<long>{kUnableToRead}));
  EXPECT_EQ(events[1].name, L"MeasReady");
  EXPECT_EQ(InputOf(control.Get()).error, kUnableToRead);
  EXPECT_EQ(control->StopGroup(kGroup), S_OK);
  SetOutput(3);
  ASSERT_EQ(control->ImmediateReadGroups(IdArray({kGroup})), S_OK);
  EXPECT_EQ(InputOf(control.Get()).value, 3);
  EXPECT_EQ(InputOf(control.Get()).error, 0);
}

TEST_F(Acquisition, HungInstrument_DelaysAStopByTwoSecondsAtMost) {
  Start({kFastest, 0, 0, 0});
  SetOutput(kHangs);
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  Sleep(3 * kFastest);  // until the exchange hangs
  EXPECT_LE(Took([&] { return control->StopGroup(kGroup); }), milliseconds(2000) + kSlack);
  long running = 1;
  EXPECT_EQ(control->IsGroupRunning(kGroup, &running), S_OK);
  EXPECT_EQ(running, 0);
}

TEST_F(Acquisition, GroupRemovedInsideItsEvent_FiresNoMore) {
  Start({kFastest, 0, 0, 0});
  advice->End();
  HRESULT removed = E_PENDING;
  sink.on_data = [&] {
    if (removed == E_PENDING) removed = control->RemoveGroup(kGroup);
  };
  Advice again(control.Get(), sink);
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(Until([&] {
    Variant ids;
    return control->Groups(&ids) == S_OK && Elements<long>(ids).empty();
  }));
  ASSERT_TRUE(Until([&] { return removed != E_PENDING; }));
  EXPECT_EQ(removed, S_OK);
  Sleep(3 * kFastest);
  const std::size_t before = log.size();
  Sleep(3 * kFastest);
  EXPECT_EQ(log.size(), before);
}

TEST_F(Acquisition, GroupStoppedAndSinkUnadvisedInsideAnEvent_EndTheEvents) {
  Start({kFastest, 0, 0, 0});
  HRESULT stopped = E_PENDING;
  std::optional<Advice> own;
  advice->End();
  sink.on_data = [&] {
    if (stopped != E_PENDING) return;
    stopped = control->StopGroup(kGroup);
    own->End();
  };
  own.emplace(control.Get(), sink);
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(1));
  ASSERT_TRUE(Until([&] {
    long running = 1;
    return control->IsGroupRunning(kGroup, &running) == S_OK && running == 0;
  }));
  Sleep(3 * kFastest);
  EXPECT_LE(log.size(), 2U);
}

TEST_F(Acquisition, ControlReleasedWhileItsGroupRuns_FiresNoMore) {
  Start({kFastest, 0, 0, 0});
  ASSERT_EQ(control->RunGroup(kGroup), S_OK);
  ASSERT_TRUE(log.Await(2));
  advice.reset();
  control.Reset();
  const std::size_t before = log.size();
  Sleep(3 * kFastest);
  EXPECT_EQ(log.size(), before);
}

}  // namespace
}  // namespace published
