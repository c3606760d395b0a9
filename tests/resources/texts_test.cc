#include "resources/texts.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

TEST(TextsTest, Values_TakeThePlacesInOrder) {
  EXPECT_EQ(Utf8Of(TextId::kPageOf, Language::kEnglish, {"General", "1", "4"}), "General (page 1 of 4)");
  EXPECT_EQ(Utf8Of(TextId::kPageOf, Language::kFrench, {"Général", "1", "4"}), "Général (page 1 sur 4)");
  EXPECT_EQ(Localized(TextId::kPageOf, Language::kFrench, {"G\351n\351ral %", "1", "4"}),
            "G\351n\351ral % (page 1 sur 4)")
      << "a value is no text of the catalogue";
  EXPECT_EQ(Utf8Of(TextId::kFleetMoreRefused, Language::kFrench, {"{a|b}"}), " (et {a|b} autres)");
  EXPECT_EQ(Localized(TextId::kDataBitsCount, Language::kEnglish), "%c Data Bits")
      << "without values the text stays as it is";
}

TEST(TextsTest, Count_DecidesBetweenSingularAndPluralInEachLanguage) {
  struct Case {
    const char* count;
    const char* english;
    const char* french;
  };
  for (const auto& [count, english, french] :
       {Case{"0", "0 reports", "0 relevé"}, {"1", "1 report", "1 relevé"}, {"2", "2 reports", "2 relevés"}}) {
    EXPECT_EQ(Utf8Of(TextId::kReports, Language::kEnglish, {count}), english);
    EXPECT_EQ(Utf8Of(TextId::kReports, Language::kFrench, {count}), french);
  }
  EXPECT_EQ(Utf8Of(TextId::kFleetChannels, Language::kFrench, {"3", "1", "0"}),
            "voies : 3 bonnes, 1 mauvaise, 0 périmée");
  EXPECT_EQ(Utf8Of(TextId::kErrorsLeftOut, Language::kFrench, {"1", "50"}),
            "1 autre lecture a échoué ; les 50 premiers échecs sont listés.");
  EXPECT_EQ(Localized(TextId::kSettingsAtDefault, Language::kFrench, {"1"}),
            "1 r\351glage \340 sa valeur par d\351faut");
}

}  // namespace
}  // namespace ulix
