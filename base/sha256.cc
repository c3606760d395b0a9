#include "base/sha256.h"

#include <algorithm>
#include <bit>

namespace ulix {
namespace {

// The first 32 bits of the fractional parts of the cube roots of the first 64 primes (FIPS 180-4, 4.2.2).
constexpr std::array<std::uint32_t, 64> kRoots = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

std::uint32_t BigEndian(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

std::array<std::uint32_t, 64> Schedule(const std::uint8_t* block) {
  std::array<std::uint32_t, 64> w;
  for (std::size_t k = 0; k < 16; ++k) w[k] = BigEndian(block + 4 * k);
  for (std::size_t k = 16; k < 64; ++k) {
    const std::uint32_t s0 = std::rotr(w[k - 15], 7) ^ std::rotr(w[k - 15], 18) ^ (w[k - 15] >> 3);
    const std::uint32_t s1 = std::rotr(w[k - 2], 17) ^ std::rotr(w[k - 2], 19) ^ (w[k - 2] >> 10);
    w[k] = w[k - 16] + s0 + w[k - 7] + s1;
  }
  return w;
}

}  // namespace

void Sha256::TakeBlock(const std::uint8_t* block) {
  const auto w = Schedule(block);
  auto [a, b, c, d, e, f, g, h] = state_;
  for (std::size_t k = 0; k < 64; ++k) {
    const std::uint32_t s1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
    const std::uint32_t t1 = h + s1 + ((e & f) ^ (~e & g)) + kRoots[k] + w[k];
    const std::uint32_t s0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
    const std::uint32_t t2 = s0 + ((a & b) ^ (a & c) ^ (b & c));
    h = g, g = f, f = e, e = d + t1, d = c, c = b, b = a, a = t1 + t2;
  }
  const std::array<std::uint32_t, 8> change{a, b, c, d, e, f, g, h};
  for (std::size_t k = 0; k < state_.size(); ++k) state_[k] += change[k];
}

void Sha256::Update(std::string_view bytes) {
  length_ += bytes.size();
  while (!bytes.empty()) {
    const std::size_t taken = std::min(bytes.size(), block_.size() - held_);
    std::copy_n(bytes.begin(), taken, block_.begin() + static_cast<std::ptrdiff_t>(held_));
    held_ += taken;
    bytes.remove_prefix(taken);
    if (held_ < block_.size()) return;
    TakeBlock(block_.data());
    held_ = 0;
  }
}

Sha256::Digest Sha256::Finish() {
  const std::uint64_t bits = length_ * 8;
  Update(std::string_view("\x80", 1));
  while (held_ != 56) Update(std::string_view("\0", 1));
  std::string length;
  for (int shift = 56; shift >= 0; shift -= 8) length += static_cast<char>(bits >> shift & 0xFF);
  Update(length);
  Digest digest;
  for (std::size_t k = 0; k < digest.size(); ++k) {
    digest[k] = static_cast<std::uint8_t>(state_[k / 4] >> (24 - 8 * (k % 4)));
  }
  return digest;
}

Sha256::Digest Sha256Of(std::string_view bytes) {
  Sha256 sha;
  sha.Update(bytes);
  return sha.Finish();
}

std::string Sha256Hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const std::uint8_t byte : Sha256Of(bytes)) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const auto byte = [&](std::size_t k) {
      return at + k < bytes.size() ? std::uint32_t{static_cast<std::uint8_t>(bytes[at + k])} : 0U;
    };
    const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (std::size_t k = 0; k < 4; ++k) {
      text += k > bytes.size() - at ? '=' : kDigits[group >> (18 - 6 * k) & 63];
    }
  }
  return text;
}

}  // namespace ulix
