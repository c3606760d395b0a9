// HTML pages for people, on a screen and on A4 paper. A page is one file that needs no other file. Texts are UTF-8, and
// these functions escape them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/text.h"

namespace ulix {

enum class CellKind {
  kText,
  kNumber,   // aligned to the right, never broken over lines
  kOneLine,  // never broken over lines
  kBad,      // a number that must catch the eye, such as a failure
};

struct HtmlCell {
  std::string text;
  CellKind kind = CellKind::kText;
};
using HtmlRow = std::vector<HtmlCell>;

// The start of a page, from the document type to the start of the body. On paper, rows and pictures are not split over
// pages, a heading stays with the text after it, and a table repeats its head on each page. `more_style` is appended to
// the style sheet.
std::string PageStart(const std::string& title, Language language, const std::string& more_style = {});
// The end of a page.
std::string PageEnd();

// An element with a text, and a line end: "<p class=\"note\">text</p>\n". Without a class if `css_class` is empty.
std::string HtmlElement(const std::string& name, const std::string& text, const std::string& css_class = {});

class HtmlTable {
 public:
  // A table with these column heads. A table with many columns gets a smaller font, so that it fits the page.
  explicit HtmlTable(const HtmlRow& head);
  void Add(const HtmlRow& row);
  std::string Html() const;

 private:
  std::string html_;
};

// A list of labels and their texts. Pairs with an empty text are left out. Empty when all are.
std::string HtmlFacts(const std::vector<std::pair<std::string, std::string>>& facts);

}  // namespace ulix
