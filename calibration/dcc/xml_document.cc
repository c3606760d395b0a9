#include "calibration/dcc/xml_document.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <iterator>
#include <optional>

#include "calibration/dcc/dcc.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

// The state while a document is parsed.
struct Watch {
  std::size_t elements = 0;
  bool document_type = false;
};

Watch& WatchOf(void* context) { return *static_cast<Watch*>(static_cast<xmlParserCtxt*>(context)->_private); }

void OnDocumentType(void* context, const xmlChar* /*name*/, const xmlChar* /*external*/, const xmlChar* /*system*/) {
  WatchOf(context).document_type = true;
  xmlStopParser(static_cast<xmlParserCtxt*>(context));
}

// NOLINTNEXTLINE(readability-function-size): the parser's own list of parameters
void OnElement(void* context, const xmlChar* local_name, const xmlChar* prefix, const xmlChar* uri, int namespaces,
               const xmlChar** namespace_list, int attributes, int defaulted, const xmlChar** attribute_list) {
  std::size_t& elements = WatchOf(context).elements;
  elements += 1 + static_cast<std::size_t>(attributes) + static_cast<std::size_t>(namespaces);
  if (elements > kMaxDccElements) return xmlStopParser(static_cast<xmlParserCtxt*>(context));
  xmlSAX2StartElementNs(context, local_name, prefix, uri, namespaces, namespace_list, attributes, defaulted,
                        attribute_list);
}

struct ParserDeleter {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

Problem MalformedAt(xmlParserCtxt* parser) {
  const xmlError* const error = xmlCtxtGetLastError(parser);
  const std::string text = error != nullptr && error->message != nullptr ? error->message : "";
  return Bilingual(TextId::kXmlMalformed,
                   {std::to_string(error != nullptr ? error->line : 0), std::string(Trimmed(text))});
}

// The parser compares every attribute of a tag with every other one, so a very long tag would take very long. The
// lengths of tags are therefore checked first. Encodings in which this check could miss a tag are not accepted.
constexpr std::size_t kMaxTagBytes = 64U << 10;

// The document with one byte for each code unit of UTF-16. A document in another encoding is returned unchanged.
std::string Narrowed(std::string_view xml) {
  const bool big = xml.starts_with(std::string_view("\0<", 2)) || xml.starts_with("\xFE\xFF");
  const bool little = xml.starts_with(std::string_view("<\0", 2)) || xml.starts_with("\xFF\xFE");
  if (!big && !little) return std::string(xml);
  std::string narrow;
  for (std::size_t k = 0; k + 1 < xml.size(); k += 2) {
    const char high = xml[big ? k : k + 1];
    narrow += high == 0 ? xml[big ? k + 1 : k] : 'x';
  }
  return narrow;
}

// The encoding in the XML declaration, in upper case; empty if it has none.
std::string DeclaredEncoding(std::string_view xml) {
  const std::size_t begin = xml.find("<?xml");
  if (begin == xml.npos) return {};
  const std::string_view declaration = xml.substr(begin, std::min(xml.find("?>", begin), xml.size()) - begin);
  const std::size_t name = declaration.find("encoding");
  const std::size_t quote = name == declaration.npos ? name : declaration.find_first_of("\"'", name);
  if (quote == declaration.npos) return {};
  const std::size_t end = std::min(declaration.find(declaration[quote], quote + 1), declaration.size());
  return AsciiUpper(declaration.substr(quote + 1, end - quote - 1));
}

bool IsTakenEncoding(const std::string& name) {
  constexpr std::string_view kTaken[] = {"", "UTF-8", "UTF8", "UTF-16", "UTF-16LE", "UTF-16BE", "US-ASCII", "ASCII"};
  const bool listed = std::find(std::begin(kTaken), std::end(kTaken), name) != std::end(kTaken);
  return listed || name.starts_with("ISO-8859-") || name.starts_with("WINDOWS-125");
}

// The position after the construct that begins at `at` and ends with `closing`.
std::size_t Behind(std::string_view xml, std::size_t at, std::string_view closing) {
  const std::size_t end = xml.find(closing, at);
  return end == xml.npos ? xml.size() : end + closing.size();
}

// The position after the tag that begins at `at`. A '>' in quotes does not end the tag.
std::size_t BehindTag(std::string_view xml, std::size_t at) {
  char quote = 0;
  for (; at < xml.size(); ++at) {
    if (quote != 0) {
      quote = xml[at] == quote ? '\0' : quote;
    } else if (xml[at] == '"' || xml[at] == '\'') {
      quote = xml[at];
    } else if (xml[at] == '>') {
      return at + 1;
    }
  }
  return at;
}

std::optional<Problem> LongTag(std::string_view xml) {
  for (std::size_t at = xml.find('<'); at < xml.size(); at = xml.find('<', at)) {
    const std::string_view rest = xml.substr(at);
    const std::size_t begin = at;
    if (rest.starts_with("<!--")) {
      at = Behind(xml, at, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      at = Behind(xml, at, "]]>");
    } else if (rest.starts_with("<?")) {
      at = Behind(xml, at, "?>");
    } else if ((at = BehindTag(xml, at)) - begin > kMaxTagBytes) {
      const auto line = std::count(xml.begin(), xml.begin() + static_cast<std::ptrdiff_t>(begin), '\n') + 1;
      return Bilingual(TextId::kXmlLongTag, {std::to_string(line), std::to_string(kMaxTagBytes)});
    }
  }
  return std::nullopt;
}

std::optional<Problem> WhyNotParsed(std::string_view document) {
  if (document.size() > kMaxDccBytes) return Bilingual(TextId::kXmlTooLarge, {std::to_string(kMaxDccBytes)});
  const std::string xml = Narrowed(document);
  const std::string encoding = DeclaredEncoding(xml);
  if (!IsTakenEncoding(encoding)) return Bilingual(TextId::kXmlEncoding, {encoding.substr(0, 40)});
  if (xml.find('\0') != xml.npos) return Bilingual(TextId::kXmlEncoding, {"UTF-32"});
  return LongTag(xml);
}

}  // namespace

Result<XmlDocument> ParseXml(std::string_view xml) {
  if (auto problem = WhyNotParsed(xml)) return tl::unexpected(std::move(*problem));
  const std::unique_ptr<xmlParserCtxt, ParserDeleter> parser(xmlNewParserCtxt());
  if (!parser) throw std::bad_alloc();
  Watch watch;
  parser->_private = &watch;
  parser->sax->internalSubset = OnDocumentType;
  parser->sax->startElementNs = OnElement;
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;
  XmlDocument document(
      xmlCtxtReadMemory(parser.get(), xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, kOptions));
  if (watch.document_type) return Refused(TextId::kXmlDocumentType);
  if (watch.elements > kMaxDccElements) return Refused(TextId::kXmlTooMany, {std::to_string(kMaxDccElements)});
  if (!document || parser->wellFormed == 0) return tl::unexpected(MalformedAt(parser.get()));
  return document;
}

void ForEachChild(const xmlNode* parent, std::string_view name, const std::function<void(const xmlNode&)>& action) {
  for (const xmlNode* node = parent == nullptr ? nullptr : parent->children; node != nullptr; node = node->next) {
    if (node->type == XML_ELEMENT_NODE && XmlName(*node) == name) action(*node);
  }
}

const xmlNode* ChildOf(const xmlNode* parent, std::string_view name) {
  const xmlNode* first = nullptr;
  ForEachChild(parent, name, [&](const xmlNode& node) { first = first == nullptr ? &node : first; });
  return first;
}

std::string TextOf(const xmlNode* node) {
  if (node == nullptr) return {};
  const std::unique_ptr<xmlChar, void (*)(void*)> content(xmlNodeGetContent(node), xmlFree);
  return content ? std::string(Trimmed(reinterpret_cast<const char*>(content.get()))) : std::string();
}

std::string AttributeOf(const xmlNode& node, const char* name) {
  const std::unique_ptr<xmlChar, void (*)(void*)> value(xmlGetNoNsProp(&node, reinterpret_cast<const xmlChar*>(name)),
                                                        xmlFree);
  return value ? std::string(Trimmed(reinterpret_cast<const char*>(value.get()))) : std::string();
}

}  // namespace ulix::calibration
