#include "base/reply_field.h"

#include <gtest/gtest.h>

#include <array>

namespace ulix {
namespace {

using Behind = FieldForm::Behind;

TEST(ReplyFieldTest, NumberWithAllowedTrailingText_GivesValueAndUnit) {
  constexpr std::array<std::string_view, 2> kJoined = {"V", "mA"};
  struct Row {
    const char* field;
    FieldForm form;
    double value;
    const char* unit;
  };
  const Row rows[] = {
      {"12.25", {}, 12.25, ""},
      {" \t\n-1.5E-1 \r\n", {}, -0.15, ""},
      {"12.25 V\r", {.behind = Behind::kUnit}, 12.25, "V"},
      {"12.25,VDC", {.behind = Behind::kUnit, .separators = " ,"}, 12.25, "VDC"},
      {"12.25 , VDC", {.behind = Behind::kUnit, .separators = " ,"}, 12.25, "VDC"},
      {"12.25ma", {.joined_units = kJoined}, 12.25, "ma"},
      {"12.25 V at 20", {.behind = Behind::kText}, 12.25, "V at 20"},
  };
  for (const Row& row : rows) {
    const auto number = ParseField(row.field, row.form);
    ASSERT_TRUE(number) << row.field;
    EXPECT_EQ(number->value, row.value) << row.field;
    EXPECT_EQ(number->unit, row.unit) << row.field;
  }
}

TEST(ReplyFieldTest, NumberWithAnythingElse_IsUnreadable) {
  constexpr FieldForm kUnit = {.behind = Behind::kUnit, .separators = " ,"};
  constexpr FieldForm kText = {.behind = Behind::kText};
  const std::pair<std::string, FieldForm> rows[] = {
      {"", {}},
      {" ", {}},
      {"V", kText},
      {"nan", {}},
      {"1e39", {}},
      {"12.25 V", {}},
      {"12.25V", kUnit},
      {"12,25", kUnit},
      {"12,25", kText},
      {"12.25E", kUnit},
      {"12.25E+", kUnit},
      {"12.25.25", kText},
      {"12.25 V12.25", kUnit},
      {"12 .25", kText},
      {"12 25", kText},
      {"12.25,", kUnit},
      {"12.\a25", kText},
      {"12.25 \x7FV", kText},
      {"12.25 V\x1B", kText},
      {"12.25 V\rA", kUnit},
  };
  for (const auto& [field, form] : rows) EXPECT_FALSE(ParseField(field, form)) << field;
  EXPECT_FALSE(ParseField(std::string_view("24\0.131", 7), kText)) << "a text does not end at a zero byte";
  EXPECT_FALSE(ParseField(std::string_view("24.131\0", 7), kText));
}

TEST(ReplyFieldTest, FullBufferThatEndsInsideANumber_MayBeCut) {
  for (const char* cut : {"V 1.25", "V 1.2.", "V 1.2-", "V 1.2E", "      "}) EXPECT_TRUE(MayCutNumber(cut, 6)) << cut;
  for (const char* whole : {"1.25 V", "1.25  ", "V 1.2", "TYPE E"}) EXPECT_FALSE(MayCutNumber(whole, 6)) << whole;
}

}  // namespace
}  // namespace ulix
