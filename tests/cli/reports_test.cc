// A report as CSV, as JSON, as text and in the live table.
#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include <limits>

#include "tools/ulix/csv.h"
#include "tools/ulix/live_table.h"
#include "tools/ulix/output.h"
#include "tools/ulix/scan_output.h"
#include "tools/ulix/wire_log.h"

namespace ulix::cli {
namespace {

using testing::ElementsAre;

const std::vector<Channel> kChannels = {{0, "IN", ChanIn, "V", 3}, {2, "T, \"top\"", ChanIn, "°C", 1}};

// 2026-01-31T10:11:12.345, the second channel failed.
const Date kTime = DateFromCivil({2026, 1, 31, 10, 11, 12, 345});
const ScanReport kReport = {
    1, {{0, 2}, {12.345F, 7}, {S_OK, serialCommErrUnableToReadComm}, {kTime, kTime}, {Doubt::kNone, Doubt::kNone}}};

std::string ErrorTextOf(HRESULT) { return "Unable to read answer"; }

TEST(CsvTest, EachChannel_HasAValueAndAnErrorColumn) {
  EXPECT_EQ(CsvHeader(kChannels), "time,IN (V),IN error,\"T, \"\"top\"\" (°C)\",\"T, \"\"top\"\" error\"\n");
  EXPECT_EQ(CsvRow(kChannels, kReport.data, ErrorTextOf),
            "2026-01-31T10:11:12.345,12.345,,,0x80044403 Unable to read answer\n");
  EXPECT_EQ(CsvRow(kChannels, {{2}, {7}, {S_OK}, {kTime}, {Doubt::kNoNumber}}, ErrorTextOf),
            "2026-01-31T10:11:12.345,,,7,no number in the reply\n");
  EXPECT_EQ(CsvLine(std::vector<std::string>{"a b", "a,b", "a\nb", ""}), "a b,\"a,b\",\"a\nb\",\n");
}

TEST(ScanJsonTest, Values_AreShortestAndNullWhenJsonCannotHoldThem) {
  EXPECT_EQ(ScanJson(kReport).dump(),
            R"({"group":1,"time":"2026-01-31T10:11:12.345","channels":[{"id":0,"value":12.345,"error":0},)"
            R"({"id":2,"value":null,"error":2147763203}]})");
  EXPECT_TRUE(JsonNumber(std::numeric_limits<float>::infinity()).is_null());
  EXPECT_EQ(JsonNumber(-0.1F).dump(), "-0.1");
}

TEST(ScanTextTest, Line_ShowsResolutionUnitAndError) {
  EXPECT_EQ(ScanText(kChannels, kReport, ErrorTextOf, Language::kEnglish),
            "2026-01-31T10:11:12.345  IN 12.345 V  T, \"top\" 0x80044403 Unable to read answer");
}

TEST(ScanTextTest, LateReport_SaysSoInEachLanguage) {
  ScanReport late = kReport;
  late.late_s = 1.24;
  EXPECT_TRUE(ScanText(kChannels, late, ErrorTextOf, Language::kEnglish).ends_with("  (late 1.2 s)"));
  EXPECT_TRUE(ScanText(kChannels, late, ErrorTextOf, Language::kFrench).ends_with("  (1.2 s de retard)"));
}

TEST(LiveTableTest, Sparkline_SpansItsRangeWithCrossesForFailures) {
  EXPECT_EQ(Sparkline({7.0F, 1.0F, std::nullopt, 2.0F}, 3), "▁×█");
  EXPECT_EQ(Sparkline({5.0F, 5.0F}, 9), "▄▄");
}

TEST(LiveTableTest, NarrowTerminal_ShowsTheErrorInPlaceOfTheTrend) {
  const std::vector<LiveRow> rows = {{.channel = kChannels[0], .history = {1.0F, 2.0F}},
                                     {.channel = kChannels[1], .history = {1.0F, std::nullopt}, .error = "échec"}};
  for (const std::size_t width : {1U, 12U, 30U, 40U, 80U}) {
    for (std::string line : LiveLines(rows, width, Language::kFrench)) {
      for (const std::string code : {"\x1b[1m", "\x1b[31m", "\x1b[0m"}) {
        if (const auto at = line.find(code); at != std::string::npos) line.erase(at, code.size());
      }
      EXPECT_LE(DisplayWidth(line), width);
    }
  }
  const auto wide = LiveLines(rows, 80, Language::kFrench);
  EXPECT_THAT(wide[0], testing::HasSubstr("VALEUR UNITÉ  MIN  MAX  ÉC. TYPE  TENDANCE"));
  EXPECT_THAT(wide[2], testing::AllOf(testing::HasSubstr("▄×"), testing::HasSubstr("échec")));
  EXPECT_THAT(LiveLines(rows, 40, Language::kFrench)[2],
              testing::AllOf(testing::Not(testing::HasSubstr("×")), testing::HasSubstr("échec")));
}

TEST(TableTest, Cells_AlignByCharactersAndTheLastColumnWraps) {
  Table table({"A", "UNIT", "TEXT"});
  table.Add({"é", "°C", "one two three four five six seven"});
  table.Add({"bb", "", ""});
  EXPECT_THAT(table.Lines(32),
              ElementsAre("A   UNIT  TEXT", "é   °C    one two three four", "          five six seven", "bb"));
}

TEST(WireLogTest, PiecesOnTheWire_AreJoinedIntoLines) {
  std::vector<std::string> lines;
  {
    WireLog log([&](TraceDirection direction, Date, const std::string& bytes) {
      lines.push_back((direction == TraceDirection::kSent ? ">" : "<") + bytes);
    });
    log.Add(TraceDirection::kSent, "*IDN?\n");
    log.Add(TraceDirection::kSent, "t\r");
    EXPECT_EQ(lines.size(), 2U) << "a command is shown before its reply comes";
    log.Add(TraceDirection::kReceived,
            "\x02"
            "A\xB0\r\nB");
    for (const char* byte : {"o", "l", "d"}) log.Add(TraceDirection::kReceived, byte);
    log.Add(TraceDirection::kSent, "\x06");
    log.Add(TraceDirection::kReceived, "\x15");
  }
  EXPECT_THAT(lines, ElementsAre(">*IDN?<LF>", ">t<CR>", "<<0x02>A<0xB0><CR><LF>", "<B", "<old", "><0x06>", "<<0x15>"));
}

}  // namespace
}  // namespace ulix::cli
