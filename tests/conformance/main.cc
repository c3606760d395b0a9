#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "tests/conformance/mutex_holder.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const std::vector<std::string> arguments(argv, argv + argc);
  if (argc > 1) return ulix::HoldMutex(arguments);
  // A bare name is the same for every system's command interpreter, blanks in our path or not.
  const std::filesystem::path program = arguments[0];
  if (program.has_parent_path()) std::filesystem::current_path(program.parent_path());
  ulix::SetHolderProgram(program.filename().string());
  return RUN_ALL_TESTS();
}
