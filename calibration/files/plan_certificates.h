// The certificate files of a calibration: that of the reference, which the plan names, and those that a run produces.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/reference_certificate.h"
#include "calibration/results.h"

namespace ulix::calibration {

// Loads the certificate of the plan's reference. None if the plan names none. Fails if the file cannot be used.
Result<std::optional<ReferenceCertificate>> LoadReferenceOf(const Plan& plan);

// Loads the certificate of the reference of a run. Also fails if the file is not the one with which the run began.
Result<std::optional<ReferenceCertificate>> LoadReferenceOf(const RunResult& run);

// Checks the certificate of the reference for this plan. Problems: a file that cannot be read or has another digest,
// another serial number than that of the reference or its instrument, a recalibration date before `today` (YYYY-MM-DD)
// that the plan does not accept with a reason, points outside of the calibrated range. If the plan asks for
// certificates, also everything that it lacks for them. Problems that do not prevent the run are warnings.
std::vector<PlanProblem> CheckCertificates(const Plan& plan, const std::string& today);

// The files that were written for a run.
struct WrittenCertificates {
  std::vector<std::string> files;  // the certificate and the page of each unit
};

// Writes a certificate and its page for each unit into `folder`: "certificate-1.xml", "certificate-1.html". `sign` is
// "KEY.pem,CERT.pem", or empty for unsigned certificates. Fails as BuildCertificate and SignCertificate do.
Result<WrittenCertificates> WriteCertificates(const RunResult& run, const std::string& folder,
                                              const std::string& issue_date, const std::string& sign,
                                              Language language);

}  // namespace ulix::calibration
