// The certificate of a reference as a file: a digital certificate or a table of values.
#pragma once

#include <string>

#include "calibration/reference_certificate.h"

namespace ulix::calibration {

// Loads the certificate of a reference. A file that begins with '<', after optional blanks and a byte order mark, is a
// digital certificate; any other file is a table. `unit` is the plan's. The digest is that of the file's bytes. Fails
// for a file that cannot be read, that has more than 16 MiB, or that the readers refuse.
Result<ReferenceCertificate> LoadReferenceCertificate(const std::string& path, const std::string& unit);

// Reads a file of at most 16 MiB.
Result<std::string> ReadDocument(const std::string& path);

}  // namespace ulix::calibration
