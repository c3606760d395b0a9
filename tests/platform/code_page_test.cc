#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <string>

namespace ulix::platform {
namespace {

// All OEM pages of western Europe and America have these characters at the same bytes.
TEST(CodePageTest, LettersAndUnitSigns_HaveTheirOemBytes) {
  std::string text = "A~\xB0\xB5\xB1\xB2\xE9\xC7\xFF";
  OemFromAnsi(text);
  EXPECT_EQ(text, "A~\xF8\xE6\xF1\xFD\x82\x80\x98");
  AnsiFromOem(text);
  EXPECT_EQ(text, "A~\xB0\xB5\xB1\xB2\xE9\xC7\xFF");
}

}  // namespace
}  // namespace ulix::platform
