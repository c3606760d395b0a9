#include "base/variant_stream.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

std::string Bytes(std::initializer_list<int> bytes) { return {bytes.begin(), bytes.end()}; }

// The result of reading a text from the given bytes: the text, or the code of the failure.
Expected<std::string> ReadText(const std::string& bytes) {
  MemoryStream stream(bytes);
  return VariantReader(stream).Bstr();
}

TEST(VariantStreamTest, EachType_IsWrittenLittleEndianAndReadBack) {
  MemoryStream stream;
  VariantWriter writer(stream);
  writer.I2(-2);
  writer.R4(1.5F);
  writer.Ui1(0x80);
  writer.Ui2(0x1234);
  writer.Ui4(0x89ABCDEF);
  writer.Bstr("\x80");
  EXPECT_EQ(writer.result(), S_OK);
  EXPECT_EQ(stream.bytes(), Bytes({2,  0, 0xFE, 0xFF, 4,    0,    0, 0, 0xC0, 0x3F, 17, 0, 0x80, 18,   0, 0x34, 0x12,
                                   19, 0, 0xEF, 0xCD, 0xAB, 0x89, 8, 0, 4,    0,    0,  0, 0xAC, 0x20, 0, 0}));
  VariantReader reader(stream);
  EXPECT_EQ(reader.I2(), -2);
  EXPECT_EQ(reader.R4(), 1.5F);
  EXPECT_EQ(reader.Ui1(), 0x80);
  EXPECT_EQ(reader.Ui2(), 0x1234);
  EXPECT_EQ(reader.Ui4(), 0x89ABCDEFu);
  EXPECT_EQ(reader.Bstr(), "\x80");
  EXPECT_EQ(CodeOf(reader.Ui1()), kEndOfStream);
}

TEST(VariantStreamTest, ReadOfAnotherType_IsInvalidArgument) {
  const auto read = [](auto member) {
    MemoryStream stream(Bytes({19, 0, 1, 0, 0, 0}));
    VariantReader reader(stream);
    return CodeOf((reader.*member)());
  };
  EXPECT_EQ(read(&VariantReader::Ui4), S_OK);
  EXPECT_EQ(read(&VariantReader::R4), E_INVALIDARG);
  EXPECT_EQ(read(&VariantReader::Ui1), E_INVALIDARG);
  EXPECT_EQ(read(&VariantReader::Bstr), E_INVALIDARG);
}

TEST(VariantStreamTest, ImpossibleTextSize_IsRefused) {
  EXPECT_EQ(ReadText(Bytes({8, 0, 2, 0, 0, 0, 0, 0})), "");
  for (const auto& bytes :
       {Bytes({8, 0, 0, 0, 0, 0}), Bytes({8, 0, 1, 0, 0, 0, 0}), Bytes({8, 0, 3, 0, 0, 0, 65, 0, 0}),
        Bytes({8, 0, 4, 0, 0, 0, 65, 0, 66, 0}), Bytes({8, 0, 0xFF, 0xFF, 0xFF, 0xFF, 65, 0})}) {
    EXPECT_EQ(CodeOf(ReadText(bytes)), E_INVALIDARG) << testing::PrintToString(bytes);
  }
  for (const auto& bytes :
       {Bytes({8, 0, 0xFE, 0xFF, 0xFF, 0xFF, 65, 0}), Bytes({8, 0, 4, 0, 0, 0, 65, 0}), Bytes({8})}) {
    EXPECT_EQ(CodeOf(ReadText(bytes)), kEndOfStream) << testing::PrintToString(bytes);
  }
}

class StreamFullAfterOneWrite final : public ByteStream {
 public:
  HRESULT Write(std::string_view) override { return ++writes == 2 ? E_OUTOFMEMORY : S_OK; }
  HRESULT Read(std::span<char>) override { return E_FAIL; }
  int writes = 0;
};

TEST(VariantStreamTest, WriteThatFails_StopsTheWriterAndKeepsItsCode) {
  StreamFullAfterOneWrite stream;
  VariantWriter writer(stream);
  for (int i = 0; i < 5; ++i) writer.Bstr("text");
  EXPECT_EQ(writer.result(), E_OUTOFMEMORY);
  EXPECT_EQ(stream.writes, 2);
  EXPECT_EQ(CodeOf(VariantReader(stream).Ui1()), E_FAIL);
}

}  // namespace
}  // namespace ulix
