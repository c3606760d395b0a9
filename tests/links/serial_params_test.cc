#include "links/serial_params.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

constexpr Language kEn = Language::kEnglish;
constexpr Language kFr = Language::kFrench;

TEST(SerialParamsTest, BaudRates_AreListedByPosition) {
  for (int i = 0; i < static_cast<int>(kBaudRates.size()); ++i) EXPECT_EQ(PositionOfBaud(BaudFromPosition(i)), i);
  EXPECT_EQ(BaudFromPosition(0), 300u);
  EXPECT_EQ(BaudFromPosition(10), 128000u);
  for (const int position : {-1, 5, 11, 1000}) EXPECT_EQ(BaudFromPosition(position), 9600u) << position;
  for (const std::uint32_t rate : {0u, 9600u, 14400u}) EXPECT_EQ(PositionOfBaud(rate), 5) << rate;
  EXPECT_EQ(BaudText(14400), "9600");
  EXPECT_EQ(BaudText(128000), "128000");
}

TEST(SerialParamsTest, CommInfoText_DescribesTheLinkInBothLanguages) {
  const auto end = [](SerialParams params, Language language) {
    return CommInfoText(params, language).substr(std::string_view("COM 1:CMX310 (9600 bds").size());
  };
  EXPECT_EQ(CommInfoText({}, kEn),
            "COM 1:CMX310 (9600 bds , 8 Data Bits , 1 Stop Bits , Parity Ignore , No Flow Control)");
  EXPECT_EQ(CommInfoText({.port = 12, .baudRate = 14400, .dataBitsCode = 9, .parityCode = 9, .handshakeCode = 2}, kFr),
            "COM 12:CMX310 (14400 bds , ? bits de donn\351es , 1 bits d'arr\352t , ? , ?)");
  EXPECT_EQ(end({.dataBitsCode = 0, .stopBitsCode = -1, .parityCode = 0, .handshakeCode = 0}, kEn),
            " , 7 Data Bits , ? Stop Bits , Even Parity , Hardware Flow Control)");
  EXPECT_EQ(end({.dataBitsCode = 0, .stopBitsCode = 1, .parityCode = 0, .handshakeCode = 0}, kFr),
            " , 7 bits de donn\351es , 2 bits d'arr\352t , Parit\351 paire , Contr\364le de flux mat\351riel)");
}

TEST(SerialParamsTest, TextsForPeople_CountStopBitsInFrench) {
  EXPECT_EQ(LineText({}, kEn), "9600 bds , 8 Data Bits , 1 Stop Bits , Parity Ignore , No Flow Control");
  EXPECT_EQ(LineText({.parityCode = 3, .handshakeCode = 2}, kFr),
            "9600 bds , 8 bits de donn\351es , 1 bit d'arr\352t , Parit\351 ignor\351e , ?");
  const auto text = [](std::size_t field, int code, Language language) {
    return TextOf(LineFields()[field], code, language);
  };
  constexpr std::size_t kStopBits = 3, kParity = 4, kHandshake = 5;
  EXPECT_EQ(text(kStopBits, 0, kFr), "1 bit d'arr\352t");
  EXPECT_EQ(text(kStopBits, 1, kFr), "2 bits d'arr\352t");
  EXPECT_EQ(text(kStopBits, 2, kFr), "? bits d'arr\352t");
  EXPECT_EQ(text(kHandshake, 1, kFr), "Sans contr\364le de flux");
  EXPECT_EQ(text(kHandshake, 2, kFr), "XON/XOFF");
  const std::tuple<int, const char*, const char*> parities[] = {{1, "Odd Parity", "Parit\351 impaire"},
                                                                {2, "Parity Ignore", "Sans parit\351"},
                                                                {3, "No Parity", "Parit\351 ignor\351e"},
                                                                {-1, "?", "?"}};
  for (const auto& [code, english, french] : parities) {
    EXPECT_EQ(text(kParity, code, kEn), english);
    EXPECT_EQ(text(kParity, code, kFr), french);
  }
}

TEST(SerialParamsTest, SavedParams_LoadUpToTheFirstWrongType) {
  const SerialParams kOthers = {0x1234, 0x12345678, 9, 8, 7, 6};
  const std::string saved("\x02\0\x34\x12\x13\0\x78\x56\x34\x12\x11\0\x09\x11\0\x08\x11\0\x07\x11\0\x06", 22);
  MemoryStream stream;
  VariantWriter writer(stream);
  SaveParams(writer, kOthers);
  EXPECT_EQ(stream.bytes(), saved);
  const auto load = [](const std::string& bytes, SerialParams& params) {
    MemoryStream from(bytes);
    VariantReader reader(from);
    return LoadParams(reader, params);
  };
  SerialParams loaded{.location = "/dev/ttyUSB7"};
  EXPECT_EQ(load(saved, loaded), S_OK) << "loading clears the location";
  EXPECT_EQ(loaded, kOthers);
  std::string wrong = saved;
  wrong[13] = '\x03';
  EXPECT_EQ(load(wrong, loaded = {}), E_INVALIDARG);
  EXPECT_EQ(loaded, (SerialParams{0x1234, 0x12345678, 9}));
  EXPECT_EQ(load(saved.substr(0, 21), loaded = {}), kEndOfStream);
  EXPECT_EQ(loaded, (SerialParams{0x1234, 0x12345678, 9, 8, 7}));
}

TEST(SerialParamsTest, TransmissionTime_CountsEveryBitOfACharacter) {
  using std::chrono::microseconds;
  const auto time = [](const SerialParams& params, std::size_t bytes) {
    return platform::TransmissionTime(LineSettingsOf(params), bytes);
  };
  EXPECT_EQ(time({.baudRate = 1200}, 120), microseconds(1'000'000));
  EXPECT_EQ(time({.baudRate = 9600}, 1), microseconds(1042));
  EXPECT_EQ(time({.baudRate = 1200, .dataBitsCode = 0}, 12), microseconds(90'000));
  EXPECT_EQ(time({.baudRate = 1200, .stopBitsCode = 1, .parityCode = 0}, 12), microseconds(120'000));
  EXPECT_EQ(time({.baudRate = 0}, 12), microseconds(0));
}

}  // namespace
}  // namespace ulix
