// SHA-256 (FIPS 180-4): names the content of a file or of a journal's line.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace ulix {

// Takes bytes in any pieces. Not safe for use by two threads at once.
class Sha256 {
 public:
  using Digest = std::array<std::uint8_t, 32>;

  void Update(std::string_view bytes);
  // The digest of all bytes so far; nothing may be added afterwards.
  Digest Finish();

 private:
  void TakeBlock(const std::uint8_t* block);

  std::array<std::uint32_t, 8> state_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                      0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::array<std::uint8_t, 64> block_{};
  std::size_t held_ = 0;  // bytes of block_ that wait for the rest
  std::uint64_t length_ = 0;
};

Sha256::Digest Sha256Of(std::string_view bytes);
// 64 hexadecimal digits in lower case.
std::string Sha256Hex(std::string_view bytes);
// As XML and HTTP write digests.
std::string Base64(std::string_view bytes);

}  // namespace ulix
