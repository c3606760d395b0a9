#include "base/html_page.h"

#include "base/markup.h"

namespace ulix {
namespace {

constexpr char kStyle[] = R"css(
body{font:14px/1.45 Helvetica,Arial,sans-serif;color:#222;background:#fff;max-width:60em;margin:2em auto;padding:0 1em}
h1{font-size:1.7em;margin:0 0 .2em}
h2{font-size:1.2em;margin:1.6em 0 .4em;border-bottom:2px solid #0072b2;break-after:avoid}
h3{font-size:1em;margin:1.2em 0 .3em;break-after:avoid}
p.when{margin:0;color:#555;overflow-wrap:anywhere}
table{border-collapse:collapse;width:100%;font-variant-numeric:tabular-nums}
th,td{min-width:3.4em;padding:.15em .6em;border-bottom:1px solid #ddd;text-align:left;vertical-align:top;overflow-wrap:anywhere}
thead th{border-bottom:1px solid #888;background:#f2f5f8;font-size:.9em;overflow-wrap:normal}
th.n,td.n{text-align:right;min-width:0}
td.n{white-space:nowrap}
td.t{white-space:nowrap}
td.bad{color:#a00000}
table.facts th{width:34%;font-weight:normal;color:#555}
table.wide{font-size:.8em}
table.wide th,table.wide td{padding:.15em .35em;min-width:0}
p.note{background:#fff6dd;border-left:4px solid #e69f00;padding:.4em .8em}
svg{display:block;width:100%;height:auto;break-inside:avoid}
footer{margin-top:2em;color:#777;font-size:.85em;overflow-wrap:anywhere}
summary{color:#555;cursor:pointer}
@page{size:A4;margin:16mm 14mm 18mm;@bottom-right{content:counter(page) " / " counter(pages);font:8pt Helvetica,Arial,sans-serif;color:#777}}
@media print{
body{font-size:9.5pt;margin:0;padding:0;max-width:none}
tr{break-inside:avoid}
thead{display:table-header-group}
thead th,p.note{print-color-adjust:exact;-webkit-print-color-adjust:exact}
}
)css";

std::string Attribute(CellKind kind) {
  switch (kind) {
    case CellKind::kNumber:
      return " class=\"n\"";
    case CellKind::kOneLine:
      return " class=\"t\"";
    case CellKind::kBad:
      return " class=\"n bad\"";
    case CellKind::kText:
      break;
  }
  return {};
}

std::string TableRow(const HtmlRow& cells, const char* element) {
  std::string html = "<tr>";
  for (const HtmlCell& cell : cells) {
    html += std::string("<") + element + Attribute(cell.kind) + ">" + Escaped(cell.text) + "</" + element + ">";
  }
  return html + "</tr>\n";
}

}  // namespace

std::string PageStart(const std::string& title, Language language, const std::string& more_style) {
  std::string html = "<!DOCTYPE html>\n<html lang=\"";
  html += language == Language::kFrench ? "fr" : "en";
  html +=
      "\">\n<head>\n<meta charset=\"utf-8\"/>\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\"/>\n"
      "<meta name=\"viewport\" content=\"width=device-width\"/>\n";
  html += HtmlElement("title", title);
  html += "<style>";
  html += kStyle;
  html += more_style;
  html += "</style>\n</head>\n<body>\n";
  return html;
}

std::string PageEnd() { return "</body>\n</html>\n"; }

std::string HtmlElement(const std::string& name, const std::string& text, const std::string& css_class) {
  return "<" + name + (css_class.empty() ? "" : " class=\"" + css_class + "\"") + ">" + Escaped(text) + "</" + name +
         ">\n";
}

HtmlTable::HtmlTable(const HtmlRow& head) : html_("<table>\n<thead>" + TableRow(head, "th") + "</thead>\n<tbody>\n") {}

void HtmlTable::Add(const HtmlRow& row) { html_ += TableRow(row, "td"); }

std::string HtmlTable::Html() const { return html_ + "</tbody>\n</table>\n"; }

std::string HtmlFacts(const std::vector<std::pair<std::string, std::string>>& facts) {
  std::string rows;
  for (const auto& [label, text] : facts) {
    if (text.empty()) continue;
    rows += "<tr><th>" + Escaped(label) + "</th><td>" + Escaped(text) + "</td></tr>\n";
  }
  return rows.empty() ? rows : "<table class=\"facts\">\n<tbody>\n" + rows + "</tbody>\n</table>\n";
}

}  // namespace ulix
