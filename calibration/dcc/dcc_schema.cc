// Checks certificates with the official XML schema. The schema is not part of this project.
#include <libxml/xmlschemas.h>

#include <filesystem>
#include <system_error>

#include "calibration/dcc/dcc.h"
#include "calibration/dcc/xml_document.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

constexpr std::size_t kMaxFindings = 50;

using Findings = std::vector<BilingualText>;

void OnError(void* findings, xmlError* error) {
  auto& found = *static_cast<Findings*>(findings);
  if (found.size() >= kMaxFindings) return;
  const std::string text = error->message == nullptr ? "" : error->message;
  found.push_back(Bilingual(TextId::kDccSchemaLine, {std::to_string(error->line), std::string(Trimmed(text))}));
}

// Finds the schema of the newest known version in the folder or anywhere below it.
std::string SchemaIn(const std::string& folder) {
  std::error_code error;
  for (const char* path : {"dcc.xsd", "v3.3.0/dcc.xsd", "dcc/v3.3.0/dcc.xsd", "schema/dcc/v3.3.0/dcc.xsd"}) {
    const std::filesystem::path file = std::filesystem::path(folder) / path;
    if (std::filesystem::is_regular_file(file, error)) return file.string();
  }
  return {};
}

using Schema = std::unique_ptr<xmlSchema, void (*)(xmlSchema*)>;

Result<Schema> LoadSchema(const std::string& folder) {
  const std::string file = SchemaIn(folder);
  if (file.empty()) return Refused(TextId::kDccNoSchema, {folder});
  const std::unique_ptr<xmlSchemaParserCtxt, void (*)(xmlSchemaParserCtxt*)> parser(
      xmlSchemaNewParserCtxt(file.c_str()), xmlSchemaFreeParserCtxt);
  Findings findings;
  xmlSchemaSetParserStructuredErrors(parser.get(), OnError, &findings);
  Schema schema(xmlSchemaParse(parser.get()), xmlSchemaFree);
  if (!schema) return Refused(TextId::kDccUnusableSchema, {file, findings.empty() ? "" : findings.front()});
  return schema;
}

// The rules do not apply inside a signature, whose elements may be empty; the schema checks them.
constexpr char kSignatureElement[] = "/Q{http://www.w3.org/2000/09/xmldsig#}Signature[";

void AddRuleFindings(const xmlNode* report, const char* name, std::vector<RuleFinding>& findings) {
  ForEachChild(report, name, [&](const xmlNode& node) {
    const std::string role = AttributeOf(node, "role");
    if (role != "error" && role != "warning") return;
    if (AttributeOf(node, "location").find(kSignatureElement) != std::string::npos) return;
    findings.push_back({role == "error", TextOfChild(&node, "text")});
  });
}

}  // namespace

Result<std::vector<RuleFinding>> ReadRuleFindings(std::string_view report) {
  return ParseXml(report).map([](const XmlDocument& document) {
    std::vector<RuleFinding> findings;
    for (const char* name : {"failed-assert", "successful-report"}) {
      AddRuleFindings(xmlDocGetRootElement(document.get()), name, findings);
    }
    return findings;
  });
}

Result<std::vector<BilingualText>> CheckDccSchema(std::string_view xml, const std::string& folder) {
  const auto document = ParseXml(xml);
  if (!document) return tl::unexpected(document.error());
  const auto schema = LoadSchema(folder);
  if (!schema) return tl::unexpected(schema.error());
  const std::unique_ptr<xmlSchemaValidCtxt, void (*)(xmlSchemaValidCtxt*)> validation(
      xmlSchemaNewValidCtxt(schema->get()), xmlSchemaFreeValidCtxt);
  Findings findings;
  xmlSchemaSetValidStructuredErrors(validation.get(), OnError, &findings);
  if (xmlSchemaValidateDoc(validation.get(), document->get()) != 0 && findings.empty()) {
    return Refused(TextId::kDccSchemaFails);
  }
  return findings;
}

}  // namespace ulix::calibration
