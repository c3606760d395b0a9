// Texts of this folder in both languages, such as problems of a plan, a certificate or a value. They are UTF-8, because
// they go to JSON, XML and HTML and never to an instrument.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include <tl/expected.hpp>

#include "resources/texts.h"

namespace ulix::calibration {

// A text in English and in French.
struct BilingualText {
  BilingualText() = default;
  BilingualText(std::string english, std::string french) : en(std::move(english)), fr(std::move(french)) {}
  // A number, a name, or another text that is the same in both languages.
  BilingualText(const std::string& both) : en(both), fr(both) {}  // NOLINT(google-explicit-constructor)
  BilingualText(const char* both) : en(both), fr(both) {}         // NOLINT(google-explicit-constructor)

  const std::string& In(Language language) const { return language == Language::kFrench ? fr : en; }
  bool empty() const { return en.empty(); }
  bool operator==(const BilingualText&) const = default;

  std::string en, fr;
};

// Joins two texts, in each language.
inline BilingualText operator+(const BilingualText& a, const BilingualText& b) { return {a.en + b.en, a.fr + b.fr}; }

// A text of the catalogue. Each '%' is replaced by the next value, in the same language.
BilingualText Bilingual(TextId id, std::initializer_list<BilingualText> values = {});

using Problem = BilingualText;

template <typename T>
using Result = tl::expected<T, Problem>;

inline tl::unexpected<Problem> Refused(TextId id, std::initializer_list<BilingualText> values = {}) {
  return tl::unexpected<Problem>(Bilingual(id, values));
}

// A number as text for a message: at most nine significant digits, without trailing zeros.
std::string Shortened(double value);

}  // namespace ulix::calibration
