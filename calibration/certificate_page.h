// A digital certificate as a page for people: one HTML file in English or French that needs nothing else and prints on
// A4.
#pragma once

#include <string>

#include "base/text.h"
#include "calibration/certificate.h"
#include "calibration/evaluation.h"

namespace ulix::calibration {

// Every text and number of the certificate, as it has them. Texts are taken in the language where the certificate has
// them in it. `sha256` is that of the certificate's file, printed at the end; `signature` says what is known of its
// signature; either may be empty.
std::string CertificatePage(const Certificate& certificate, Language language, const std::string& sha256 = {},
                            const std::string& signature = {});

// The budgets of a run as a fragment of HTML: a table a point.
std::string BudgetSection(const RunResult& run, const Evaluation& evaluation, Language language);

}  // namespace ulix::calibration
