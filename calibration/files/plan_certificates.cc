#include "calibration/files/plan_certificates.h"

#include <filesystem>
#include <system_error>

#include "base/sha256.h"
#include "calibration/certificate_builder.h"
#include "calibration/certificate_page.h"
#include "calibration/dcc/dcc.h"
#include "calibration/files/reference_file.h"
#include "calibration/files/signature.h"
#include "platform/files.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

// The serial number that the certificate must contain: that of the probe, or else that of its instrument. Empty if the
// plan has none.
std::string ReferenceSerial(const Plan& plan) {
  if (!plan.reference.serial_number.empty()) return plan.reference.serial_number;
  const PlannedInstrument* const instrument = plan.FindInstrument(plan.reference.channel.instrument);
  return instrument == nullptr ? "" : instrument->serial_number;
}

std::string FileOf(const Plan& plan) {
  const std::filesystem::path file = platform::PathOf(plan.reference.certificate.file);
  return file.is_absolute() || plan.folder.empty() ? file.string() : (platform::PathOf(plan.folder) / file).string();
}

class CertificateCheck {
 public:
  explicit CertificateCheck(const Plan& plan) : plan_(plan) {}

  std::vector<PlanProblem> Run(const std::string& today);

 private:
  void Note(const Problem& problem, bool warning = false) {
    found_.push_back({plan_.reference.certificate.line, "reference.certificate", problem, warning});
  }
  void CheckReference(const ReferenceCertificate& reference, const std::string& today);
  void CheckDate(const ReferenceCertificate& reference, const std::string& today);
  void CheckPoints(const ReferenceCertificate& reference);

  const Plan& plan_;
  std::vector<PlanProblem> found_;
};

void CertificateCheck::CheckDate(const ReferenceCertificate& reference, const std::string& today) {
  if (!reference.IsOverdue(today)) return;
  const std::string& reason = plan_.reference.certificate.accept_overdue;
  if (reason.empty()) return Note(Bilingual(TextId::kReferenceOverdue, {reference.identifier, reference.due_date}));
  Note(Bilingual(TextId::kReferenceOverdueAccepted, {reference.identifier, reference.due_date, reason}), true);
}

// Reports the first point outside only.
void CertificateCheck::CheckPoints(const ReferenceCertificate& reference) {
  for (const PlannedPoint& point : plan_.points) {
    const auto correction = reference.At(point.value);
    if (!correction) return Note(correction.error());
  }
}

void CertificateCheck::CheckReference(const ReferenceCertificate& reference, const std::string& today) {
  const std::string& expected = plan_.reference.certificate.sha256;
  if (!expected.empty() && !EqualIgnoringCase(expected, reference.sha256)) {
    return Note(Bilingual(TextId::kReferenceOtherFile, {reference.file, reference.sha256}));
  }
  const std::string serial = ReferenceSerial(plan_);
  if (!serial.empty() && reference.serial_numbers.empty()) {
    Note(Bilingual(TextId::kReferenceNoSerial, {reference.identifier, serial}));
  } else if (!serial.empty() && !reference.IsFor(serial)) {
    std::string named;
    for (const std::string& one : reference.serial_numbers) named += (named.empty() ? "" : ", ") + one;
    Note(Bilingual(TextId::kReferenceOtherSerial, {reference.identifier, serial, named}));
  }
  CheckDate(reference, today);
  CheckPoints(reference);
}

std::vector<PlanProblem> CertificateCheck::Run(const std::string& today) {
  const auto reference = LoadReferenceOf(plan_);
  if (!reference) {
    Note(reference.error());
  } else if (*reference) {
    CheckReference(**reference, today);
  }
  if (plan_.certificate.identifier.empty()) return std::move(found_);
  for (const Problem& gap : CertificateGaps(plan_)) found_.push_back({0, "certificate", gap, false});
  return std::move(found_);
}

Result<void> WriteFile(const std::string& path, std::string_view bytes) {
  platform::NewFile file(path);
  if (!file.Write(bytes) || !file.Commit()) return Refused(TextId::kSignatureSignedNotWritten, {path});
  return {};
}

// Writes one certificate, signs it if asked, and writes its page, which has the digest of the final file.
Result<void> WriteOne(const Certificate& certificate, const std::string& stem, const std::string& sign,
                      Language language) {
  const std::string xml_file = stem + ".xml";
  auto done = WriteDcc(certificate).and_then([&](const std::string& xml) { return WriteFile(xml_file, xml); });
  if (done && !sign.empty()) done = SignCertificate(xml_file, sign);
  if (!done) {
    // An unsigned certificate is removed, so that nobody takes it for the signed one.
    std::error_code ignored;
    std::filesystem::remove(platform::PathOf(xml_file), ignored);
    return done;
  }
  return ReadDocument(xml_file).and_then([&](const std::string& xml) {
    return WriteFile(stem + ".html", CertificatePage(certificate, language, Sha256Hex(xml)));
  });
}

}  // namespace

Result<std::optional<ReferenceCertificate>> LoadReferenceOf(const Plan& plan) {
  if (plan.reference.certificate.file.empty()) return std::nullopt;
  return LoadReferenceCertificate(FileOf(plan), plan.unit).map([](ReferenceCertificate reference) {
    return std::optional(std::move(reference));
  });
}

Result<std::optional<ReferenceCertificate>> LoadReferenceOf(const RunResult& run) {
  auto reference = LoadReferenceOf(run.plan);
  if (!reference) return reference;
  const std::string digest = *reference ? (*reference)->sha256 : "";
  if (digest != run.reference_digest) return Refused(TextId::kReferenceChanged, {run.plan.reference.certificate.file});
  return reference;
}

std::vector<PlanProblem> CheckCertificates(const Plan& plan, const std::string& today) {
  return CertificateCheck(plan).Run(today);
}

Result<WrittenCertificates> WriteCertificates(const RunResult& run, const std::string& folder,
                                              const std::string& issue_date, const std::string& sign,
                                              Language language) {
  const auto reference = LoadReferenceOf(run);
  if (!reference) return tl::unexpected(reference.error());
  const auto evaluation = Evaluate(run, *reference);
  if (!evaluation) return tl::unexpected(evaluation.error());
  WrittenCertificates written;
  for (std::size_t unit = 0; unit < run.plan.units.size(); ++unit) {
    const auto certificate = BuildCertificate(run, *evaluation, unit, issue_date);
    if (!certificate) return tl::unexpected(certificate.error());
    const std::string stem = (platform::PathOf(folder) / ("certificate-" + std::to_string(unit + 1))).string();
    if (const auto done = WriteOne(*certificate, stem, sign, language); !done) return tl::unexpected(done.error());
    written.files.push_back(stem + ".xml");
    written.files.push_back(stem + ".html");
  }
  return written;
}

}  // namespace ulix::calibration
