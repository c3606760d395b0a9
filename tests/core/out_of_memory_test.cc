// Memory runs out at the first allocation of a call, then at its second, and so on until the call succeeds. Each
// failing call returns E_OUTOFMEMORY or a published code and leaves the configuration unchanged. The same call then
// works, and nothing leaks.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "core/instrument.h"
#include "core/worker.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_port.h"
#include "simulators/simulator.h"
#include "tests/support/failing_memory.h"
#include "tests/support/fast_clock.h"
#include "tests/support/recording_sink.h"

namespace ulix {
namespace {

constexpr int kScanSpeed = 10;
constexpr long kMaxAllocations = 3000;  // More than any call makes; the test fails when a call makes more.

// A connected instrument with one group of its first input.
struct MemoryRig {
  explicit MemoryRig(const char* model) : bench(std::make_shared<SimulatedBench>(FindSimulator(model)(clock), clock)) {
    DriverServices services;
    services.clock = &clock;
    services.resolve_port = ResolverOf(bench);
    services.timeout_ms = 1000;
    device = std::make_unique<Instrument>(FindModel(model)->create(services), Instrument::Options{.clock = &clock});
    EXPECT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(device->CreateGroup(&group), S_OK);
    EXPECT_EQ(device->ConnectGroupChan(group, 0), S_OK);
  }
  std::string Configuration() const {
    MemoryStream stream;
    EXPECT_EQ(device->SaveCopy(stream), S_OK);
    return stream.bytes();
  }

  FastClock clock{kScanSpeed};
  std::shared_ptr<SimulatedBench> bench;
  std::unique_ptr<Instrument> device;
  std::uint32_t group = 0;
};

// The variables that receive the members' results.
struct Places {
  std::string text;
  std::int32_t number = 0, other = 0;
  std::uint32_t word = 0, other_word = 0;
  std::int16_t small = 0, other_small = 0;
  float real = 0;
  std::vector<std::uint32_t> ids;
  ChannelArrays arrays;
  GroupSettings settings;
  MemoryStream stream;
};

struct Call {
  const char* name;
  std::function<HRESULT(Instrument&, Places&)> make;
  bool changes = false;  // The call may change the configuration before it fails.
};

const std::vector<ChannelId> kChannels = {0, 1};
const std::vector<std::uint32_t> kGroups = {1};
const std::vector<ChannelId> kOutputs = {1};
const std::vector<Value> kValues = {1.5};

// Every member in the order of the interface, then the calls outside the interface that hosts make.
const Call kCalls[] = {
    {"Version", [](Instrument& i, Places& p) { return i.Version(&p.text); }},
    {"GetBinVersion", [](Instrument& i, Places& p) { return i.GetBinVersion(&p.word, &p.other_word, &p.number); }},
    {"GetDevVersion", [](Instrument& i, Places& p) { return i.GetDevVersion(&p.text); }},
    {"GetDevFileVersion", [](Instrument& i, Places& p) { return i.GetDevFileVersion(&p.text); }},
    {"Groups", [](Instrument& i, Places& p) { return i.Groups(&p.ids); }},
    {"InChans", [](Instrument& i, Places& p) { return i.InChans(1, &p.ids); }},
    {"Period", [](Instrument& i, Places& p) { return i.Period(1, &p.word); }},
    {"DeadBand", [](Instrument& i, Places& p) { return i.DeadBand(1, &p.real); }},
    {"DeadBandAbs", [](Instrument& i, Places& p) { return i.DeadBandAbs(1, &p.real); }},
    {"DeadTimeMax", [](Instrument& i, Places& p) { return i.DeadTimeMax(1, &p.word); }},
    {"OutChans", [](Instrument& i, Places& p) { return i.OutChans(&p.ids); }},
    {"CreateGroup", [](Instrument& i, Places& p) { return i.CreateGroup(&p.word); }},
    {"RemoveGroup", [](Instrument& i, Places&) { return i.RemoveGroup(1); }},
    {"EditGroup", [](Instrument& i, Places& p) { return i.EditGroup(1, &p.number); }},
    {"EditOutChans", [](Instrument& i, Places& p) { return i.EditOutChans(&p.number); }},
    {"EditCommParams", [](Instrument& i, Places& p) { return i.EditCommParams(&p.number); }},
    {"EditCfg", [](Instrument& i, Places& p) { return i.EditCfg(&p.number); }},
    {"Connect again",
     [](Instrument& i, Places&) {
       const HRESULT left = i.Disconnect();
       return Failed(left) ? left : i.Connect();
     }},
    {"IsConnected", [](Instrument& i, Places& p) { return i.IsConnected(&p.number); }},
    {"Identify", [](Instrument& i, Places& p) { return i.Identify(&p.text); }},
    {"SendCfg", [](Instrument& i, Places&) { return i.SendCfg(); }},
    {"ReadCfg", [](Instrument& i, Places&) { return i.ReadCfg(); }, true},
    {"GetChanDir", [](Instrument& i, Places& p) { return i.GetChanDir(0, &p.number); }},
    {"GetChanName", [](Instrument& i, Places& p) { return i.GetChanName(0, &p.text); }},
    {"GetChanDefName", [](Instrument& i, Places& p) { return i.GetChanDefName(0, &p.text); }},
    {"GetChanUnit", [](Instrument& i, Places& p) { return i.GetChanUnit(0, &p.text); }},
    {"GetChanResol", [](Instrument& i, Places& p) { return i.GetChanResol(0, &p.small); }},
    {"GetChanLim", [](Instrument& i, Places& p) { return i.GetChanLim(0, 0, &p.real, &p.small); }},
    {"RunGroup, StopGroup",
     [](Instrument& i, Places&) {
       const HRESULT run = i.RunGroup(1);
       return Failed(run) ? run : i.StopGroup(1);
     }},
    {"IsGroupRunning", [](Instrument& i, Places& p) { return i.IsGroupRunning(1, &p.number); }},
    {"RunAllGroups, StopAllGroups",
     [](Instrument& i, Places&) {
       const HRESULT run = i.RunAllGroups();
       const HRESULT stop = i.StopAllGroups();
       return Failed(run) ? run : stop;
     }},
    {"GetChansVals", [](Instrument& i, Places& p) { return i.GetChansVals(kChannels, &p.arrays); }},
    {"ReadChan",
     [](Instrument& i, Places&) {
       GroupChannel record;
       return i.ReadChan(0, &record);
     }},
    {"SetChansVals",
     [](Instrument& i, Places&) { return i.SetChansVals(kOutputs, kValues); }},
    {"ImmediateReadGroups", [](Instrument& i, Places&) { return i.ImmediateReadGroups(kGroups); }},
    {"GetDevStatus", [](Instrument& i, Places& p) { return i.GetDevStatus(&p.word); }},
    {"GetErrorText",
     [](Instrument& i, Places& p) { return i.GetErrorText(serialCommErrUnableToReadComm, false, &p.number, &p.text); }},
    {"ShowProperties", [](Instrument& i, Places&) { return i.ShowProperties(); }},
    {"InstrType", [](Instrument& i, Places& p) { return i.InstrType(&p.text); }},
    {"UseConnected", [](Instrument& i, Places& p) { return i.UseConnected(&p.number); }},
    {"HasCommParams", [](Instrument& i, Places& p) { return i.HasCommParams(&p.number); }},
    {"HasCfg", [](Instrument& i, Places& p) { return i.HasCfg(&p.number); }},
    {"CfgHasInChans", [](Instrument& i, Places& p) { return i.CfgHasInChans(&p.number); }},
    {"CfgHasOutChans", [](Instrument& i, Places& p) { return i.CfgHasOutChans(&p.number); }},
    {"Run", [](Instrument& i, Places&) { return i.Run(); }},
    {"Stop", [](Instrument& i, Places&) { return i.Stop(); }},
    {"GetCommInfo", [](Instrument& i, Places& p) { return i.GetCommInfo(&p.text); }},
    {"CanEditOutChans", [](Instrument& i, Places& p) { return i.CanEditOutChans(&p.number); }},
    {"SetChanVal", [](Instrument& i, Places&) { return i.SetChanVal(1, 1.5); }},
    {"RemoveGroupChan", [](Instrument& i, Places&) { return i.RemoveGroupChan(1, 0); }},
    {"ConnectGroupChan", [](Instrument& i, Places&) { return i.ConnectGroupChan(1, 0); }},
    {"GetCfgText", [](Instrument& i, Places& p) { return i.GetCfgText(&p.text); }},
    {"ExplKeyNum", [](Instrument& i, Places& p) { return i.ExplKeyNum(&p.small); }},
    {"MemBlocks", [](Instrument& i, Places& p) { return i.MemBlocks(&p.ids); }},
    {"CfgHasMemBlocks", [](Instrument& i, Places& p) { return i.CfgHasMemBlocks(&p.number); }},
    {"SetGroupSettings", [](Instrument& i, Places&) { return i.SetGroupSettings(1, {.period_ms = 500}); }},
    {"Save", [](Instrument& i, Places& p) { return i.Save(p.stream); }},
    {"Load and InitNew",
     [](Instrument& i, Places& p) {
       const HRESULT saved = i.SaveCopy(p.stream);
       const HRESULT loaded = Failed(saved) ? saved : i.Load(p.stream);
       return Failed(loaded) ? loaded : i.InitNew();
     },
     true},
    {"CheckPresence", [](Instrument& i, Places&) { return i.CheckPresence(); }},
};

// The members about a logger's memory.
const Call kMemoryCalls[] = {
    {"MemBlocks", [](Instrument& i, Places& p) { return i.MemBlocks(&p.ids); }},
    {"GetMemBlockStatus",
     [](Instrument& i, Places& p) { return i.GetMemBlockStatus(0, &p.word, &p.other_word, &p.number, &p.other); }},
    {"ReadMemBlock", [](Instrument& i, Places& p) { return i.ReadMemBlock(0, 5, false, &p.arrays, &p.word); }},
    {"ClearMemBlock", [](Instrument& i, Places&) { return i.ClearMemBlock(0, 1); }},
    {"GetMemBlockName", [](Instrument& i, Places& p) { return i.GetMemBlockName(0, &p.text); }},
    {"GetMemBlockSize", [](Instrument& i, Places& p) { return i.GetMemBlockSize(0, &p.word); }},
    {"GetMemBlockCyclePeriod",
     [](Instrument& i, Places& p) { return i.GetMemBlockCyclePeriod(0, &p.word, &p.other_word); }},
};

// The results of a call made without memory and then again with memory, and whether memory ran out at all.
struct Outcome {
  HRESULT without_memory = S_OK, again = S_OK;
  bool ran_out = false;
  bool kept = true;
};

HRESULT MakeIn(MemoryRig& rig, const Call& call) {
  Places places;
  return call.make(*rig.device, places);
}

Outcome Attempt(MemoryRig& rig, const Call& call, HRESULT wanted, long allocation) {
  Outcome outcome;
  Places places;
  const std::string before = rig.Configuration();
  {
    const FailingAllocation failure(allocation);
    outcome.without_memory = call.make(*rig.device, places);
    outcome.ran_out = failure.Happened();
  }
  if (!outcome.ran_out || Succeeded(outcome.without_memory)) return outcome;
  outcome.kept = call.changes || rig.Configuration() == before;
  // The simulated line runs out of memory too. A command that it received in part may make the next exchange fail.
  outcome.again = MakeIn(rig, call);
  for (int tries = 1; tries < 3 && outcome.again != wanted; ++tries) outcome.again = MakeIn(rig, call);
  return outcome;
}

void ExpectPublished(const Outcome& outcome, HRESULT wanted) {
  const bool is_code = outcome.without_memory == wanted || outcome.without_memory == E_OUTOFMEMORY ||
                       (static_cast<std::uint32_t>(outcome.without_memory) >> 16U) == 0x8004U;
  EXPECT_TRUE(is_code) << std::hex << outcome.without_memory;
  EXPECT_TRUE(outcome.kept);
  if (Failed(outcome.without_memory)) {
    EXPECT_EQ(outcome.again, wanted);
  }
}

// Makes a call with each of its allocations failing in turn. `rig_of` gives the instrument for each attempt.
template <typename RigOf>
void Walk(const Call& call, HRESULT wanted, RigOf&& rig_of) {
  SCOPED_TRACE(call.name);
  for (long n = 1; n < kMaxAllocations; ++n) {
    const Outcome outcome = Attempt(*rig_of(), call, wanted, n);
    if (!outcome.ran_out) return;
    SCOPED_TRACE(n);
    ExpectPublished(outcome, wanted);
  }
  ADD_FAILURE() << "more allocations than were tried";
}

class OutOfMemory : public testing::Test {
 protected:
  ~OutOfMemory() override {
    for (const auto until = std::chrono::steady_clock::now() + kTestPatience;
         ThreadsAlive() > 0 && std::chrono::steady_clock::now() < until;) {
      std::this_thread::yield();
    }
    EXPECT_EQ(ThreadsAlive(), 0);
  }
};

TEST_F(OutOfMemory, AnyMember_ReturnsACodeAndTheNextCallWorks) {
  for (const Call& call : kCalls) {
    MemoryRig calm("kelvo10");
    Walk(call, MakeIn(calm, call), [] { return std::make_unique<MemoryRig>("kelvo10"); });
  }
}

TEST_F(OutOfMemory, MemoryBlockMember_ReturnsACodeAndTheNextCallWorks) {
  MemoryRig rig("memolog");
  for (const Call& call : kMemoryCalls) Walk(call, MakeIn(rig, call), [&rig] { return &rig; });
}

TEST_F(OutOfMemory, AnyMember_LeaksNothing) {
  const auto attempt = [](const Call& call, long allocation) {
    MemoryRig rig("kelvo10");
    const Outcome outcome = Attempt(rig, call, S_OK, allocation);
    TakeErrorInfo();
    return outcome.ran_out;
  };
  for (const Call& call : kCalls) {
    SCOPED_TRACE(call.name);
    attempt(call, 1);  // Allocations that are made once and kept happen here, before the count.
    bool ran_out = true;
    for (long n = 1; ran_out && n < 20; n += 3) {
      const long before = BlocksHeld();
      ran_out = attempt(call, n);
      EXPECT_EQ(BlocksHeld(), before) << n;
    }
  }
}

TEST_F(OutOfMemory, DestructionOfAnInstrument_Ends) {
  bool ran_out = true;
  for (long n = 1; ran_out && n < kMaxAllocations; ++n) {
    MemoryRig rig("kelvo10");
    ASSERT_EQ(rig.device->RunGroup(1), S_OK);
    const FailingAllocation failure(n);
    rig.device.reset();
    ran_out = failure.Happened();
  }
  EXPECT_FALSE(ran_out);
}

// Copies each report, as hosts do. The copy throws when memory has run out.
class CopyingSink final : public EventSink {
 public:
  struct Seen {
    int reports = 0, ends = 0;
    HRESULT last_error = S_OK;
  };
  Watched<Seen> seen;

  void DataChange(std::uint32_t, const ChannelArrays& arrays) override {
    const ChannelArrays copy = arrays;
    seen.Update([&](Seen& s) {
      ++s.reports;
      s.last_error = copy.errors[0];
    });
  }
  void MeasReady(std::uint32_t) override {
    seen.Update([](Seen& s) { ++s.ends; });
  }
};

// The first scan of a run is always reported. When memory runs out in it, the next scan reports the right value.
TEST_F(OutOfMemory, Scan_LosesAtMostItsOwnReport) {
  for (long n = 1; n < kMaxAllocations; ++n) {
    SCOPED_TRACE(n);
    MemoryRig rig("kelvo10");
    ASSERT_EQ(rig.device->SetGroupSettings(1, {.period_ms = 500, .dead_band_abs = 1e6F, .dead_time_max_s = 1000}),
              S_OK);
    const auto sink = std::make_shared<CopyingSink>();
    rig.device->events().Advise(sink);
    ASSERT_EQ(rig.device->RunGroup(1), S_OK);
    bool ran_out = false;
    {
      const FailingAllocation failure(n);
      ASSERT_TRUE(sink->seen.Await([](const auto& seen) { return seen.ends == 1; }));
      ran_out = failure.Happened();
    }
    EXPECT_EQ(sink->seen.Get().reports, 1) << "both events or neither";
    ASSERT_EQ(rig.device->ImmediateReadGroups(kGroups), S_OK);
    ASSERT_TRUE(sink->seen.Await([](const auto& seen) { return seen.ends == 2; })) << "the threads are alive";
    EXPECT_EQ(sink->seen.Get().last_error, S_OK);
    if (!ran_out) return;
  }
  FAIL() << "no scan succeeded";
}

}  // namespace
}  // namespace ulix
