// An XML document in memory, as libxml2 has it, with the few questions that are asked of it.
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

// Within the limits of calibration/dcc/dcc.h; see there for what is refused.
Result<XmlDocument> ParseXml(std::string_view xml);

inline const char* XmlName(const xmlNode& node) { return reinterpret_cast<const char*>(node.name); }
// The first child element of that local name; null when there is none. Namespaces are not compared: each version of the
// schema has had one and the same.
const xmlNode* ChildOf(const xmlNode* parent, std::string_view name);
void ForEachChild(const xmlNode* parent, std::string_view name, const std::function<void(const xmlNode&)>& action);
// All text inside, without the blanks around it; empty for null.
std::string TextOf(const xmlNode* node);
std::string AttributeOf(const xmlNode& node, const char* name);
// Inside of a child of that name.
inline std::string TextOfChild(const xmlNode* parent, std::string_view name) { return TextOf(ChildOf(parent, name)); }

}  // namespace ulix::calibration
