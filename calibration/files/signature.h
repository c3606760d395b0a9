// Signatures of certificates, made and verified by xmlsec1 where it is installed. Keys are never read here.
#pragma once

#include <string>

#include "calibration/problem.h"

namespace ulix::calibration {

// Signs the certificate in `path` in place: an enveloped XML signature (RSA with SHA-256, exclusive canonicalisation)
// that holds the signer's certificate. `key_and_certificate` is "KEY.pem,CERT.pem". Refused: no xmlsec1, a key that
// does not belong to the certificate; the file stays as it was then.
Result<void> SignCertificate(const std::string& path, const std::string& key_and_certificate);

// Signs a document of no importance and verifies it: whether xmlsec1, key and certificate are there and fit each other.
Result<void> TrySigning(const std::string& key_and_certificate);

// Whether the certificate in `path` is signed as a whole, unchanged since, by a certificate that `trusted` (a PEM file)
// holds or has issued. A key that only the document itself names is not trusted.
Result<void> VerifyCertificate(const std::string& path, const std::string& trusted);

}  // namespace ulix::calibration
