// The certificate of one unit, from a run and its evaluation.
#pragma once

#include <string>
#include <vector>

#include "calibration/certificate.h"
#include "calibration/evaluation.h"

namespace ulix::calibration {

// What a plan lacks for a certificate, a text an entry: identifier, laboratory with its country, customer, a person who
// answers, a serial number for each unit, the reference's certificate. Empty when a certificate can be made.
std::vector<Problem> CertificateGaps(const Plan& plan);

// Digital certificates take the plan's texts as they are, for both languages; their own are in English and French.
// `issue_date` is YYYY-MM-DD. Several units get one certificate each, the identifier with "-1", "-2" behind it.
// Refused: a run that is not complete, gaps in the plan, a unit of measurement that certificates do not know.
Result<Certificate> BuildCertificate(const RunResult& run, const Evaluation& evaluation, std::size_t unit,
                                     const std::string& issue_date);

}  // namespace ulix::calibration
