#include "calibration/files/rules_check.h"

#include <filesystem>
#include <random>
#include <system_error>

#include "calibration/files/reference_file.h"
#include "calibration/files/scratch_file.h"
#include "platform/child_process.h"
#include "platform/files.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

constexpr std::chrono::seconds kLimit(120);
constexpr char kSaxon[] = "/usr/share/java/Saxon-HE.jar";
constexpr char kClassPath[] = "/usr/share/java/Saxon-HE.jar:/usr/share/java/xml-resolver.jar";

std::string RulesIn(const std::string& folder) {
  std::error_code error;
  for (const char* path : {"schematron/dcc.svrl", "dcc.svrl", "schema/schematron/dcc.svrl"}) {
    const std::filesystem::path file = platform::PathOf(folder) / path;
    if (std::filesystem::is_regular_file(file, error)) return file.string();
  }
  return {};
}

std::string NewName() {
  std::random_device random;
  return "ulix-rules-" + std::to_string(random()) + std::to_string(random()) + ".xml";
}

}  // namespace

Result<std::optional<std::vector<RuleFinding>>> CheckDccRules(const std::string& path, const std::string& folder) {
  const std::string rules = RulesIn(folder);
  std::error_code error;
  if (rules.empty() || !std::filesystem::exists(kSaxon, error)) return std::nullopt;
  const ScratchFile report{(std::filesystem::temp_directory_path(error) / NewName()).string()};
  const auto status = platform::RunProgram({"java", "-Xmx512m", "-cp", kClassPath, "net.sf.saxon.Transform",
                                            "-s:" + path, "-xsl:" + rules, "-o:" + report.path},
                                           kLimit);
  if (!status) return std::nullopt;
  if (*status != 0) return Refused(TextId::kRulesNoResult, {rules});
  const auto findings =
      ReadDocument(report.path).and_then([](const std::string& xml) { return ReadRuleFindings(xml); });
  if (!findings) return tl::unexpected(findings.error());
  return *findings;
}

}  // namespace ulix::calibration
