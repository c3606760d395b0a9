// Digital calibration certificates as XML files. Only this folder uses the XML library (libxml2). A build without
// libxml2 uses calibration/without_dcc instead, where every function fails.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "calibration/certificate.h"
#include "calibration/problem.h"

namespace ulix::calibration {

// Whether this build reads and writes certificates.
bool HasDcc();

// The largest accepted document, in bytes. A larger one is refused before it is parsed.
inline constexpr std::size_t kMaxDccBytes = 16U << 20;
inline constexpr std::size_t kMaxDccElements = 200'000;

// Reads a certificate of version 3.0 to 3.3. Fails for XML that is not well-formed, a document type declaration (and
// therefore any entity), another root element, an invalid number, and a document that is too large or too deep. Never
// loads anything from outside.
Result<Certificate> ReadDcc(std::string_view xml);

// Writes a document of version 3.3.0. Fails if a mandatory entry is missing, or if a text cannot be written in XML
// (control characters, invalid UTF-8).
Result<std::string> WriteDcc(const Certificate& certificate);

// Validates a document with the XML schema in `folder` (.../dcc/v3.3.0/dcc.xsd below it, or dcc.xsd in it). Returns one
// text for each finding. Fails when there is no schema. The document must have passed ReadDcc.
Result<std::vector<BilingualText>> CheckDccSchema(std::string_view xml, const std::string& folder);

// Checks that the signature covers the whole document. There must be one signature, a child of the root, with one
// reference to the whole document and only the transforms "enveloped" and canonicalisation; otherwise parts of the
// document could be changed. Does not check who signed. The document must have passed ReadDcc.
Result<void> CheckSignatureCoversAll(std::string_view xml);

// A finding of the official rules about a document. `error` is false for a warning.
struct RuleFinding {
  bool error = true;
  std::string text;
};

// Reads the report of the rules (Schematron, SVRL). Leaves out findings that are only information, and those about the
// elements of a signature.
Result<std::vector<RuleFinding>> ReadRuleFindings(std::string_view report);

// Adds an empty signature at the end of the document, for xmlsec1 to fill in: exclusive canonicalisation, RSA with
// SHA-256.
Result<std::string> WithSignatureTemplate(std::string_view xml);

}  // namespace ulix::calibration
