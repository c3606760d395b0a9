// SHA-256 (FIPS 180-4), for the contents of files and of a journal's lines.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace ulix {

// Computes the digest of bytes that come in parts of any size. Not safe for use by two threads at once.
class Sha256 {
 public:
  using Digest = std::array<std::uint8_t, 32>;

  void Update(std::string_view bytes);
  // The digest of all bytes. Update must not be called afterwards.
  Digest Finish();

 private:
  void TakeBlock(const std::uint8_t* block);

  std::array<std::uint32_t, 8> state_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                      0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::array<std::uint8_t, 64> block_{};
  std::size_t held_ = 0;  // Bytes in block_, which is not full yet.
  std::uint64_t length_ = 0;
};

Sha256::Digest Sha256Of(std::string_view bytes);
// 64 hexadecimal digits in lower case.
std::string Sha256Hex(std::string_view bytes);
// Base64 with padding (RFC 4648), in which XML and HTTP write digests.
std::string Base64(std::string_view bytes);

}  // namespace ulix
