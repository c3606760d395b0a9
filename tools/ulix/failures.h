// The exceptions that end a verb: wrong usage, or a failure of the instrument, the link or a file.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include "base/result.h"
#include "base/text.h"

namespace ulix::cli {

// Exit status 2. `what` names the argument and what it accepts.
class UsageError : public std::runtime_error {
 public:
  UsageError(const std::string& argument, const std::string& message) : UsageError(argument + ": " + message) {}
  explicit UsageError(const std::string& what) : std::runtime_error(what) {}
};

// The codes of files: the storage errors of the operating system, from the same range of codes.
inline constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80030002U);
// No reading came: the data are not available yet.
inline constexpr HRESULT kNoReading = static_cast<HRESULT>(0x8000000AU);
inline constexpr HRESULT kWriteFault = static_cast<HRESULT>(0x8003001DU);

// Exit status 1. what() is one line in UTF-8 with the code and `text`: "0x80044403 Unable to read answer".
class OperationFailed : public std::runtime_error {
 public:
  OperationFailed(HRESULT code, const std::string& text);
};

// Keeps the first exception of several calls, to be thrown later.
class FirstFailure {
 public:
  // Makes a call; false when it threw.
  template <typename Call>
  bool Attempt(Call&& call) {
    try {
      call();
      return true;
    } catch (...) {
      if (!thrown_) thrown_ = std::current_exception();
      return false;
    }
  }
  explicit operator bool() const { return thrown_ != nullptr; }
  void Rethrow() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  std::exception_ptr thrown_;
};

// Whether a code is a logger's own error in a record. No operation has results in this range.
constexpr bool IsRecordCode(HRESULT code) { return code < 0 && code >= -0x8000; }

// The text of a system code that members of an instrument give, in UTF-8; empty for any other code.
std::string SystemText(HRESULT code, Language language);

// A code as text: "0x80044403".
std::string CodeText(HRESULT code);
// The code, and its text if there is one. Line breaks become blanks.
std::string FailureLine(HRESULT code, const std::string& text);

}  // namespace ulix::cli
