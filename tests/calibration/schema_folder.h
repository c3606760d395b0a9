// The folder of the official schema and examples of certificates. They are not part of this project.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "calibration/dcc/dcc.h"

namespace ulix::calibration {

// $ULIX_DCC_SCHEMA, or shared/reference/dcc beside the tree or further up; empty where there is none.
inline std::string SchemaFolder() {
  const char* const named = std::getenv("ULIX_DCC_SCHEMA");
  if (named != nullptr) return named;
  for (std::filesystem::path folder = std::filesystem::path(__FILE__).parent_path(); folder != folder.parent_path();
       folder = folder.parent_path()) {
    const auto candidate = folder / "shared" / "reference" / "dcc";
    if (std::filesystem::exists(candidate)) return candidate.string();
  }
  return {};
}

#define SKIP_WITHOUT_SCHEMA(folder)          \
  const std::string folder = SchemaFolder(); \
  if (folder.empty() || !HasDcc()) GTEST_SKIP() << "skipped: no schema"

}  // namespace ulix::calibration
