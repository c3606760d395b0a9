// The certificate of a reference as a file: a digital certificate or a table of values.
#pragma once

#include <string>

#include "calibration/reference_certificate.h"

namespace ulix::calibration {

// A file that begins with '<' (blanks and a byte order mark may stand before it) is a digital certificate, any other a
// table. `unit` is the plan's. The digest is that of the file's bytes. Refused: a file that cannot be read or has more
// than 16 MiB, and what the readers refuse.
Result<ReferenceCertificate> LoadReferenceCertificate(const std::string& path, const std::string& unit);

// The bytes of a file of at most 16 MiB.
Result<std::string> ReadDocument(const std::string& path);

}  // namespace ulix::calibration
