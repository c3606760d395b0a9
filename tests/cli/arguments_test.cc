#include "tools/ulix/arguments.h"

#include <gmock/gmock.h>

#include <array>

#include "links/local_number.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/failures.h"

namespace ulix::cli {
namespace {

using testing::HasSubstr;

// The message of a usage error; empty when there was none.
template <typename Body>
std::string Complaint(Body&& body) {
  try {
    body();
  } catch (const UsageError& error) {
    return error.what();
  }
  return {};
}

TEST(ArgumentsTest, Port_IsANumberNameDeviceOrTheSimulator) {
  EXPECT_EQ(std::get<int>(ParsePort("5")), 5);
  EXPECT_EQ(std::get<int>(ParsePort("com12")), 12);
  for (const auto* device : {"/dev/pts/3", "\\\\.\\COM5"}) EXPECT_EQ(std::get<std::string>(ParsePort(device)), device);
  EXPECT_TRUE(std::holds_alternative<SimulatedPort>(ParsePort("SIM")));
  for (const auto* text : {"", "0", "-1", "COM", "COM0", "5x", "COM5x", "ttyUSB0", "65536", "99999999999999999999"}) {
    EXPECT_THAT(Complaint([=] { ParsePort(text); }), HasSubstr("--port")) << text;
  }
}

TEST(ArgumentsTest, ErrorCode_IsReadInThreeForms) {
  for (const auto* text : {"0x80044403", "0X80044403", "2147763203", "-2147204093"}) {
    EXPECT_EQ(ParseCode(text), serialCommErrUnableToReadComm) << text;
  }
  EXPECT_EQ(ParseCode("0"), S_OK);
  for (const auto* text : {"", "0x", "0x-1", "0x180044403", "4294967296", "-2147483649", "12 ", "E_FAIL"}) {
    EXPECT_THAT(Complaint([=] { ParseCode(text); }), HasSubstr("CODE")) << text;
  }
}

TEST(ArgumentsTest, Value_IsAFiniteNumberWithAPointOrTheUsersSeparator) {
  SetLocalDecimalSeparator(',');
  for (const auto& [text, value] : {std::pair{"12.5", 12.5F}, {"-12,5", -12.5F}, {"1e3", 1000.0F}}) {
    EXPECT_FLOAT_EQ(ParseValue(text), value);
  }
  for (const auto* text : {"", "12.5V", "1.234,5", "nan", "inf", "0x10", "1e39", "-1e39", "5 "}) {
    EXPECT_THAT(Complaint([=] { ParseValue(text); }), HasSubstr("VALUE")) << text;
  }
  SetLocalDecimalSeparator(std::nullopt);
}

constexpr std::array kWords = {EnumLabel{1, "V50"}, EnumLabel{2, "V5"}};
constexpr std::array kRows = {
    SettingRow{"function", {"", ""}, 0, VariantType::kUi4, 0, 4, kWords, 1},
    SettingRow{"address", {"", ""}, 1, VariantType::kUi1, 0, 8, {}, 1},
    SettingRow{"temperature", {"", ""}, 2, VariantType::kR4, 0, 0, {}, 0},
};

TEST(ArgumentsTest, WrongSetting_ErrorNamesWhatIsAccepted) {
  Settings settings(kRows);
  const std::pair<const char*, const char*> complaints[] = {
      {"function", "KEY=VALUE"},      {"=V5", "KEY=VALUE"},        {"colour=red", "function, address, temperature"},
      {"function=V7", "V50=1, V5=2"}, {"address=256", "0 to 255"}, {"temperature=warm", "a number"}};
  for (const auto& [text, complaint] : complaints) {
    EXPECT_THAT(Complaint([&, typed = text] { ApplySetting(settings, typed); }), HasSubstr(complaint)) << text;
  }
}

TEST(ArgumentsTest, ChannelSelection_KeepsItsOrderAndTakesEachChannelOnce) {
  const std::vector<Channel> channels = {
      {0, "IN", ChanIn, "V", 3}, {1, "OUT", ChanOut, "V", 3}, {2, "BOTH", ChanIO, "", 1}, {3, "0", ChanIn, "", 1}};
  const auto inputs = [&](std::vector<std::string> asked) {
    std::string names;
    for (const Channel& channel : SelectInputs(channels, asked)) names += channel.name + ' ';
    return names;
  };
  EXPECT_EQ(inputs({}), "IN BOTH 0 ");
  EXPECT_EQ(inputs({"both", "0", "in"}), "BOTH IN ") << "an id wins over a name";
  EXPECT_EQ(SelectOutput(channels, "2").name, "BOTH");
  EXPECT_THAT(Complaint([&] { inputs({"IN", "4"}); }), HasSubstr("'4' is not a channel"));
  EXPECT_THAT(Complaint([&] { inputs({"out"}); }), HasSubstr("OUT is an output"));
  EXPECT_THAT(Complaint([&] { SelectOutput(channels, "in"); }), HasSubstr("IN is an input"));
}

}  // namespace
}  // namespace ulix::cli
