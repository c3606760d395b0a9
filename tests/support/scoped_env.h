// Sets environment variables for the duration of a test.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace ulix {

class ScopedEnv {
 public:
  // Without a value the variable is removed.
  ScopedEnv(std::string name, std::optional<std::string> value) : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) before_ = before;
    Put(value);
  }
  ~ScopedEnv() { Put(before_); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  void Put(const std::optional<std::string>& value) {
    if (value) {
      setenv(name_.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }
  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace ulix
