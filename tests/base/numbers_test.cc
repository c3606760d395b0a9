#include "base/numbers.h"

#include <gtest/gtest.h>

#include <limits>

namespace ulix {
namespace {

TEST(NumbersTest, TextThatStartsWithANumber_GivesValueAndLength) {
  struct Row {
    std::string text;
    double value;
    std::size_t length;
  };
  constexpr double kLargest = std::numeric_limits<double>::max();
  const std::string zeros(400, '0'), nines(400, '9'), small = "0." + zeros + "1", large = "1" + zeros + "e-500";
  const std::string in_range = nines + "e-1";
  const Row rows[] = {{"1.5", 1.5, 3},
                      {" \t\r\n\v\f+1.5e3V", 1500, 12},
                      {"-2,5", -2, 2},
                      {".5", 0.5, 2},
                      {"5.", 5, 2},
                      {"-.5E-1 ", -0.05, 6},
                      {"1e", 1, 1},
                      {"1e+x", 1, 1},
                      {"1.2.3", 1.2, 3},
                      {"0x10", 0, 1},
                      {"-1e-400", 0, 7},
                      {small, 0, 403},
                      {large, 1e-100, 406},
                      {"1e400", kLargest, 5},
                      {"-0.5e400", -kLargest, 8},
                      {in_range, kLargest, 403},
                      {"1.7976931348623157e308", kLargest, 22},
                      {"1e-99999999999999999999", 0, 23}};
  for (const Row& row : rows) {
    const auto prefix = ParseDecimalPrefix(row.text);
    ASSERT_TRUE(prefix) << row.text;
    EXPECT_EQ(prefix->value, row.value) << row.text;
    EXPECT_EQ(prefix->length, row.length) << row.text;
    EXPECT_EQ(ParseDecimal(row.text).has_value(), row.length == row.text.size()) << row.text;
  }
}

TEST(NumbersTest, TextThatDoesNotStartWithANumber_IsRejected) {
  const std::string texts[] = {"", " ", "+", "-", ".", "e5", "+-1", "- 1", "V1", "nan", "inf", "INF", "-inf"};
  for (const std::string& text : texts) EXPECT_FALSE(ParseDecimalPrefix(text)) << text;
}

TEST(NumbersTest, FormatFixedAndGeneral_WriteAsPrintfDoes) {
  EXPECT_EQ(FormatFixed(100.1F), "100.099998");
  EXPECT_EQ(FormatFixed(3.4e38F), "339999995214436424907732413799364296704.000000");
  EXPECT_EQ(FormatFixed(-0.0000004), "-0.000000");
  EXPECT_EQ(FormatFixed(2.5, 0), "2");
  EXPECT_EQ(FormatFixed(-1.7976931348623157e308).size(), 317u);
  const std::pair<double, const char*> general[] = {{0, "0"},           {123456, "123456"}, {1234567, "1.23457E+06"},
                                                    {0.0001, "0.0001"}, {0.00001, "1E-05"}, {-1.5e100, "-1.5E+100"}};
  for (const auto& [value, text] : general) EXPECT_EQ(FormatGeneral(value), text);
  EXPECT_EQ(FormatGeneral(2.50, 3), "2.5");
}

TEST(NumbersTest, FormatShortest_WritesTheFewestDigitsThatReadBackTheSame) {
  EXPECT_EQ(FormatShortest(100.1F), "100.1");
  for (const float value : {0.1F, 1.0F / 3, 1e-45F, 3.4028235e38F}) {
    EXPECT_EQ(static_cast<float>(*ParseDecimal(FormatShortest(value))), value);
  }
}

}  // namespace
}  // namespace ulix
