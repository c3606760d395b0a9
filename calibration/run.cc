#include "calibration/run.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "base/sha256.h"
#include "calibration/run_journal.h"
#include "calibration/runner.h"
#include "core/version.h"

namespace ulix::calibration {
namespace {

BilingualText WhyNoJournal(platform::AppendFailure failure, const std::string& path) {
  switch (failure) {
    case platform::AppendFailure::kExists:
      return Bilingual(TextId::kJournalExists, {path});
    case platform::AppendFailure::kMissing:
      return Bilingual(TextId::kJournalMissing, {path});
    case platform::AppendFailure::kInUse:
      return Bilingual(TextId::kJournalInUse, {path});
    case platform::AppendFailure::kOther:
      break;
  }
  return Bilingual(TextId::kJournalUnwritable, {path});
}

RunEnd CannotStart(const BilingualText& reason) { return {RunEnd::kCannotStart, reason, true}; }

Json ReferenceOf(const ReferenceCertificate& reference) {
  Json points = Json::array();
  for (const ReferencePoint& point : reference.points) {
    points.push_back({point.indication, point.correction, point.expanded, point.coverage_factor});
  }
  return {{"certificate", reference.identifier},
          {"sha256", reference.sha256},
          {"due", reference.due_date},
          {"points", std::move(points)}};
}

Json HeaderOf(const Plan& plan, const RunServices& services) {
  const std::string when = IsoTime(services.clock->LocalTime());
  Json header{{"format", kJournalFormat},
              {"id", Sha256Hex(plan.text + when).substr(0, 16)},
              {"version", VersionText()},
              {"simulated", services.simulated},
              {"plan-sha256", Sha256Hex(plan.text)},
              {"folder", plan.folder},
              {"plan", plan.text}};
  if (services.reference) header["reference"] = ReferenceOf(*services.reference);
  return header;
}

RunEnd NewRun(const Plan& plan, const std::string& path, const RunServices& services) {
  auto writer = JournalWriter::Create(path);
  if (!writer) return CannotStart(WhyNoJournal(writer.error(), path));
  const Json header = HeaderOf(plan, services);
  return Runner(plan, services, Recorder(std::move(*writer), std::nullopt, services.simulated), header).Run();
}

RunEnd ResumedRun(const Plan& plan, const std::string& path, const RunServices& services) {
  auto writer = JournalWriter::Continue(path);
  if (!writer) return CannotStart(WhyNoJournal(writer.error(), path));
  const auto header = HeaderOfJournal(path);
  if (!header) return CannotStart(header.error());
  if (header->at("plan-sha256") != Sha256Hex(plan.text)) {
    return CannotStart(Bilingual(TextId::kJournalPlanChanged));
  }
  auto reader = JournalReader::Open(path);
  if (!reader) return CannotStart(WhyUnreadable(reader.error(), path));
  if (!writer->GoOnAfter(*reader)) return CannotStart(Bilingual(TextId::kJournalUnwritable, {path}));
  if (services.simulated && services.hurry) services.hurry(true);
  Json again = *header;
  for (const char* key : {"n", "k", "t", "at", "prev"}) again.erase(key);
  return Runner(plan, services, Recorder(std::move(*writer), std::move(*reader), services.simulated), again).Run();
}

}  // namespace

RunEnd RunCalibration(const Plan& plan, const std::string& folder, RunMode mode, const RunServices& services) {
  try {
    std::error_code failed;
    std::filesystem::create_directories(platform::PathOf(folder), failed);
    if (failed) return CannotStart(Bilingual(TextId::kJournalNoFolder, {folder, failed.message()}));
    const std::string path = JournalPath(folder);
    return mode == RunMode::kNew ? NewRun(plan, path, services) : ResumedRun(plan, path, services);
  } catch (const std::exception& failure) {
    return CannotStart(failure.what());
  }
}

}  // namespace ulix::calibration
