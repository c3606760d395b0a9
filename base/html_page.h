// Pages for people: one HTML file that needs nothing else, for a screen and for A4. Texts are UTF-8 and are escaped
// here.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/text.h"

namespace ulix {

enum class CellKind {
  kText,
  kNumber,   // to the right, unbroken
  kOneLine,  // unbroken
  kBad,      // a number that is to be noticed
};

struct HtmlCell {
  std::string text;
  CellKind kind = CellKind::kText;
};
using HtmlRow = std::vector<HtmlCell>;

// From the document's type to the beginning of its body. Rows and pictures stay whole on paper, headings with what they
// head; a table has its head on each of its pages. `more_style` is added to the style sheet.
std::string PageStart(const std::string& title, Language language, const std::string& more_style = {});
std::string PageEnd();

// "<p class=\"note\">text</p>" with a line's end; without a class where none is given.
std::string HtmlElement(const std::string& name, const std::string& text, const std::string& css_class = {});

class HtmlTable {
 public:
  // Of more columns than a page has room for in its usual size it is set smaller.
  explicit HtmlTable(const HtmlRow& head);
  void Add(const HtmlRow& row);
  std::string Html() const;

 private:
  std::string html_;
};

// Labels and what there is to say under them; a label with nothing to say is left out. Empty without any.
std::string HtmlFacts(const std::vector<std::pair<std::string, std::string>>& facts);

}  // namespace ulix
