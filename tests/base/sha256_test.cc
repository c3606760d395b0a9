#include "base/sha256.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

// FIPS 180-4, the examples published with it.
TEST(Sha256, PublishedExamples_GiveTheirDigests) {
  EXPECT_EQ(Sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(Sha256Hex(std::string(1'000'000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, BytesInPieces_GiveTheDigestOfTheWhole) {
  const std::string whole(300, 'x');
  for (const std::size_t piece : {1U, 63U, 64U, 65U, 127U}) {
    Sha256 sha;
    for (std::size_t at = 0; at < whole.size(); at += piece) sha.Update(std::string_view(whole).substr(at, piece));
    EXPECT_EQ(sha.Finish(), Sha256Of(whole)) << piece;
  }
}

// RFC 4648, section 10.
TEST(Base64, PublishedExamples_GiveTheirTexts) {
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
}

}  // namespace
}  // namespace ulix
