#include "links/modbus_frames.h"

#include <gtest/gtest.h>

namespace ulix::modbus {
namespace {

TEST(ModbusFramesTest, TypedRequest_IsBytesInHexadecimal) {
  const std::string read("\x03\x27\x20\x00\x01", 5);
  for (const char* typed : {"03 2720 0001", "0327200001", " 03\t27 20 00 01\r"})
    EXPECT_EQ(RequestIn(typed), read) << typed;
  EXPECT_EQ(RequestIn("2b0Eff"), "\x2B\x0E\xFF");
  EXPECT_EQ(RequestIn(HexText(read)), read);
  EXPECT_EQ(HexText(read), "03 27 20 00 01");
}

TEST(ModbusFramesTest, TypedTextThatIsNoRequest_IsNone) {
  for (const char* typed :
       {"", "  ", "3 2720 0001", "03 272 0001", "0x03", "03 272g", "-3", "READ 3", "00 0000", "83 02"}) {
    EXPECT_FALSE(RequestIn(typed)) << typed;
  }
  std::string longest = "10";
  while (longest.size() < 2 * kLongestPdu) longest += "00";
  EXPECT_TRUE(RequestIn(longest));
  EXPECT_FALSE(RequestIn(longest + "00"));
}

TEST(ModbusFramesTest, CountOfReply_IsThatOfItsItems) {
  const auto count = [](std::uint8_t function, std::uint16_t items) {
    std::string request = {static_cast<char>(function), 0, 0};
    AppendWord(request, items);
    return CountOfReply(request);
  };
  EXPECT_EQ(count(kReadHolding, 125), 250);
  EXPECT_EQ(count(kReadAndWrite, 2), 4);
  EXPECT_EQ(count(kReadCoils, 8), 1);
  EXPECT_EQ(count(kReadInputs, 9), 2);
}

}  // namespace
}  // namespace ulix::modbus
