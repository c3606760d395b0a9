// A digital certificate as a page for people, in English or French: one HTML file that needs no other file and prints
// on A4.
#pragma once

#include <string>

#include "base/text.h"
#include "calibration/certificate.h"
#include "calibration/evaluation.h"

namespace ulix::calibration {

// The page with every text and number of the certificate. Texts are in `language` if the certificate has them in that
// language. `sha256` is the digest of the certificate's file and is printed at the end. `signature` is a text about the
// signature. Both may be empty.
std::string CertificatePage(const Certificate& certificate, Language language, const std::string& sha256 = {},
                            const std::string& signature = {});

// The uncertainty budgets of a run as a fragment of HTML, with one table for each point.
std::string BudgetSection(const RunResult& run, const Evaluation& evaluation, Language language);

}  // namespace ulix::calibration
