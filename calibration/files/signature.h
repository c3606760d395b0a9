// Signatures of certificates, made and verified by the program xmlsec1. This library never reads a key.
#pragma once

#include <string>

#include "calibration/problem.h"

namespace ulix::calibration {

// Signs the certificate in `path` in place, with an enveloped XML signature (RSA with SHA-256, exclusive
// canonicalisation) that contains the signer's certificate. `key_and_certificate` is "KEY.pem,CERT.pem". Fails without
// xmlsec1, and for a key that does not belong to the certificate; the file then stays unchanged.
Result<void> SignCertificate(const std::string& path, const std::string& key_and_certificate);

// Checks that xmlsec1, key and certificate are there and belong together: signs and verifies a test document.
Result<void> TrySigning(const std::string& key_and_certificate);

// Checks that the certificate in `path` is signed as a whole and unchanged since then, by a certificate that is in
// `trusted` (a PEM file) or was issued by one in it. A key that only the document contains is not trusted.
Result<void> VerifyCertificate(const std::string& path, const std::string& trusted);

}  // namespace ulix::calibration
