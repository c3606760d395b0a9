#include "calibration/dcc/xml_document.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include "calibration/dcc/dcc.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

// What is counted and noticed while a document is parsed.
struct Watch {
  std::size_t elements = 0;
  bool document_type = false;
};

Watch& WatchOf(void* context) { return *static_cast<Watch*>(static_cast<xmlParserCtxt*>(context)->_private); }

void OnDocumentType(void* context, const xmlChar* /*name*/, const xmlChar* /*external*/, const xmlChar* /*system*/) {
  WatchOf(context).document_type = true;
  xmlStopParser(static_cast<xmlParserCtxt*>(context));
}

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

}  // namespace

Result<XmlDocument> ParseXml(std::string_view xml) {
  if (xml.size() > kMaxDccBytes) return Refused(TextId::kXmlTooLarge, {std::to_string(kMaxDccBytes)});
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
