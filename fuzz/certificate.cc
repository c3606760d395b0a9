// Any bytes as a certificate. Reading stays within bounds. A certificate that could be read is written, checked and
// shown.
#include "calibration/certificate_page.h"
#include "calibration/dcc/dcc.h"
#include "calibration/reference_certificate.h"
#include "fuzz/require.h"

namespace ulix::calibration {
namespace {

void CheckCertificate(const Certificate& certificate) {
  (void)CheckContent(certificate);
  Require(!CertificatePage(certificate, Language::kFrench).empty(), "what is read is shown");
  const auto written = WriteDcc(certificate);
  if (!written) return;
  const auto again = ReadDcc(*written);
  Require(again.has_value(), "what is written is read");
  Require(WriteDcc(*again).value_or("") == *written, "what is read and written is the same");
}

void CheckReference(const ReferenceCertificate& reference) {
  Require(!reference.points.empty(), "a reference has points");
  for (const ReferencePoint& point : reference.points) {
    const auto correction = reference.At(point.indication);
    Require(!correction || correction->expanded >= 0, "an uncertainty is not negative");
  }
}

}  // namespace
}  // namespace ulix::calibration

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ulix::calibration;
  const std::string_view text = ulix::TextOfInput(data, size);
  if (const auto certificate = ReadDcc(text)) {
    CheckCertificate(*certificate);
    if (const auto reference = ReferenceFrom(*certificate, "°C")) CheckReference(*reference);
    (void)CheckSignatureCoversAll(text);
  }
  if (const auto table = ReferenceFromTable(text)) CheckReference(*table);
  (void)ReadRuleFindings(text);
  return 0;
}
