#include "links/serial_params.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

constexpr Language kEn = Language::kEnglish;
constexpr Language kFr = Language::kFrench;

TEST(SerialParamsTest, ListsRatesByPosition) {
  for (int i = 0; i < static_cast<int>(kBaudRates.size()); ++i) EXPECT_EQ(PositionOfBaud(BaudFromPosition(i)), i);
  EXPECT_EQ(BaudFromPosition(0), 300u);
  EXPECT_EQ(BaudFromPosition(10), 128000u);
  for (const int position : {-1, 5, 11, 1000}) EXPECT_EQ(BaudFromPosition(position), 9600u) << position;
  for (const std::uint32_t rate : {0u, 9600u, 14400u}) EXPECT_EQ(PositionOfBaud(rate), 5) << rate;
  EXPECT_EQ(BaudText(14400), "9600");
  EXPECT_EQ(BaudText(128000), "128000");
}

TEST(SerialParamsTest, NamesCodesInBothLanguages) {
  struct Row {
    std::string (*text)(std::int32_t code, Language language);
    std::int32_t code;
    const char* en;
    const char* fr;
  };
  const Row rows[] = {
      {DataBitsText, 0, "7 Data Bits",
       "7 bits de donn\xE9"
       "es"},
      {DataBitsText, 1, "8 Data Bits",
       "8 bits de donn\xE9"
       "es"},
      {DataBitsText, 2, "? Data Bits",
       "? bits de donn\xE9"
       "es"},
      {StopBitsText, 0, "1 Stop Bits", "1 bits d'arr\xEAt"},
      {StopBitsText, 1, "2 Stop Bits", "2 bits d'arr\xEAt"},
      {StopBitsText, -1, "? Stop Bits", "? bits d'arr\xEAt"},
      {ParityText, 0, "Even Parity", "Parit\xE9 paire"},
      {ParityText, 1, "Odd Parity", "Parit\xE9 impaire"},
      {ParityText, 2, "Parity Ignore", "Sans parit\xE9"},
      {ParityText, 3, "No Parity",
       "Parit\xE9 ignor\xE9"
       "e"},
      {ParityText, 4, "?", "?"},
      {ParityText, -1, "?", "?"},
      {FlowText, 0, "Hardware Flow Control", "Contr\xF4le de flux mat\xE9riel"},
      {FlowText, 1, "No Flow Control", "Sans contr\xF4le de flux"},
      {FlowText, 2, "?", "?"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.text(row.code, kEn), row.en);
    EXPECT_EQ(row.text(row.code, kFr), row.fr);
  }
}

TEST(SerialParamsTest, SumsUpALinkInOneLine) {
  EXPECT_EQ(CommInfoText({}, kEn),
            "COM 1:CMX310 (9600 bds , 8 Data Bits , 1 Stop Bits , Parity Ignore , No Flow Control)");
  EXPECT_EQ(CommInfoText({.port = 12, .baudRate = 14400, .dataBitsCode = 9, .parityCode = 9, .handshakeCode = 2}, kFr),
            "COM 12:CMX310 (14400 bds , ? bits de donn\xE9"
            "es , 1 bits d'arr\xEAt , ? , ?)");
}

constexpr SerialParams kOthers = {
    .port = 0x1234, .baudRate = 0x12345678, .dataBitsCode = 9, .stopBitsCode = 8, .parityCode = 7, .handshakeCode = 6};
const std::string kOthersSaved(
    "\x02\x00\x34\x12"
    "\x13\x00\x78\x56\x34\x12"
    "\x11\x00\x09"
    "\x11\x00\x08"
    "\x11\x00\x07"
    "\x11\x00\x06",
    22);

// Offset of each value's type in the saved bytes, and the end.
constexpr std::size_t kPlaces[] = {0, 4, 10, 13, 16, 19, 22};

HRESULT Load(const std::string& bytes, SerialParams& params) {
  MemoryStream stream(bytes);
  VariantReader reader(stream);
  return LoadParams(reader, params);
}

// The defaults with the first `count` fields of kOthers.
SerialParams FirstFields(std::size_t count) {
  SerialParams params;
  if (count > 0) params.port = kOthers.port;
  if (count > 1) params.baudRate = kOthers.baudRate;
  if (count > 2) params.dataBitsCode = kOthers.dataBitsCode;
  if (count > 3) params.stopBitsCode = kOthers.stopBitsCode;
  if (count > 4) params.parityCode = kOthers.parityCode;
  if (count > 5) params.handshakeCode = kOthers.handshakeCode;
  return params;
}

TEST(SerialParamsTest, SavesExactBytesAndLoadsThem) {
  MemoryStream stream;
  VariantWriter writer(stream);
  SaveParams(writer, kOthers);
  EXPECT_EQ(writer.result(), S_OK);
  EXPECT_EQ(stream.bytes(), kOthersSaved);
  SerialParams loaded;
  EXPECT_EQ(Load(kOthersSaved, loaded), S_OK);
  EXPECT_EQ(loaded, kOthers);
}

TEST(SerialParamsTest, LoadStopsAtTheFirstWrongTypeAndAtTheEnd) {
  for (std::size_t field = 0; field < 6; ++field) {
    std::string bytes = kOthersSaved;
    bytes[kPlaces[field]] = '\x03';
    SerialParams loaded;
    EXPECT_EQ(Load(bytes, loaded), E_INVALIDARG) << field;
    EXPECT_EQ(loaded, FirstFields(field)) << field;
    for (std::size_t end = kPlaces[field]; end < kPlaces[field + 1]; ++end) {
      SerialParams cut;
      EXPECT_EQ(Load(kOthersSaved.substr(0, end), cut), kEndOfStream) << end;
      EXPECT_EQ(cut, FirstFields(field)) << end;
    }
  }
}

}  // namespace
}  // namespace ulix
