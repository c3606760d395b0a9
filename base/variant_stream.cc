#include "base/variant_stream.h"

#include <array>
#include <bit>
#include <cstring>

#include "base/text.h"

namespace ulix {
namespace {

void AppendLittleEndian(std::string& out, std::uint32_t bits, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) out += static_cast<char>((bits >> (8 * i)) & 0xFF);
}

}  // namespace

HRESULT MemoryStream::Write(std::string_view bytes) {
  bytes_.append(bytes);
  return S_OK;
}

HRESULT MemoryStream::Read(std::span<char> bytes) {
  if (bytes_.size() - at_ < bytes.size()) return kEndOfStream;
  std::memcpy(bytes.data(), bytes_.data() + at_, bytes.size());
  at_ += bytes.size();
  return S_OK;
}

void VariantWriter::Put(VariantType type, std::uint32_t bits, std::size_t size) {
  if (Failed(result_)) return;
  std::string bytes;
  AppendLittleEndian(bytes, static_cast<std::uint16_t>(type), 2);
  AppendLittleEndian(bytes, bits, size);
  result_ = stream_.Write(bytes);
}

void VariantWriter::I2(std::int16_t value) { Put(VariantType::kI2, static_cast<std::uint16_t>(value), 2); }
void VariantWriter::R4(float value) { Put(VariantType::kR4, std::bit_cast<std::uint32_t>(value), 4); }
void VariantWriter::Ui1(std::uint8_t value) { Put(VariantType::kUi1, value, 1); }
void VariantWriter::Ui2(std::uint16_t value) { Put(VariantType::kUi2, value, 2); }
void VariantWriter::Ui4(std::uint32_t value) { Put(VariantType::kUi4, value, 4); }

void VariantWriter::Bstr(const std::string& ansi) {
  const std::u16string wide = Utf16FromAnsi(ansi);
  Put(VariantType::kBstr, static_cast<std::uint32_t>((wide.size() + 1) * 2), 4);
  if (Failed(result_)) return;
  std::string bytes;
  for (const char16_t unit : wide) AppendLittleEndian(bytes, unit, 2);
  AppendLittleEndian(bytes, 0, 2);
  result_ = stream_.Write(bytes);
}

Expected<std::uint32_t> VariantReader::Bits(std::size_t size) {
  std::array<char, 4> bytes{};
  if (const HRESULT result = stream_.Read(std::span(bytes).first(size)); Failed(result)) return Failure(result);
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < size; ++i) {
    bits |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return bits;
}

Expected<std::uint32_t> VariantReader::Take(VariantType type, std::size_t size) {
  const auto found = Bits(2);
  if (!found) return found;
  if (*found != static_cast<std::uint16_t>(type)) return Failure(E_INVALIDARG);
  return Bits(size);
}

Expected<std::int16_t> VariantReader::I2() {
  return Take(VariantType::kI2, 2).map([](std::uint32_t bits) { return static_cast<std::int16_t>(bits); });
}

Expected<float> VariantReader::R4() {
  return Take(VariantType::kR4, 4).map([](std::uint32_t bits) { return std::bit_cast<float>(bits); });
}

Expected<std::uint8_t> VariantReader::Ui1() {
  return Take(VariantType::kUi1, 1).map([](std::uint32_t bits) { return static_cast<std::uint8_t>(bits); });
}

Expected<std::uint16_t> VariantReader::Ui2() {
  return Take(VariantType::kUi2, 2).map([](std::uint32_t bits) { return static_cast<std::uint16_t>(bits); });
}

Expected<std::uint32_t> VariantReader::Ui4() { return Take(VariantType::kUi4, 4); }

// Reads unit by unit: a count larger than the stream fails at the end of the stream and allocates no memory for it.
Expected<std::string> VariantReader::Bstr() {
  const auto size = Take(VariantType::kBstr, 4);
  if (!size) return Failure(size.error());
  if (*size < 2 || *size % 2 != 0) return Failure(E_INVALIDARG);
  std::u16string wide;
  for (std::uint32_t left = *size; left > 0; left -= 2) {
    const auto unit = Bits(2);
    if (!unit) return Failure(unit.error());
    wide += static_cast<char16_t>(*unit);
  }
  if (wide.back() != 0) return Failure(E_INVALIDARG);
  wide.pop_back();
  return AnsiFromUtf16(wide);
}

}  // namespace ulix
