#include "tools/ulix/arguments.h"

#include <gmock/gmock.h>

#include <array>

#include "links/local_number.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/failures.h"

namespace ulix::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// What a usage error says; empty when there was none.
template <typename Body>
std::string Complaint(Body&& body) {
  try {
    body();
  } catch (const UsageError& error) {
    return error.what();
  }
  return {};
}

TEST(PortArgumentTest, TakesNumbersNamesDevicesAndTheSimulator) {
  EXPECT_EQ(std::get<int>(ParsePort("5")), 5);
  EXPECT_EQ(std::get<int>(ParsePort("com12")), 12);
  EXPECT_EQ(std::get<std::string>(ParsePort("/dev/pts/3")), "/dev/pts/3");
  EXPECT_EQ(std::get<std::string>(ParsePort("\\\\.\\COM5")), "\\\\.\\COM5");
  EXPECT_TRUE(std::holds_alternative<SimulatedPort>(ParsePort("SIM")));
}

TEST(PortArgumentTest, RefusesEverythingElse) {
  for (const auto* text : {"", "0", "-1", "COM", "COM0", "5x", "COM5x", "ttyUSB0", "65536", "99999999999999999999"}) {
    EXPECT_THAT(Complaint([=] { ParsePort(text); }), HasSubstr("--port")) << text;
  }
}

TEST(CodeArgumentTest, TakesTheThreeWaysOfWritingACode) {
  for (const auto* text : {"0x80044403", "0X80044403", "2147763203", "-2147204093"}) {
    EXPECT_EQ(ParseCode(text), serialCommErrUnableToReadComm) << text;
  }
  EXPECT_EQ(ParseCode("0"), S_OK);
}

TEST(CodeArgumentTest, RefusesWhatIsNoCodeOrHasMoreThan32Bits) {
  for (const auto* text : {"", "0x", "0x-1", "0x180044403", "4294967296", "-2147483649", "12 ", "E_FAIL"}) {
    EXPECT_THAT(Complaint([=] { ParseCode(text); }), HasSubstr("CODE")) << text;
  }
}

class ValueArgumentTest : public testing::Test {
 protected:
  ValueArgumentTest() { SetLocalDecimalSeparator(','); }
  ~ValueArgumentTest() override { SetLocalDecimalSeparator(std::nullopt); }
};

TEST_F(ValueArgumentTest, TakesAPointOrTheUsersSeparator) {
  EXPECT_FLOAT_EQ(ParseValue("12.5"), 12.5F);
  EXPECT_FLOAT_EQ(ParseValue("-12,5"), -12.5F);
  EXPECT_FLOAT_EQ(ParseValue("1e3"), 1000);
}

TEST_F(ValueArgumentTest, RefusesAllButAWholeFiniteNumberOfAChannelsRange) {
  for (const auto* text : {"", "12.5V", "1.234,5", "nan", "inf", "0x10", "1e39", "-1e39", "5 "}) {
    EXPECT_THAT(Complaint([=] { ParseValue(text); }), HasSubstr("VALUE")) << text;
  }
}

constexpr std::array kWords = {CodedWord{1, "V50"}, CodedWord{2, "V5"}};
constexpr std::array kRows = {
    SettingRow{"function", {"", ""}, 0, VariantType::kUi4, 0, 4, kWords, 1},
    SettingRow{"address", {"", ""}, 1, VariantType::kUi1, 0, 8, {}, 1},
    SettingRow{"temperature", {"", ""}, 2, VariantType::kR4, 0, 0, {}, 0},
};

TEST(SettingArgumentTest, SetsByWordAndByNumber) {
  Settings settings(kRows);
  for (const auto* text : {"FUNCTION=v5", "address=12", "temperature=20.5"}) ApplySetting(settings, text);
  EXPECT_EQ(CodeIn(settings.Snapshot(), kRows[0]), 2U);
  EXPECT_EQ(CodeIn(settings.Snapshot(), kRows[1]), 12U);
  EXPECT_FLOAT_EQ(RealIn(settings.Snapshot(), kRows[2]), 20.5F);
}

TEST(SettingArgumentTest, SaysWhatWouldBeTaken) {
  Settings settings(kRows);
  const auto complaint = [&](const char* text) { return Complaint([&] { ApplySetting(settings, text); }); };
  EXPECT_THAT(complaint("function"), HasSubstr("KEY=VALUE"));
  EXPECT_THAT(complaint("=V5"), HasSubstr("KEY=VALUE"));
  EXPECT_THAT(complaint("colour=red"), HasSubstr("function, address, temperature"));
  EXPECT_THAT(complaint("function=V7"), HasSubstr("V50=1, V5=2"));
  EXPECT_THAT(complaint("address=256"), HasSubstr("0 to 255"));
  EXPECT_THAT(complaint("temperature=warm"), HasSubstr("a number"));
}

class ChannelArgumentTest : public testing::Test {
 protected:
  // Names of the inputs selected.
  std::vector<std::string> Inputs(std::vector<std::string> asked) {
    std::vector<std::string> names;
    for (const Channel& channel : SelectInputs(channels_, asked)) names.push_back(channel.name);
    return names;
  }
  const std::vector<Channel> channels_ = {
      {0, "IN", ChanIn, "V", 3}, {1, "OUT", ChanOut, "V", 3}, {2, "BOTH", ChanIO, "", 1}, {3, "0", ChanIn, "", 1}};
};

TEST_F(ChannelArgumentTest, SelectsInputsInTheOrderAskedForEachOnce) {
  EXPECT_THAT(Inputs({}), ElementsAre("IN", "BOTH", "0"));
  EXPECT_THAT(Inputs({"both", "0", "in"}), ElementsAre("BOTH", "IN"));  // an id wins over a name
}

TEST_F(ChannelArgumentTest, RefusesWhatIsNotThereOrGoesTheOtherWay) {
  EXPECT_THAT(Complaint([&] { Inputs({"IN", "4"}); }), HasSubstr("'4' is not a channel"));
  EXPECT_THAT(Complaint([&] { Inputs({"out"}); }), HasSubstr("OUT is an output"));
  EXPECT_THAT(Complaint([&] { SelectOutput(channels_, "in"); }), HasSubstr("IN is an input"));
  EXPECT_EQ(SelectOutput(channels_, "2").name, "BOTH");
}

}  // namespace
}  // namespace ulix::cli
