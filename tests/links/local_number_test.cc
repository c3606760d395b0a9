#include "links/local_number.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

class LocalNumberTest : public testing::Test {
 protected:
  void SetUp() override { SetLocalDecimalSeparator(','); }
  void TearDown() override { SetLocalDecimalSeparator(std::nullopt); }
};

TEST_F(LocalNumberTest, Separators_AreAllReplaced) {
  char buffer[] = "1.2.3;4";
  ToLocalDecimal(buffer, '.');
  EXPECT_STREQ(buffer, "1,2,3;4");
  FromLocalDecimal(buffer, ';');
  EXPECT_STREQ(buffer, "1;2;3;4");
  EXPECT_EQ(ToLocalDecimal(std::string("1.2,3"), '.'), "1,2,3");
  EXPECT_EQ(FromLocalDecimal(std::string("1.2,3"), '.'), "1.2.3");
}

TEST_F(LocalNumberTest, TypedNumber_IsParsedAndLimited) {
  const std::string zeros(78, '0');
  // The limits are -50 and 100. A text with anything after the number gives -50.
  const std::pair<const char*, double> rows[] = {
      {"3,5", 3.5},     {"3.5", 3.5},  {"", 0},        {"  +4e1", 40}, {"-,5", -0.5}, {"1e9", 100},
      {"100,001", 100}, {"-1e9", -50}, {"12abc", -50}, {"3 ", -50},    {" ", -50},    {"nan", -50},
      {"inf", -50},     {"0x10", -50}, {"1e", -50},    {"3,5,5", -50}, {"1e-400", 0}, {"-", -50}};
  for (const auto& [text, value] : rows) EXPECT_EQ(ParseLocalNumber(text, 100, -50), value) << text;
  EXPECT_EQ(ParseLocalNumber(zeros + "7x", 100, -50), 7);
  EXPECT_EQ(ParseLocalNumber(zeros.substr(1) + "7x", 100, -50), -50);
  EXPECT_EQ(ParseLocalNumber("1e400", 10, 5), 10);
  EXPECT_EQ(ParseLocalNumber("", 10, 5), 5);
  EXPECT_EQ(ParseLocalNumber("", -5, -10), -5);
  for (const char* text : {"1", "5", "9", "x", "", "1e400"}) EXPECT_EQ(ParseLocalNumber(text, 2, 7), 7) << text;
}

TEST_F(LocalNumberTest, Number_IsFormattedWithSignificantDigits) {
  EXPECT_EQ(FormatLocalNumber(1234.5678, 6), "1234,57");
  EXPECT_EQ(FormatLocalNumber(1234.5678, 20), "1234,5678");
  EXPECT_EQ(FormatLocalNumber(1.0 / 3, 20), "0,333333333333333");
  EXPECT_EQ(FormatLocalNumber(1234.5678, 0), "1E+03");
  EXPECT_EQ(FormatLocalNumber(-1.5e-7, 6), "-1,5E-07");
  SetLocalDecimalSeparator('.');
  EXPECT_EQ(FormatLocalNumber(2.5, 6), "2.5");
}

}  // namespace
}  // namespace ulix
