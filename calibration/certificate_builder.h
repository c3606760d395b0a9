// Builds the certificate of one unit from a run and its evaluation.
#pragma once

#include <string>
#include <vector>

#include "calibration/certificate.h"
#include "calibration/evaluation.h"

namespace ulix::calibration {

// What a plan lacks for a certificate, one text for each entry: identifier, laboratory with country, customer,
// responsible person, serial number of each unit, certificate of the reference. Empty when a certificate can be made.
std::vector<Problem> CertificateGaps(const Plan& plan);

// Builds the certificate of unit number `unit`. Texts of the plan are used unchanged for both languages; all other
// texts are in English and French. `issue_date` is YYYY-MM-DD. If the run has several units, their certificates have
// identifiers ending in "-1", "-2" and so on. Fails for a run that is not complete, for gaps in the plan, and for a
// unit of measurement that certificates do not have.
Result<Certificate> BuildCertificate(const RunResult& run, const Evaluation& evaluation, std::size_t unit,
                                     const std::string& issue_date);

}  // namespace ulix::calibration
