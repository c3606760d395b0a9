// The certificates of a calibration as files: the reference's that a plan names, and those that a run ends with.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/reference_certificate.h"
#include "calibration/results.h"

namespace ulix::calibration {

// The certificate of the plan's reference; none where the plan names none. Refused with the file's fault.
Result<std::optional<ReferenceCertificate>> LoadReferenceOf(const Plan& plan);

// The same for a run. Refused also where the file is not the one that the run began with.
Result<std::optional<ReferenceCertificate>> LoadReferenceOf(const RunResult& run);

// What is wrong with the reference's certificate for this plan: a file that cannot be read or is another one (sha256),
// another serial number than the reference's (or its instrument's), a date of recalibration before `today` (YYYY-MM-DD)
// without the plan's reason for accepting it, points outside of the calibrated range. Also what a plan that asks for a
// certificate lacks for one. Problems that do not prevent the run are warnings.
std::vector<PlanProblem> CheckCertificates(const Plan& plan, const std::string& today);

// What a run ended with, for the caller to tell.
struct WrittenCertificates {
  std::vector<std::string> files;  // certificate and page of each unit
};

// Writes a certificate and its page, in the language given, for each unit into `folder`: "certificate-1.xml",
// "certificate-1.html". `sign` is "KEY.pem,CERT.pem" or empty. Refused as in BuildCertificate and SignCertificate.
Result<WrittenCertificates> WriteCertificates(const RunResult& run, const std::string& folder,
                                              const std::string& issue_date, const std::string& sign,
                                              Language language);

}  // namespace ulix::calibration
