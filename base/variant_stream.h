// Self-describing values in a configuration stream: a 16-bit variant type, then the value, little-endian.
#pragma once

#include <cstdint>
#include <string>

#include "base/byte_stream.h"

namespace ulix {

enum class VariantType : std::uint16_t {
  kI2 = 2,
  kR4 = 4,
  kBstr = 8,
  kUi1 = 17,
  kUi2 = 18,
  kUi4 = 19,
};

// Writes values one after the other. After a failure nothing more is written, and `result` keeps its code, so that a
// series of calls needs only one check.
class VariantWriter {
 public:
  explicit VariantWriter(ByteStream& stream) : stream_(stream) {}
  void I2(std::int16_t value);
  void R4(float value);
  void Ui1(std::uint8_t value);
  void Ui2(std::uint16_t value);
  void Ui4(std::uint32_t value);
  // The text is Windows-1252. The stream has its byte count with terminator, then the text in UTF-16 with terminator.
  void Bstr(const std::string& ansi);
  HRESULT result() const { return result_; }

 private:
  void Put(VariantType type, std::uint32_t bits, std::size_t size);
  ByteStream& stream_;
  HRESULT result_ = S_OK;
};

// Reads values of the type that is asked for. A value of another type gives E_INVALIDARG; the end of the stream gives
// the stream's code.
class VariantReader {
 public:
  explicit VariantReader(ByteStream& stream) : stream_(stream) {}
  Expected<std::int16_t> I2();
  Expected<float> R4();
  Expected<std::uint8_t> Ui1();
  Expected<std::uint16_t> Ui2();
  Expected<std::uint32_t> Ui4();
  Expected<std::string> Bstr();

 private:
  Expected<std::uint32_t> Bits(std::size_t size);
  Expected<std::uint32_t> Take(VariantType type, std::size_t size);
  ByteStream& stream_;
};

}  // namespace ulix
