#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <string>

namespace ulix::platform {
namespace {

TEST(Page850Test, CharactersOfBothPages_ConvertBackAndOthersAreReplaced) {
  std::string both = "\x83";  // The florin sign. The OEM page has no other ANSI character from 0x80 to 0x9F.
  for (int byte = 0; byte < 0x100; byte = byte == 0x7F ? 0xA0 : byte + 1) both += static_cast<char>(byte);
  std::string there = both;
  OemFromAnsi(there);
  EXPECT_EQ(there.substr(1, 0x80), both.substr(1, 0x80));
  std::string back = there;
  AnsiFromOem(back);
  EXPECT_EQ(back, both);
  std::string euro = "\x80", lines = "\xC4\xB3";
  OemFromAnsi(euro);
  AnsiFromOem(lines);
  EXPECT_EQ(euro + lines, "?-\xA6");
}

}  // namespace
}  // namespace ulix::platform
