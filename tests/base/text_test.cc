#include "base/text.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

TEST(TextTest, EveryByte_SurvivesUtf8AndUtf16) {
  std::string every;
  for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
  EXPECT_EQ(AnsiFromUtf8(Utf8FromAnsi(every)), every);
  EXPECT_EQ(AnsiFromUtf16(Utf16FromAnsi(every)), every);
  EXPECT_EQ(Utf8FromAnsi("\x80\xE9\x9F"), "\u20AC\u00E9\u0178");
  EXPECT_EQ(Utf16FromAnsi("\x80\xB0"), u"\u20AC\u00B0");
}

TEST(TextTest, CharacterOutsideThePageOrBrokenSequence_BecomesQuestionMarks) {
  const std::pair<const char*, const char*> cases[] = {
      {"\u03A9=\U0001F600!", "?=?!"},
      {"\xE2\x82", "??"},
      {"\xE2\x82g", "??g"},
      {"\x80\xBF", "??"},
      {"\xC0\xAF", "??"},
      {"\xF5\xFF", "??"},
      {"\xE0\x80\xAF", "???"},
      {"\xED\xA0\x80", "???"},
      {"a\xC3", "a?"},
  };
  for (const auto& [utf8, ansi] : cases) EXPECT_EQ(AnsiFromUtf8(utf8), ansi);
  EXPECT_EQ(AnsiFromUtf16(u"\u03A9\xD83D\xDE00"), "???");
}

TEST(TextTest, Comparison_IgnoresCaseOfAsciiLettersOnly) {
  EXPECT_EQ(AsciiUpper("az{\xE9"), "AZ{\xE9");
  EXPECT_TRUE(EqualIgnoringCase("Kelvo10", "KELVO10"));
  EXPECT_FALSE(EqualIgnoringCase("\xE9", "\xC9"));
  EXPECT_FALSE(EqualIgnoringCase("ab", "abc"));
}

TEST(TextTest, Trimmed_RemovesBlanksAtBothEnds) {
  EXPECT_EQ(Trimmed(" \t\r\n a b\v\f"), "a b");
  EXPECT_EQ(Trimmed(" \t"), "");
}

TEST(TextTest, Split_KeepsEmptyFieldsAndDropsEmptyWords) {
  EXPECT_EQ(SplitFields(",a,,b", ','), (std::vector<std::string_view>{"", "a", "", "b"}));
  EXPECT_EQ(SplitFields("", ',').size(), 1U);
  const std::vector<std::string_view> words = {"a", "b", "c"};
  EXPECT_EQ(SplitWords(",a ,, b,c ", ", "), words);
  EXPECT_TRUE(SplitWords(" ,", ", ").empty());
}

}  // namespace
}  // namespace ulix
