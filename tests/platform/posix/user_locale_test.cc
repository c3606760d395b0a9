#include "platform/user_locale.h"

#include <gtest/gtest.h>

#include "tests/support/scoped_env.h"

namespace ulix {
namespace {

struct Row {
  const char* all;
  const char* category;  // LC_MESSAGES and LC_NUMERIC
  const char* lang;
  Language language;
  char separator;
};

TEST(UserLocaleTest, TheFirstVariableThatSaysAnythingDecides) {
  const Row rows[] = {
      {"", "", "", Language::kEnglish, '.'},
      {"C", "fr_FR.UTF-8", "fr_FR.UTF-8", Language::kEnglish, '.'},
      {"fr_FR.UTF-8", "C", "C", Language::kFrench, ','},
      {"", "fr_CA", "C", Language::kFrench, ','},
      {"", "C", "fr_FR.UTF-8", Language::kEnglish, '.'},
      {"", "", "fr", Language::kFrench, ','},
      {"", "", "en_US.UTF-8", Language::kEnglish, '.'},
  };
  for (const Row& row : rows) {
    const ScopedEnv all("LC_ALL", row.all);
    const ScopedEnv messages("LC_MESSAGES", row.category);
    const ScopedEnv numeric("LC_NUMERIC", row.category);
    const ScopedEnv lang("LANG", row.lang);
    SCOPED_TRACE(std::string(row.all) + "|" + row.category + "|" + row.lang);
    EXPECT_EQ(platform::UserLanguage(), row.language);
    EXPECT_EQ(platform::UserDecimalSeparator(), row.separator);
  }
}

}  // namespace
}  // namespace ulix
