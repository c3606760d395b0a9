// demo: the demonstration. Everything that it shows goes over a real serial device of the system and is checked.
#include <CLI/CLI.hpp>

#include <array>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/mutex.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/measurement_notes.h"
#include "tools/ulix/output.h"
#include "tools/ulix/scan.h"
#include "tools/ulix/scan_output.h"
#include "tools/ulix/simulation.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"
#include "tools/ulix/wire_log.h"

namespace ulix::cli {
namespace {

constexpr char kModel[] = "kelvo10";
constexpr std::uint32_t kPeriodMs = 200;
constexpr std::uint32_t kDemoTimeoutMs = 400;

struct DemoOptions {
  double seconds = 5;  // Duration of each of the two long scans.
  std::string directory;
};

// A simulated instrument on a pseudo terminal, served by a thread of its own.
class Bench {
 public:
  Bench() : instrument_(kModel), endpoint_(Open()), server_([this] { instrument_.Serve(*endpoint_, stop_); }) {}
  ~Bench() {
    stop_ = true;
    server_.join();
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  SimulatedInstrument& instrument() { return instrument_; }
  const std::string& address() const { return endpoint_->address(); }
  // Sets the slow swing of the source at the input.
  void Swing(const std::string& centre, const std::string& amplitude) {
    for (const auto& setting : {"follow-output=0", "noise=0.001", "period=4"}) instrument_.Set(setting);
    instrument_.Set("input=" + centre);
    instrument_.Set("amplitude=" + amplitude);
  }

 private:
  static std::unique_ptr<platform::ByteEndpoint> Open() {
    auto endpoint = platform::OpenPseudoTerminal();
    if (!endpoint) throw OperationFailed(endpoint.error(), Shown(TextId::kNoTerminal));
    return std::move(*endpoint);
  }

  SimulatedInstrument instrument_;
  std::unique_ptr<platform::ByteEndpoint> endpoint_;
  std::atomic<bool> stop_ = false;
  std::thread server_;
};

// Collects the lines on the wire.
class WireTap {
 public:
  LinkTrace Trace() {
    return TraceTo([this](TraceDirection direction, Date, const std::string& bytes) {
      const std::lock_guard lock(mutex_);
      lines_[direction == TraceDirection::kSent ? 0 : 1].push_back(bytes);
    });
  }
  std::vector<std::string> TakeSent() { return Take(0); }
  std::vector<std::string> TakeReceived() { return Take(1); }

 private:
  std::vector<std::string> Take(std::size_t direction) {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_[direction], {});
  }
  platform::Mutex mutex_;
  std::array<std::vector<std::string>, 2> lines_;  // Guarded by mutex_.
};

// Unplugs the line after a third of the reports and plugs it in again after two thirds.
class LinePuller final : public ScanOutput {
 public:
  LinePuller(SimulatedInstrument& instrument, std::uint64_t reports) : instrument_(instrument), reports_(reports) {}
  void Show(const ScanReport& report) override {
    last_ = report.data.errors.at(0);
    if (Failed(last_)) ++failed_, code_ = last_;
    ++seen_;
    if (seen_ == reports_ / 3) instrument_.SetFaults({"silent"});
    if (seen_ == reports_ * 2 / 3) instrument_.SetFaults({});
  }
  int failed() const { return failed_; }
  HRESULT code() const { return code_; }
  bool recovered() const { return Succeeded(last_); }

 private:
  SimulatedInstrument& instrument_;
  std::uint64_t reports_;
  std::uint64_t seen_ = 0;
  int failed_ = 0;
  HRESULT code_ = S_OK;  // The code of the last failure.
  HRESULT last_ = S_OK;
};

// Counts the reports in which every reading succeeded.
class GoodReports final : public ScanOutput {
 public:
  explicit GoodReports(std::uint64_t& count) : count_(count) {}
  void Show(const ScanReport& report) override {
    if (Succeeded(report.data.errors.at(0))) ++count_;
  }

 private:
  std::uint64_t& count_;
};

class Tour {
 public:
  explicit Tour(const DemoOptions& options)
      : options_(options), session_(ConnectionTo(bench_.address()), tap_.Trace()) {}
  int Run();

 private:
  static ConnectionOptions ConnectionTo(const std::string& device) {
    ConnectionOptions connection;
    connection.model = kModel;
    connection.port = device;
    connection.timeout_ms = kDemoTimeoutMs;
    return connection;
  }

  void Meet();
  void SendConfiguration();
  void ScanLive();
  void StepOutput();
  void ScanWithDeadBand();
  void PullTheLine();

  void Expect(bool shown, const std::string& what);
  std::string File(const char* name) const { return (std::filesystem::path(options_.directory) / name).string(); }
  std::vector<Channel> Inputs() { return SelectInputs(session_.Channels(), {}); }
  ErrorText Texts() {
    return [this](HRESULT code) { return session_.Explain(code); };
  }

  const DemoOptions& options_;
  Bench bench_;
  WireTap tap_;
  Session session_;  // Destroyed first, because it uses the members above.
  int missed_ = 0;
};

void Tour::Expect(bool shown, const std::string& what) {
  PrintLine("  " + (shown ? Shown(TextId::kTourShown, {what}) : Shown(TextId::kTourNotShown, {what})));
  if (!shown) ++missed_;
}

void Tour::Meet() {
  session_.ConnectAndAsk();
  std::string identity;
  session_.Check(session_.instrument().Identify(&identity));
  Table table(
      Heads({TextId::kChannelHead, TextId::kDirectionHead, TextId::kUnitHead, TextId::kDecimalsHead}, ShownLanguage()));
  for (const Channel& channel : session_.Channels()) {
    table.Add({channel.name, DirectionWord(channel.direction), channel.unit, std::to_string(channel.resolution)});
  }
  table.Print();
  Expect(!identity.empty(), Shown(TextId::kTourAnswer, {bench_.address(), Shown(identity)}));
}

void Tour::SendConfiguration() {
  for (const auto& setting : {"input-function=V5", "output-function=V5"}) {
    ApplySetting(session_.instrument().settings(), setting);
  }
  tap_.TakeSent();
  session_.Check(session_.instrument().SendCfg());
  const auto lines = tap_.TakeSent();
  for (const std::string& line : lines) PrintLine("  > " + line);
  Expect(lines.size() >= 2, Shown(TextId::kTourLines, {std::to_string(lines.size())}));
}

void Tour::ScanLive() {
  bench_.Swing("2.5", "1.5");
  const auto inputs = Inputs();
  std::uint64_t good = 0;
  const ScanPlan plan{.settings = {.period_ms = kPeriodMs}, .duration_s = options_.seconds};
  ScanOutputs outputs;
  outputs.push_back(MakeScreen(inputs, Texts(), ShownLanguage(), plan));
  outputs.push_back(std::make_unique<GoodReports>(good));
  const std::uint64_t reports = RunScan(session_, inputs, plan, outputs);
  Expect(good > 0 && good == reports, Shown(TextId::kTourScans, {std::to_string(good)}));
}

void Tour::StepOutput() {
  const auto inputs = Inputs();
  const auto outputs = session_.Channels();
  const Channel output = SelectOutput(outputs, "OUT");
  bench_.instrument().Set("follow-output=1");
  for (const float value : {1.0F, 2.0F, 4.0F}) {
    session_.Check(session_.instrument().SetChanVal(output.id, value));
    const ChannelArrays read = ReadOnce(session_, inputs, kDemoTimeoutMs);
    session_.Check(read.errors.at(0));
    const bool followed = std::abs(read.values.at(0) - value) < 0.05F;
    const std::string set = ShownNumber(FormatWithUnit(output, value));
    Expect(followed, Shown(TextId::kTourFollows, {set, ShownNumber(FormatWithUnit(inputs.at(0), read.values.at(0)))}));
  }
}

void Tour::ScanWithDeadBand() {
  bench_.Swing("2.5", "0.5");
  const GroupSettings settings{.period_ms = 100, .dead_band_abs = 0.25F, .dead_time_max_s = 60};
  const ScanPlan plan{.settings = settings, .duration_s = 3};
  ScanOutputs outputs;
  outputs.push_back(MakeScreen(Inputs(), Texts(), ShownLanguage(), plan));
  tap_.TakeReceived();
  const std::uint64_t reports = RunScan(session_, Inputs(), plan, outputs);
  const std::size_t scans = tap_.TakeReceived().size();
  const std::string band = ShownNumber("0.25 V");
  Expect(reports > 0 && reports * 2 < scans,
         Shown(TextId::kTourFewReports, {band, std::to_string(scans), std::to_string(reports)}));
}

void Tour::PullTheLine() {
  bench_.Swing("2.5", "1.5");
  const auto inputs = Inputs();
  const auto count = static_cast<std::uint64_t>(options_.seconds * 1000 / kPeriodMs);
  const ScanPlan plan{.settings = {.period_ms = kPeriodMs}, .count = count};
  ScanOutputs outputs;
  outputs.push_back(MakeScreen(inputs, Texts(), ShownLanguage(), plan));
  outputs.push_back(MakeCsvFile(File("ulix-demo.csv"), NotesForCsv(session_, inputs, {}), ',', inputs, Texts()));
  outputs.push_back(MakePlotFile(File("ulix-demo.svg"), Shown(TextId::kTourPlotTitle), inputs, ShownLanguage()));
  outputs.push_back(std::make_unique<LinePuller>(bench_.instrument(), count));
  const auto& line = static_cast<const LinePuller&>(*outputs.back());
  RunScan(session_, inputs, plan, outputs);
  const std::string failure = FailureLine(line.code(), session_.Explain(line.code()));
  Expect(line.code() == serialCommErrUnableToReadComm,
         Shown(TextId::kTourFailed, {std::to_string(line.failed()), failure}));
  Expect(line.recovered(), Shown(TextId::kTourRecovered));
}

int Tour::Run() {
  struct Step {
    std::string title;
    void (Tour::*show)();
  };
  const std::array steps = {
      Step{Shown(TextId::kTourConnection), &Tour::Meet},
      Step{Shown(TextId::kTourConfiguration), &Tour::SendConfiguration},
      Step{Shown(TextId::kTourScan, {std::to_string(kPeriodMs)}), &Tour::ScanLive},
      Step{Shown(TextId::kTourOutput), &Tour::StepOutput},
      Step{Shown(TextId::kTourDeadBand), &Tour::ScanWithDeadBand},
      Step{Shown(TextId::kTourPulledLine), &Tour::PullTheLine},
  };
  const std::atomic<bool>& interrupted = CatchInterrupts();
  for (const Step& step : steps) {
    PrintLine(OnTerminal() ? "\n" + Bold(step.title) : step.title);
    (this->*step.show)();
    if (interrupted) return 1;
  }
  PrintLine(Shown(TextId::kTourCsv, {File("ulix-demo.csv")}));
  PrintLine(Shown(TextId::kTourPlot, {File("ulix-demo.svg")}));
  if (missed_ == 0) return 0;
  throw OperationFailed(E_FAIL, Shown(TextId::kTourIncomplete, {std::to_string(missed_)}));
}

int Demo(DemoOptions options) {
  std::error_code failed;
  if (options.directory.empty()) {
    options.directory = (std::filesystem::temp_directory_path(failed) / "ulix-demo").string();
  }
  std::filesystem::create_directories(options.directory, failed);
  CheckReplaceable((std::filesystem::path(options.directory) / "ulix-demo.csv").string());
  return Tour(options).Run();
}

}  // namespace

Action DefineDemo(CLI::App& verb) {
  const auto options = std::make_shared<DemoOptions>();
  verb.add_option("--seconds", options->seconds, Shown(TextId::kHelpDemoSeconds))
      ->capture_default_str()
      ->type_name("S")
      ->transform(Number(2, 3600));
  verb.add_option("--dir", options->directory, Shown(TextId::kHelpDemoFolder))->type_name("DIR");
  return [=] { return Demo(*options); };
}

}  // namespace ulix::cli
