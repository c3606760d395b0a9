#include "calibration/files/reference_file.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/sha256.h"
#include "calibration/dcc/dcc.h"
#include "platform/files.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

bool IsXml(std::string_view bytes) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  return Trimmed(bytes).starts_with('<');
}

// A certificate with findings of CheckContent is not accepted as a reference.
Result<ReferenceCertificate> SoundReference(const Certificate& certificate, const std::string& unit) {
  const std::vector<Problem> findings = CheckContent(certificate);
  if (findings.empty()) return ReferenceFrom(certificate, unit);
  return Refused(TextId::kReferenceFaulty, {certificate.identifier, findings.front()});
}

}  // namespace

Result<std::string> ReadDocument(const std::string& path) {
  // A pipe is refused first, because opening it would wait for its writer.
  std::error_code failed;
  const auto status = std::filesystem::status(platform::PathOf(path), failed);
  const bool other = std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
  if (other) return Refused(TextId::kReferenceNoFile, {path});
  std::ifstream file(platform::PathOf(path), std::ios::binary);
  std::string bytes;
  std::string piece(1U << 16, '\0');
  while (file && bytes.size() <= kMaxDccBytes) {
    file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    bytes.append(piece, 0, static_cast<std::size_t>(file.gcount()));
  }
  if (bytes.size() > kMaxDccBytes)
    return Refused(TextId::kReferenceTableTooLarge, {path, std::to_string(kMaxDccBytes)});
  if (!file.is_open() || file.bad() || !file.eof()) return Refused(TextId::kReferenceUnreadable, {path});
  return bytes;
}

Result<ReferenceCertificate> LoadReferenceCertificate(const std::string& path, const std::string& unit) {
  return ReadDocument(path).and_then([&](const std::string& bytes) {
    auto read = IsXml(bytes) ? ReadDcc(bytes).and_then([&](const Certificate& c) { return SoundReference(c, unit); })
                             : ReferenceFromTable(bytes);
    return std::move(read).map([&](ReferenceCertificate reference) {
      reference.sha256 = Sha256Hex(bytes);
      reference.file = path;
      return reference;
    });
  });
}

}  // namespace ulix::calibration
