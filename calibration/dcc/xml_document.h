// An XML document in memory, as libxml2 has it, and functions to look into it.
#pragma once

#include <libxml/tree.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "calibration/problem.h"

namespace ulix::calibration {

struct XmlDocumentDeleter {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlDocumentDeleter>;

// Parses a document. ReadDcc in calibration/dcc/dcc.h says which documents are refused.
Result<XmlDocument> ParseXml(std::string_view xml);

inline const char* XmlName(const xmlNode& node) { return reinterpret_cast<const char*>(node.name); }
// The first child element with that local name; null when there is none. Namespaces are not compared, because every
// version of the schema has the same one.
const xmlNode* ChildOf(const xmlNode* parent, std::string_view name);
void ForEachChild(const xmlNode* parent, std::string_view name, const std::function<void(const xmlNode&)>& action);
// All text inside a node, without surrounding blanks; empty for null.
std::string TextOf(const xmlNode* node);
std::string AttributeOf(const xmlNode& node, const char* name);
// All text inside the first child with that name.
inline std::string TextOfChild(const xmlNode* parent, std::string_view name) { return TextOf(ChildOf(parent, name)); }

}  // namespace ulix::calibration
