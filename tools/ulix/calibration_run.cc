#include "tools/ulix/calibration_run.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <vector>

#include "base/sha256.h"
#include "calibration/files/plan_certificates.h"
#include "calibration/files/signature.h"
#include "calibration/plan_loader.h"
#include "calibration/run.h"
#include "calibration/run_journal.h"
#include "calibration/schedule.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "simulators/plan_bench.h"
#include "tools/ulix/calibration_page.h"
#include "tools/ulix/calibration_report.h"
#include "tools/ulix/calibration_view.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/live_output.h"
#include "tools/ulix/output.h"
#include "tools/ulix/question.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {

using calibration::LoadedPlan;
using calibration::Plan;
using calibration::PlanProblem;
using calibration::RunEnd;
using calibration::RunMode;
using calibration::RunServices;

namespace {

constexpr char kReportFile[] = "report.html";
constexpr char kTableFile[] = "results.csv";

std::string DayOfToday() { return IsoTime(SystemClock().LocalTime()).substr(0, 10); }

// Loads a plan and prints its problems and warnings to standard error.
class PlanFile {
 public:
  explicit PlanFile(const CalibrationOptions& options)
      : loaded_(calibration::LoadPlan(ReadWholeFile(options.plan_file), FolderOf(options.plan_file))) {
    language_ = options.language.value_or(loaded_.plan.language.value_or(ShownLanguage()));
    if (loaded_.usable()) AddCertificateProblems();
    for (const PlanProblem& problem : loaded_.problems) Print(options.plan_file, problem);
    if (!loaded_.usable()) throw UsageError("PLAN", Shown(TextId::kPlanCannotRun, language_, {options.plan_file}));
  }
  const Plan& plan() const { return loaded_.plan; }
  Language language() const { return language_; }

 private:
  static std::string FolderOf(const std::string& file) { return platform::PathOf(file).parent_path().string(); }
  void AddCertificateProblems() {
    for (PlanProblem& problem : calibration::CheckCertificates(loaded_.plan, DayOfToday())) {
      loaded_.problems.push_back(std::move(problem));
    }
  }
  void Print(const std::string& file, const PlanProblem& problem) const {
    std::cerr << file << ":" << (problem.warning ? " " + Shown(TextId::kRunWarning, language_) : "")
              << calibration::Described(problem, language_) << '\n';
  }

  LoadedPlan loaded_;
  Language language_ = Language::kEnglish;
};

void PrintTimeTable(const Plan& plan, Language language) {
  const auto times = calibration::TimeTableOf(plan);
  Table table(
      {Shown(TextId::kRunTimeTable, language), Shown(TextId::kRunTakes, language), Shown(TextId::kRunWhat, language)});
  double at = 0;
  const auto add = [&](double seconds, const std::string& what) {
    table.Add({ClockText(at), ClockText(seconds), what});
    at += seconds;
  };
  for (const calibration::Phase phase : plan.phases) {
    const std::string name = PhaseText(phase, language) + ", ";
    if (plan.preload.count > 0) add(times.preload_seconds, name + Shown(TextId::kRunPreloads, language));
    for (std::size_t k = 0; k < plan.points.size(); ++k) {
      add(times.point_seconds[k], name + PointText(plan, plan.points[k].value, plan.points[k].direction, language));
    }
  }
  table.Print();
  const std::string total = ClockText(times.run_seconds), points = std::to_string(plan.points.size());
  PrintLine(plan.phases.size() == 1
                ? Shown(TextId::kRunTotalOnePhase, language, {total, points})
                : Shown(TextId::kRunTotal, language, {total, std::to_string(plan.phases.size()), points}));
}

// The start of the folder names of a plan's runs: "dry-block-" for dry-block.json, as in "dry-block-20260131-101112".
std::string StemOf(const std::string& plan_file) { return platform::PathOf(plan_file).stem().string() + "-"; }

std::string NewFolder(const std::string& plan_file) {
  std::string time = IsoTime(SystemClock().LocalTime()).substr(0, 19);
  std::erase_if(time, [](char c) { return c == '-' || c == ':'; });
  std::replace(time.begin(), time.end(), 'T', '-');
  std::string folder = StemOf(plan_file) + time;
  std::error_code ignored;
  for (int more = 2; std::filesystem::exists(platform::PathOf(folder), ignored); ++more) {
    folder = StemOf(plan_file) + time + "-" + std::to_string(more);
  }
  return folder;
}

// Whether a text is such as "20260131-101112" or "20260131-101112-2".
bool IsTimeOfRun(std::string text) {
  constexpr std::string_view kDateAndTime = "dddddddd-dddddd";
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; }, 'd');
  if (!text.starts_with(kDateAndTime)) return false;
  const std::string number = text.substr(kDateAndTime.size());
  return number.empty() || (number.size() > 1 && number[0] == '-' && number.find_first_not_of('d', 1) == number.npos);
}

// Whether the folder has the name of a run of this plan's file, and contains an incomplete run of exactly this plan.
bool IsOpenRunOf(const std::filesystem::path& folder, const std::string& stem, const std::string& digest) {
  const std::string name = folder.filename().string();
  if (!name.starts_with(stem) || !IsTimeOfRun(name.substr(stem.size()))) return false;
  const std::string journal = calibration::JournalPath(folder.string());
  const auto header = calibration::HeaderOfJournal(journal);
  return header && header->at("plan-sha256") == digest && !calibration::IsComplete(journal);
}

// The folder of the newest incomplete run of a plan.
std::string LastFolder(const std::string& plan_file, const Plan& plan) {
  const std::string digest = Sha256Hex(plan.text);
  std::vector<std::string> folders;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(".", ignored)) {
    if (IsOpenRunOf(entry.path(), StemOf(plan_file), digest)) folders.push_back(entry.path().filename().string());
  }
  std::sort(folders.rbegin(), folders.rend());
  if (folders.empty()) throw UsageError("--resume", Shown(TextId::kRunNoRun, {"."}));
  return folders.front();
}

// The simulated bench of a run; null for a run with real instruments.
std::unique_ptr<PlanBench> BenchOf(const Plan& plan, const CalibrationOptions& options, const std::string& folder) {
  if (!plan.simulated()) {
    if (options.speed) throw UsageError("--speed", Shown(TextId::kSpeedNeedsSimulation));
    return nullptr;
  }
  Date start = SystemClock().LocalTime();
  if (options.resume) {
    const auto header = calibration::HeaderOfJournal(calibration::JournalPath(folder));
    if (header) start = calibration::DateOfIso(header->value("at", "")).value_or(start);
  }
  auto bench = PlanBench::Make(plan, options.speed.value_or(1), start);
  if (!bench) throw UsageError("PLAN", bench.error().In(ShownLanguage()));
  return std::move(*bench);
}

std::string InFolder(const std::string& folder, const char* file) { return (platform::PathOf(folder) / file).string(); }

void WriteCertificatesOf(const CalibrationFindings& findings, const std::string& folder, const std::string& sign,
                         Language language, std::vector<std::string>& files) {
  const bool wanted = findings.run.complete && !findings.run.plan.certificate.identifier.empty();
  if (!wanted) return;
  const auto written = calibration::WriteCertificates(findings.run, folder, DayOfToday(), sign, language);
  if (!written) {
    if (!sign.empty()) throw OperationFailed(E_FAIL, written.error().In(language));
    std::cerr << "ulix: " << Shown(TextId::kRunNoCertificate, language, {written.error().In(language)}) << '\n';
    return;
  }
  files.insert(files.end(), written->files.begin(), written->files.end());
}

// Writes all files, even if one fails. Prints their names at the end, then throws the first failure.
void WriteResults(const CalibrationOptions& options, const std::string& folder, Language language) {
  const CalibrationFindings findings = FindingsOf(folder, language);
  FirstFailure failure;
  std::vector<std::string> files;
  const auto write = [&](const char* name, const std::string& bytes) {
    const std::string path = InFolder(folder, name);
    if (failure.Attempt([&] { WriteWholeFile(path, bytes); })) files.push_back(path);
  };
  write(kTableFile, CalibrationCsv(findings, options.csv_separator));
  write(kReportFile, CalibrationReport(findings, language));
  failure.Attempt([&] { WriteCertificatesOf(findings, folder, options.sign, language, files); });
  for (const std::string& file : files) failure.Attempt([&] { PrintLine(file); });
  failure.Rethrow();
}

void CheckSigning(const Plan& plan, const std::string& sign) {
  if (sign.empty()) return;
  const std::size_t comma = sign.find(',');
  if (comma == sign.npos) throw UsageError("--sign", Shown(TextId::kTakesKeyAndCertificate));
  if (plan.certificate.identifier.empty()) throw UsageError("--sign", Shown(TextId::kNoCertificateWanted));
  for (const std::string& file : {sign.substr(0, comma), sign.substr(comma + 1)}) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(platform::PathOf(file), ignored))
      throw UsageError("--sign", Shown(TextId::kFileMissing, {file}));
  }
  const auto tried = calibration::TrySigning(sign);
  if (!tried) throw UsageError("--sign", tried.error().In(ShownLanguage()));
}

// Tells the user how the run ended. Returns the exit status.
int ReportEnd(const Plan& plan, const CalibrationOptions& options, const RunEnd& end, const std::string& folder,
              Language language) {
  if (!end.safe) {
    std::cerr << "ulix: " << Shown(TextId::kRunNotSafe, language, {end.unsafe_reason.In(language)}) << '\n';
  }
  if (end.kind == RunEnd::kComplete) return end.safe ? 0 : 1;
  if (end.kind == RunEnd::kCannotStart) throw OperationFailed(E_FAIL, end.reason.In(language));
  std::cerr << "ulix: " << end.reason.In(language) << '\n';
  if (end.safe && end.was_set) {
    std::cerr << "ulix: "
              << Shown(TextId::kRunLeftSafe, language,
                       {InLanguage(calibration::Shortened(plan.source.safe), language), plan.unit})
              << '\n';
  }
  std::cerr << "ulix: " << Shown(TextId::kRunGoOn, language, {options.plan_file, folder}) << '\n';
  return 1;
}

// The view on the terminal, and the live page if one is requested.
std::unique_ptr<CalibrationView> ViewOf(const Plan& plan, const CalibrationOptions& options, Language language) {
  auto view = MakeCalibrationView(plan, language);
  if (options.http.empty()) return view;
  auto page = ServePage(options.http, CalibrationPageOptions(plan, language));
  return MakeCalibrationPage(plan, language, std::move(page), std::move(view));
}

RunEnd CarryOut(const Plan& plan, const CalibrationOptions& options, const std::string& folder, Language language) {
  const auto bench = BenchOf(plan, options, folder);
  const auto view = ViewOf(plan, options, language);
  const auto reference = calibration::LoadReferenceOf(plan);
  if (!reference) throw UsageError("PLAN", reference.error().In(language));
  RunServices services;
  if (*reference) services.reference = &**reference;
  if (bench) bench->Provide(services);
  services.language = language;
  services.stop = &CatchInterrupts();
  services.observer = view.get();
  if (SomebodyIsThere()) {
    services.confirm_adjustment = [&] {
      view->MakeRoom();
      return AskYesOrNo(Shown(TextId::kRunAdjustNow, language));
    };
  }
  RunEnd end = calibration::RunCalibration(plan, folder, options.resume ? RunMode::kResume : RunMode::kNew, services);
  view->Finish();
  return end;
}

}  // namespace

int CheckPlanFile(const CalibrationOptions& options) {
  const PlanFile file(options);
  PrintLine(
      Shown(TextId::kRunNoProblem, file.language(),
            {options.plan_file, std::to_string(file.plan().points.size()), std::to_string(file.plan().units.size())}));
  return 0;
}

int RunPlanFile(const CalibrationOptions& options) {
  const PlanFile file(options);
  const Plan& plan = file.plan();
  if (options.dry_run) {
    PrintTimeTable(plan, file.language());
    return 0;
  }
  CheckSigning(plan, options.sign);
  std::string folder = options.folder;
  if (folder.empty()) folder = options.resume ? LastFolder(options.plan_file, plan) : NewFolder(options.plan_file);
  Tell(Shown(TextId::kRunRunInto, file.language(), {folder}));
  const RunEnd end = CarryOut(plan, options, folder, file.language());
  // Before the results are written: on a full disk that fails, but the user must still learn how the run ended.
  const int status = ReportEnd(plan, options, end, folder, file.language());
  WriteResults(options, folder, file.language());
  return status;
}

int ReportRun(const CalibrationOptions& options) {
  WriteResults(options, options.folder, options.language.value_or(ShownLanguage()));
  return 0;
}

}  // namespace ulix::cli
