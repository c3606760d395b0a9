#include <gtest/gtest.h>

#include "links/local_number.h"
#include "tests/support/scoped_env.h"

namespace ulix {
namespace {

TEST(DecimalSeparatorTest, TheSystemIsAskedOnce) {
  SetLocalDecimalSeparator(std::nullopt);
  const ScopedEnv all("LC_ALL", "C");
  EXPECT_EQ(LocalDecimalSeparator(), '.');
  const ScopedEnv later("LC_ALL", "fr_FR.UTF-8");
  EXPECT_EQ(LocalDecimalSeparator(), '.');
  SetLocalDecimalSeparator(std::nullopt);
  EXPECT_EQ(LocalDecimalSeparator(), ',');
  SetLocalDecimalSeparator(std::nullopt);
}

}  // namespace
}  // namespace ulix
