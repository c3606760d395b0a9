#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <string>

namespace ulix::platform {
namespace {

std::string ToOem(std::string text) {
  OemFromAnsi(text);
  return text;
}

std::string ToAnsi(std::string text) {
  AnsiFromOem(text);
  return text;
}

TEST(Page850Test, WhatBothPagesHaveComesBack) {
  std::string both = "\x83";  // the florin; the rest of the ANSI page from 0x80 to 0x9F is not in the OEM page
  for (int byte = 0; byte < 0x80; ++byte) both += static_cast<char>(byte);
  EXPECT_EQ(ToOem(both.substr(1)), both.substr(1));
  for (int byte = 0xA0; byte < 0x100; ++byte) both += static_cast<char>(byte);
  EXPECT_EQ(ToAnsi(ToOem(both)), both);
}

TEST(Page850Test, LettersAndUnitsStandWhereThePagesHaveThem) {
  EXPECT_EQ(ToOem("\xB0\xB5\xB1\xB2\xA3\xE9\xC7\xFF"), "\xF8\xE6\xF1\xFD\x9C\x82\x80\x98");
  EXPECT_EQ(ToAnsi("\xF8\xE6\xF1\xFD\x9C\x82\x80\x98"), "\xB0\xB5\xB1\xB2\xA3\xE9\xC7\xFF");
  EXPECT_EQ(ToOem("\x80"), "?");
  EXPECT_EQ(ToAnsi("\xC4\xB3"), "-\xA6");
}

}  // namespace
}  // namespace ulix::platform
