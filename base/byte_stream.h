// The stream of bytes in which a configuration is saved.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix {

class ByteStream {
 public:
  virtual ~ByteStream() = default;
  // Appends all of `bytes`, or fails.
  virtual HRESULT Write(std::string_view bytes) = 0;
  // Fills all of `bytes`. kEndOfStream when the stream holds fewer.
  virtual HRESULT Read(std::span<char> bytes) = 0;
};

// A stream in memory. Reading begins at the first byte written.
class MemoryStream final : public ByteStream {
 public:
  MemoryStream() = default;
  explicit MemoryStream(std::string bytes) : bytes_(std::move(bytes)) {}
  HRESULT Write(std::string_view bytes) override;
  HRESULT Read(std::span<char> bytes) override;
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::size_t at_ = 0;
};

}  // namespace ulix
