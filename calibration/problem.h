// What is wrong with a plan, a certificate or a value, told in English and in French. Texts of this room are UTF-8:
// they come from and go to JSON, XML and HTML, never to an instrument.
#pragma once

#include <initializer_list>
#include <string>
#include <tl/expected.hpp>

#include "base/text.h"

namespace ulix::calibration {

struct Problem {
  std::string en;
  std::string fr;

  const std::string& In(Language language) const { return language == Language::kFrench ? fr : en; }
};

// Both texts with the values in place of their '%'s, in order.
Problem MakeProblem(const LocalizedText& text, std::initializer_list<std::string> values = {});

template <typename T>
using Result = tl::expected<T, Problem>;

inline tl::unexpected<Problem> Refused(const LocalizedText& text, std::initializer_list<std::string> values = {}) {
  return tl::unexpected<Problem>(MakeProblem(text, values));
}

// A number for a message: at most nine significant digits, without trailing zeros.
std::string Shortened(double value);

}  // namespace ulix::calibration
