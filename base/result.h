// Results of operations: the 32-bit codes of all public functions of the library.
#pragma once

#include <cstdint>
#include <optional>
#include <tl/expected.hpp>
#include <utility>

#include "base/error_codes.h"

namespace ulix {

// The system's codes. When a Windows header was included before, it has defined them as macros with the same values.
#ifndef S_OK
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001U);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005U);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFU);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000EU);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057U);
inline constexpr HRESULT RPC_E_SERVERFAULT = static_cast<HRESULT>(0x80010105U);
#endif

// A stream ended before the value that was read: ERROR_HANDLE_EOF as an HRESULT.
inline constexpr HRESULT kEndOfStream = static_cast<HRESULT>(0x80070026U);

constexpr bool Failed(HRESULT result) { return result < 0; }
constexpr bool Succeeded(HRESULT result) { return result >= 0; }

// A value, or the code of the failure. The error is never a success code.
template <typename T>
using Expected = tl::expected<T, HRESULT>;

inline tl::unexpected<HRESULT> Failure(HRESULT code) { return tl::unexpected<HRESULT>(code); }

// The value, or the code where there is none.
template <typename T>
Expected<T> OrFailure(std::optional<T> value, HRESULT code) {
  return value ? Expected<T>(*std::move(value)) : Failure(code);
}

// The code of a result: S_OK with a value, else the failure.
template <typename T>
HRESULT CodeOf(const Expected<T>& result) {
  return result ? S_OK : result.error();
}

}  // namespace ulix
