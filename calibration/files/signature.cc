#include "calibration/files/signature.h"

#include <filesystem>
#include <random>
#include <system_error>

#include "calibration/dcc/dcc.h"
#include "calibration/files/reference_file.h"
#include "calibration/files/scratch_file.h"
#include "platform/child_process.h"
#include "platform/files.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

constexpr std::chrono::seconds kSignatureLimit(60);

Result<void> RunXmlsec(std::vector<std::string> arguments, const Problem& failure) {
  arguments.insert(arguments.begin(), "xmlsec1");
  const auto status = platform::RunProgram(arguments, kSignatureLimit);
  constexpr int kNoSuchProgram = 127;
  if (!status || *status == kNoSuchProgram) return Refused(TextId::kSignatureNoProgram);
  if (*status != 0) return tl::unexpected(failure);
  return {};
}

// A path that cannot be mistaken for an option.
std::string PathArgument(const std::string& path) { return path.starts_with('-') ? "./" + path : path; }

Result<void> WriteDocument(const std::string& path, std::string_view bytes) {
  platform::NewFile file(path);
  if (!file.Write(bytes) || !file.Commit()) return Refused(TextId::kSignatureSignedNotWritten, {path});
  return {};
}

}  // namespace

Result<void> SignCertificate(const std::string& path, const std::string& key_and_certificate) {
  const auto prepared = ReadDocument(path).and_then([](const std::string& xml) { return WithSignatureTemplate(xml); });
  if (!prepared) return tl::unexpected(prepared.error());
  const ScratchFile unsigned_file{path + ".unsigned"};
  const ScratchFile signed_file{path + ".signed"};
  if (auto written = WriteDocument(unsigned_file.path, *prepared); !written) return written;
  auto done = RunXmlsec({"--sign", "--privkey-pem", key_and_certificate, "--output", PathArgument(signed_file.path),
                         PathArgument(unsigned_file.path)},
                        Bilingual(TextId::kSignatureNoSignature, {path, key_and_certificate}));
  if (!done) return done;
  // The signature is verified at once: with a key that does not belong to the certificate, everybody would refuse it.
  const std::string certificate = key_and_certificate.substr(key_and_certificate.find(',') + 1);
  auto holds = RunXmlsec(
      {"--verify", "--enabled-key-data", "rsa", "--pubkey-cert-pem", certificate, PathArgument(signed_file.path)},
      Bilingual(TextId::kSignatureOtherKey, {key_and_certificate}));
  if (!holds) return holds;
  return ReadDocument(signed_file.path).and_then([&](const std::string& xml) { return WriteDocument(path, xml); });
}

Result<void> TrySigning(const std::string& key_and_certificate) {
  std::error_code failed;
  const auto folder = std::filesystem::temp_directory_path(failed);
  const std::string name = "ulix-signature-" + std::to_string(std::random_device()()) + ".xml";
  const ScratchFile trial{failed ? name : (folder / name).string()};
  auto written = WriteDocument(trial.path, "<trial/>");
  return written ? SignCertificate(trial.path, key_and_certificate) : written;
}

Result<void> VerifyCertificate(const std::string& path, const std::string& trusted) {
  auto covered = ReadDocument(path).and_then([](const std::string& xml) { return CheckSignatureCoversAll(xml); });
  if (!covered) return covered;
  return RunXmlsec({"--verify", "--enabled-key-data", "x509", "--enabled-reference-uris", "empty", "--trusted-pem",
                    trusted, PathArgument(path)},
                   Bilingual(TextId::kSignatureNotVerified, {path, trusted}));
}

}  // namespace ulix::calibration
