// Digital calibration certificates as XML files. Of this folder alone links the XML library (libxml2); a build without
// it has calibration/without_dcc in its place, where each function is refused.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "calibration/certificate.h"
#include "calibration/problem.h"

namespace ulix::calibration {

// Whether this build reads and writes certificates.
bool HasDcc();

// What a document may have at most. More is refused before it costs memory.
inline constexpr std::size_t kMaxDccBytes = 16U << 20;
inline constexpr std::size_t kMaxDccElements = 200'000;

// A certificate of the versions 3.0 to 3.3. Refused: what is no well-formed XML, a document type declaration (and with
// it every entity), another root, a number that is none, a document that is too large or too deep. Nothing is fetched.
Result<Certificate> ReadDcc(std::string_view xml);

// The document, version 3.3.0. Refused where a mandatory entry is missing or a text holds what XML cannot (control
// characters, bytes that are no UTF-8).
Result<std::string> WriteDcc(const Certificate& certificate);

// What the XML schema in `folder` (.../dcc/v3.3.0/dcc.xsd under it, or dcc.xsd itself) finds wrong, a text a finding.
// Refused when there is no schema. The document has passed ReadDcc.
Result<std::vector<std::string>> CheckDccSchema(std::string_view xml, const std::string& folder);

// Whether the document's signature covers all of it: one signature that is a child of the root, with one reference to
// the whole document, and no transform but "enveloped" and canonicalisation. Says nothing about who signed. A signature
// that covers less would let the rest be changed. The document has passed ReadDcc.
Result<void> CheckSignatureCoversAll(std::string_view xml);

// What a rule of the certificates' keeper says of a document; `error` is false for a warning.
struct RuleFinding {
  bool error = true;
  std::string text;
};

// From the result of a run of the rules (Schematron's report, SVRL). What is for information alone, or about the
// elements of a signature, is left out.
Result<std::vector<RuleFinding>> ReadRuleFindings(std::string_view report);

// The document with an empty signature at its end, for xmlsec1 to fill in: exclusive canonicalisation, RSA with
// SHA-256.
Result<std::string> WithSignatureTemplate(std::string_view xml);

}  // namespace ulix::calibration
