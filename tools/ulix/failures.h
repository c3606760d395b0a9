// How a verb ends early: what the user typed is wrong, or the instrument, the link or a file failed.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include "base/result.h"
#include "base/text.h"

namespace ulix::cli {

// Exit status 2. `what` names the argument and says what it takes.
class UsageError : public std::runtime_error {
 public:
  UsageError(const std::string& argument, const std::string& message) : std::runtime_error(argument + ": " + message) {}
};

// A file's own codes: the storage errors of the operating system whose code space the library shares.
inline constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80030002U);
// No reading came: the data are not there yet.
inline constexpr HRESULT kNoReading = static_cast<HRESULT>(0x8000000AU);
inline constexpr HRESULT kWriteFault = static_cast<HRESULT>(0x8003001DU);

// Exit status 1. `what` is one line in UTF-8: "0x80044403 Unable to read answer".
class OperationFailed : public std::runtime_error {
 public:
  OperationFailed(HRESULT code, const std::string& text);
};

// Keeps the first of what several attempts throw for when it can be reported.
class FirstFailure {
 public:
  // Whether it threw nothing.
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

// The system's own text of one of its codes that members of an instrument give, in UTF-8; empty for any other code.
std::string SystemText(HRESULT code, Language language);

// "0x80044403".
std::string CodeText(HRESULT code);
// The code, and behind it the text where there is one. Line breaks become blanks.
std::string FailureLine(HRESULT code, const std::string& text);

}  // namespace ulix::cli
