// A group runs on a real terminal behind a symbolic link, as a USB adapter does. The terminal vanishes and another one
// appears under the same path, or another instrument is present. ULIX_UNPLUG_CYCLES sets how often.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "core/instrument.h"
#include "core/worker.h"
#include "drivers/catalogue.h"
#include "platform/byte_endpoint.h"
#include "simulators/server.h"
#include "simulators/simulator.h"
#include "tests/support/holdings.h"
#include "tests/support/long_run.h"
#include "tests/support/recording_sink.h"
#include "tests/support/scoped_env.h"

namespace ulix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint32_t kPeriodMs = 100;
constexpr int kUsualCycles = 5;

// Records the bytes that a simulated instrument receives.
class Listening final : public Simulator {
 public:
  explicit Listening(std::unique_ptr<Simulator> simulator) : simulator_(std::move(simulator)) {}
  std::string heard;

  std::vector<SimulatedReply> Receive(std::string_view bytes) override {
    heard += bytes;
    return simulator_->Receive(bytes);
  }
  std::string Refusal() const override { return simulator_->Refusal(); }
  HRESULT Set(std::string_view key, std::string_view value) override { return simulator_->Set(key, value); }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return simulator_->Properties(); }

 private:
  std::unique_ptr<Simulator> simulator_;
};

// A simulated Kelvo10 that measures `value`, on a terminal under the path `link`. The destructor removes both.
class PluggedDevice {
 public:
  PluggedDevice(std::filesystem::path link, int value, const char* identity = "ULIX,KELVO10,1,V2.10")
      : link_(std::move(link)), instrument_(std::make_unique<Listening>(FindSimulator("kelvo10")(SystemClock()))) {
    instrument_.WithSimulator([&](Simulator& s) { s.Set("measure-text", std::to_string(value)); });
    instrument_.WithSimulator([&](Simulator& s) { s.Set("identity", identity); });
    std::filesystem::create_symlink(endpoint_->address(), link_);
    server_ = std::thread([this] { Serve(instrument_, *endpoint_, SystemClock(), stop_); });
  }
  ~PluggedDevice() {
    std::filesystem::remove(link_);
    stop_ = true;
    server_.join();
  }
  PluggedDevice(const PluggedDevice&) = delete;
  PluggedDevice& operator=(const PluggedDevice&) = delete;

  // Takes the bytes received since the last call. Waits until they contain `expected`.
  std::string TakeHeard(std::string_view expected = "") {
    const auto heard = [&](auto&& act) {
      return instrument_.WithSimulator([&](Simulator& s) { return act(static_cast<Listening&>(s).heard); });
    };
    const auto until = steady_clock::now() + kTestPatience;
    const auto has_come = [&](const std::string& text) { return text.find(expected) != text.npos; };
    while (!heard(has_come) && steady_clock::now() < until) std::this_thread::sleep_for(milliseconds(1));
    return heard([](std::string& text) { return std::exchange(text, {}); });
  }

 private:
  std::filesystem::path link_;
  std::unique_ptr<platform::ByteEndpoint> endpoint_ = platform::OpenPseudoTerminal().value();
  FaultyInstrument instrument_;
  std::atomic<bool> stop_ = false;
  std::thread server_;
};

class Reports final : public EventSink {
 public:
  struct Seen {
    int count = 0;
    HRESULT error = S_OK;
    float value = 0;
    int wrong = 0;
  };
  Watched<Seen> seen;
  std::atomic<float> plugged = 0;  // The value of the device that is plugged in.

  void DataChange(std::uint32_t, const ChannelArrays& arrays) override {
    seen.Update([&](Seen& s) {
      ++s.count;
      s.error = arrays.errors[0];
      s.value = arrays.values[0];
      if (s.error == S_OK && s.value != plugged) ++s.wrong;
    });
  }
};

// Every reply that these tests expect comes within this, on however slow a machine.
DriverServices Patient() {
  DriverServices services;
  services.timeout_ms = static_cast<std::uint32_t>(milliseconds(kTestPatience).count());
  return services;
}

milliseconds Since(steady_clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

class UnplugTerminal : public testing::Test {
 protected:
  UnplugTerminal() {
    std::filesystem::create_directory(folder_);
    device_ = std::make_unique<PluggedDevice>(link_, 1);
    reports_->plugged = 1;
    SerialParams params;
    params.location = link_;
    EXPECT_EQ(instrument_.SetSerialParams(params), S_OK);
    EXPECT_EQ(instrument_.Connect(), S_OK);
    instrument_.events().Advise(reports_);
    EXPECT_EQ(instrument_.CreateGroup(&group_), S_OK);
    EXPECT_EQ(instrument_.ConnectGroupChan(group_, 0), S_OK);
    EXPECT_EQ(instrument_.SetGroupSettings(group_, {.period_ms = kPeriodMs}), S_OK);
  }
  ~UnplugTerminal() override { std::filesystem::remove_all(folder_); }

  bool AwaitOutcome(bool good) {
    return reports_->seen.Await([&](const Reports::Seen& s) { return s.count > 0 && (s.error == S_OK) == good; });
  }
  // Unplugs the device and waits until the group reports that it is gone. Returns the time to the first failed scan.
  milliseconds UnplugAndAwaitNotice() {
    const auto start = steady_clock::now();
    device_.reset();
    EXPECT_TRUE(AwaitOutcome(false));
    const milliseconds notice = Since(start);
    EXPECT_TRUE(reports_->seen.Await([](const Reports::Seen& s) { return s.error == serialCommErrCommClosed; }));
    return notice;
  }
  // Plugs a device with this value in and waits until the group reads it. Returns the time to the first value.
  milliseconds PlugAndAwaitReturn(int value) {
    const auto start = steady_clock::now();
    reports_->plugged = static_cast<float>(value);
    device_ = std::make_unique<PluggedDevice>(link_, value);
    EXPECT_TRUE(AwaitOutcome(true));
    return Since(start);
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("ulix-unplug-" + std::to_string(getpid()));
  const std::filesystem::path link_ = folder_ / "usb";
  std::unique_ptr<PluggedDevice> device_;
  std::shared_ptr<Reports> reports_ = std::make_shared<Reports>();
  Instrument instrument_{FindModel("kelvo10")->create(Patient())};
  std::uint32_t group_ = 0;
};

TEST_F(UnplugTerminal, ReplugUnderTheSamePath_IsNoticedAndReconnected) {
  ASSERT_EQ(instrument_.RunGroup(group_), S_OK);
  ASSERT_TRUE(AwaitOutcome(true));
  const long handles = HoldingsNow().handles;
  const int threads = ThreadsAlive();
  milliseconds slowest_notice{0}, slowest_return{0};
  const int cycles = LongRun("ULIX_UNPLUG_CYCLES", kUsualCycles);
  for (int cycle = 2; cycle < 2 + cycles; ++cycle) {
    slowest_notice = std::max(slowest_notice, UnplugAndAwaitNotice());
    const int before = reports_->seen.Get().count;
    const milliseconds back = PlugAndAwaitReturn(cycle);
    slowest_return = std::max(slowest_return, back);
    ASSERT_LE(reports_->seen.Get().count - before, back.count() / kPeriodMs + 2) << "no burst of late scans";
  }
  // Other programs that use serial lines, such as other tests, delay the notice. A long run is run alone.
  if (cycles > kUsualCycles) {
    EXPECT_LE(slowest_notice.count(), 1000);
  }
  EXPECT_EQ(reports_->seen.Get().wrong, 0);
  EXPECT_EQ(HoldingsNow().handles, handles);
  EXPECT_EQ(ThreadsAlive(), threads);
  std::printf("slowest notice %d ms, slowest return %d ms, %d scans\n", static_cast<int>(slowest_notice.count()),
              static_cast<int>(slowest_return.count()), reports_->seen.Get().count);
}

TEST_F(UnplugTerminal, DeviceAway_ConnectionAndGroupStayAndQueriesFail) {
  ASSERT_EQ(instrument_.RunGroup(group_), S_OK);
  ASSERT_TRUE(AwaitOutcome(true));
  UnplugAndAwaitNotice();
  std::int32_t connected = 0, running = 0;
  EXPECT_EQ(instrument_.IsConnected(&connected), S_OK);
  EXPECT_EQ(instrument_.IsGroupRunning(group_, &running), S_OK);
  EXPECT_TRUE(connected == 1 && running == 1) << "the loss of the link changes neither";
  std::string text = "?";
  EXPECT_TRUE(Failed(instrument_.Identify(&text)));
  EXPECT_EQ(text, "");
}

TEST_F(UnplugTerminal, DeviceAway_StopDisconnectAndConnectReturn) {
  ASSERT_EQ(instrument_.RunGroup(group_), S_OK);
  ASSERT_TRUE(AwaitOutcome(true));
  UnplugAndAwaitNotice();
  const auto start = steady_clock::now();
  EXPECT_EQ(instrument_.StopGroup(group_), S_OK);
  EXPECT_EQ(instrument_.Disconnect(), S_OK);
  EXPECT_EQ(instrument_.Connect(), serialCommErrUnableToOpenComm);
  EXPECT_LT(Since(start), kTestPatience);
}

// Two instruments under two paths. Two port numbers lead to the paths.
class TwoTerminals : public testing::TestWithParam<bool> {
 protected:
  // The host connects to the first instrument by its path, or by its number. The other one stays plugged in.
  TwoTerminals() {
    std::filesystem::create_directory(folder_);
    auto made = FindModel("kelvo10")->create(Patient());
    driver_ = made.get();
    instrument_ = std::make_unique<Instrument>(std::move(made));
    plugged_ = std::make_unique<PluggedDevice>(own_, 1, kFirst);
    other_device_ = std::make_unique<PluggedDevice>(other_, 2, kSecond);
    Number(own_, other_);
    SerialParams params{.port = kNumber};
    if (GetParam()) params.location = own_;
    EXPECT_EQ(instrument_->SetSerialParams(params), S_OK);
    EXPECT_EQ(instrument_->Connect(), S_OK);
    EXPECT_EQ(Read(), 1.0F);
  }
  ~TwoTerminals() override {
    EXPECT_EQ(other_device_->TakeHeard(), "") << "the other instrument was driven";
    instrument_.reset();
    std::filesystem::remove_all(folder_);
  }

  static constexpr const char* kFirst = "ULIX,KELVO10,1,V2.10";
  static constexpr const char* kSecond = "ULIX,KELVO10,2,V2.10";
  static constexpr int kNumber = 61;

  // Makes port number 61 lead to the first path and 62 to the second.
  void Number(const std::filesystem::path& first, const std::filesystem::path& second) {
    numbers_.emplace_back("ULIX_COM61", first);
    numbers_.emplace_back("ULIX_COM62", second);
  }
  // Unplugs the instrument. Its number then leads to the other one, as if the system had numbered the devices again.
  void Unplug() {
    plugged_.reset();
    Number(other_, own_);
  }
  // None when the reading fails.
  std::optional<float> Read() {
    const Reading reading = driver_->ReadChannel(0);
    return reading.code == S_OK ? std::optional(reading.value) : std::nullopt;
  }
  HRESULT Write() { return driver_->WriteChannel(1, 5.0F); }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("ulix-two-" + std::to_string(getpid()));
  const std::filesystem::path own_ = folder_ / "ttyUSB0";
  const std::filesystem::path other_ = folder_ / "ttyUSB1";
  std::deque<ScopedEnv> numbers_;
  std::unique_ptr<PluggedDevice> plugged_, other_device_;
  std::unique_ptr<Instrument> instrument_;
  Driver* driver_ = nullptr;  // Owned by `instrument_`.
};

TEST_P(TwoTerminals, OwnInstrumentReplugged_IsReadAndWrittenAgainAndNoOther) {
  Unplug();
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Read(), std::nullopt);
    EXPECT_TRUE(Failed(Write()));
  }
  plugged_ = std::make_unique<PluggedDevice>(own_, 4, kFirst);
  EXPECT_EQ(Read(), 4.0F);
  EXPECT_EQ(Write(), S_OK);
  EXPECT_NE(plugged_->TakeHeard("OPER\n").find("OUT 5.000000"), std::string::npos);
}

TEST_P(TwoTerminals, AnotherInstrumentAtTheSamePath_IsAskedForItsIdentityOnlyUntilTheHostConnectsAgain) {
  Unplug();
  EXPECT_EQ(Read(), std::nullopt);
  plugged_ = std::make_unique<PluggedDevice>(own_, 3, kSecond);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(driver_->ReadChannel(0).code, kelvo10CtlErrNotKelvo10);
    EXPECT_EQ(Write(), kelvo10CtlErrNotKelvo10);
  }
  EXPECT_EQ(plugged_->TakeHeard("*IDN?\n"), "*IDN?\n");
  ASSERT_EQ(instrument_->Disconnect(), S_OK);
  Number(own_, other_);
  ASSERT_EQ(instrument_->Connect(), S_OK);
  EXPECT_EQ(Read(), 3.0F);
}

INSTANTIATE_TEST_SUITE_P(Settings, TwoTerminals, testing::Bool(),
                         [](const auto& by_path) { return by_path.param ? "ByPath" : "ByNumber"; });

}  // namespace
}  // namespace ulix
