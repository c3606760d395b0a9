#include "platform/user_locale.h"

#include <gtest/gtest.h>

#include "links/local_number.h"
#include "tests/support/scoped_env.h"

namespace ulix {
namespace {

TEST(UserLocaleTest, FirstLocaleVariableThatIsSet_Decides) {
  struct Row {
    const char* all;
    const char* category;  // LC_MESSAGES and LC_NUMERIC
    const char* lang;
    bool french;
  };
  const Row rows[] = {
      {"", "", "", false},
      {"C", "fr_FR.UTF-8", "fr_FR.UTF-8", false},
      {"fr_FR.UTF-8", "C", "C", true},
      {"", "fr_CA", "C", true},
      {"", "C", "fr_FR.UTF-8", false},
      {"", "", "fr", true},
      {"", "", "en_US.UTF-8", false},
  };
  for (const Row& row : rows) {
    const ScopedEnv all("LC_ALL", row.all), lang("LANG", row.lang);
    const ScopedEnv messages("LC_MESSAGES", row.category), numeric("LC_NUMERIC", row.category);
    SCOPED_TRACE(std::string(row.all) + "|" + row.category + "|" + row.lang);
    EXPECT_EQ(platform::UserLanguage() == Language::kFrench, row.french);
    EXPECT_EQ(platform::UserDecimalSeparator(), row.french ? ',' : '.');
  }
}

TEST(UserLocaleTest, DecimalSeparator_IsReadOnce) {
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
