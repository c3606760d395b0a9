// Writes plain data as the XML of a certificate, version 3.3.0, and adds an empty signature.
#include <libxml/parser.h>

#include <algorithm>

#include "calibration/dcc/dcc.h"
#include "calibration/dcc/xml_document.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

const xmlChar* Bytes(const char* text) { return reinterpret_cast<const xmlChar*>(text); }
const xmlChar* Bytes(const std::string& text) { return Bytes(text.c_str()); }

bool IsXmlText(const std::string& text) {
  const bool control = std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && c != '\n' && c != '\t';
  });
  return !control && xmlCheckUTF8(Bytes(text)) != 0;
}

std::string Joined(const std::vector<std::string>& tokens) {
  std::string text;
  for (const std::string& token : tokens) text += (text.empty() ? "" : " ") + token;
  return text;
}

class Writer {
 public:
  Result<std::string> Write(const Certificate& certificate);

 private:
  xmlNode* Add(xmlNode* parent, const char* name) { return xmlNewChild(parent, dcc_, Bytes(name), nullptr); }
  xmlNode* AddSi(xmlNode* parent, const char* name) { return xmlNewChild(parent, si_, Bytes(name), nullptr); }
  void SetText(xmlNode* node, const std::string& text);
  // Adds an element with a text; nothing for an empty text.
  void AddValue(xmlNode* parent, const char* name, const std::string& text);
  void AddSiValue(xmlNode* parent, const char* name, const std::string& text);
  void AddText(xmlNode* parent, const char* name, const MultilingualText& text);
  void AddContents(xmlNode* node, const MultilingualText& text);
  static void SetRefType(xmlNode* node, const std::string& type);

  void AddSoftware(xmlNode* parent, const char* name, const std::vector<CertificateSoftware>& software);
  void AddRefTypeDefinitions(xmlNode* parent);
  void AddCoreData(xmlNode* parent, const Certificate& certificate);
  void AddIdentifications(xmlNode* parent, const std::vector<CertificateIdentification>& identifications);
  void AddItem(xmlNode* node, const CertificateItem& item, const std::optional<DocumentDigest>& digest);
  void AddContact(xmlNode* parent, const char* name, const CertificateContact& contact);
  void AddPersons(xmlNode* parent, const std::vector<CertificatePerson>& persons);
  void AddStatement(xmlNode* parent, const char* name, const CertificateStatement& statement);
  void AddAdministrativeData(xmlNode* root, const Certificate& certificate);

  void AddNumbers(xmlNode* parent, const NumberList& list, bool is_list);
  void AddUncertainty(xmlNode* parent, const UncertaintyList& uncertainty, bool is_list);
  void AddQuantity(xmlNode* parent, const CertificateQuantity& quantity);
  void AddMethods(xmlNode* parent, const std::vector<CertificateMethod>& methods);
  void AddEquipment(xmlNode* parent, const std::vector<CertificateEquipment>& equipment);
  void AddConditions(xmlNode* parent, const std::vector<CertificateCondition>& conditions);
  void AddResult(xmlNode* parent, const CertificateResult& result);
  void AddMeasurement(xmlNode* parent, const CertificateMeasurement& measurement);

  xmlNs* dcc_ = nullptr;
  xmlNs* si_ = nullptr;
  std::optional<Problem> fault_;
};

void Writer::SetText(xmlNode* node, const std::string& text) {
  const std::string trimmed(Trimmed(text));
  if (!IsXmlText(trimmed) && !fault_) fault_ = Bilingual(TextId::kDccNoText, {XmlName(*node)});
  if (!fault_) xmlNodeAddContent(node, Bytes(trimmed));
}

void Writer::AddValue(xmlNode* parent, const char* name, const std::string& text) {
  if (!Trimmed(text).empty()) SetText(Add(parent, name), text);
}

void Writer::AddSiValue(xmlNode* parent, const char* name, const std::string& text) {
  if (!Trimmed(text).empty()) SetText(AddSi(parent, name), text);
}

void Writer::AddContents(xmlNode* node, const MultilingualText& text) {
  for (const MultilingualText::Content& content : text.contents) {
    xmlNode* const child = Add(node, "content");
    if (!content.language.empty()) xmlNewProp(child, Bytes("lang"), Bytes(content.language));
    SetText(child, content.text);
  }
}

void Writer::AddText(xmlNode* parent, const char* name, const MultilingualText& text) {
  if (!text.empty()) AddContents(Add(parent, name), text);
}

void Writer::SetRefType(xmlNode* node, const std::string& type) {
  if (!type.empty()) xmlNewProp(node, Bytes("refType"), Bytes(type));
}

void Writer::AddSoftware(xmlNode* parent, const char* name, const std::vector<CertificateSoftware>& software) {
  if (software.empty()) return;
  xmlNode* const list = Add(parent, name);
  for (const CertificateSoftware& one : software) {
    xmlNode* const node = Add(list, "software");
    AddText(node, "name", one.name);
    AddValue(node, "release", one.release);
    AddValue(node, "type", one.type);
  }
}

// Adds the definitions of the refTypes that are used.
void Writer::AddRefTypeDefinitions(xmlNode* parent) {
  struct Vocabulary {
    const char* name;
    const char* link;
  };
  constexpr Vocabulary kVocabularies[] = {
      {"basic", "https://digilab.ptb.de/dkd/refType/vocab/en/?uri=https://digilab.ptb.de/dkd/refType/basic"},
      {"gp", "https://digilab.ptb.de/dkd/refType/vocab/en/?uri=https://digilab.ptb.de/dkd/refType/gp"}};
  xmlNode* const list = Add(parent, "refTypeDefinitions");
  for (const Vocabulary& vocabulary : kVocabularies) {
    xmlNode* const node = Add(list, "refTypeDefinition");
    AddText(node, "name", std::string(vocabulary.name));
    AddValue(node, "namespace", vocabulary.name);
    AddValue(node, "link", vocabulary.link);
  }
}

void Writer::AddIdentifications(xmlNode* parent, const std::vector<CertificateIdentification>& identifications) {
  if (identifications.empty()) return;
  xmlNode* const list = Add(parent, "identifications");
  for (const CertificateIdentification& one : identifications) {
    xmlNode* const node = Add(list, "identification");
    AddValue(node, "issuer", one.issuer);
    AddValue(node, "value", one.value);
    AddText(node, "name", one.name);
  }
}

void Writer::AddCoreData(xmlNode* parent, const Certificate& certificate) {
  xmlNode* const core = Add(parent, "coreData");
  AddValue(core, "countryCodeISO3166_1", certificate.country);
  for (const std::string& language : certificate.languages) AddValue(core, "usedLangCodeISO639_1", language);
  for (const std::string& language : certificate.mandatory_languages)
    AddValue(core, "mandatoryLangCodeISO639_1", language);
  AddValue(core, "uniqueIdentifier", certificate.identifier);
  AddIdentifications(core, certificate.identifications);
  AddValue(core, "beginPerformanceDate", certificate.begin_date);
  AddValue(core, "endPerformanceDate", certificate.end_date);
  AddValue(core, "performanceLocation", certificate.performance_location);
  AddValue(core, "issueDate", certificate.issue_date);
}

void Writer::AddItem(xmlNode* node, const CertificateItem& item, const std::optional<DocumentDigest>& digest) {
  AddText(node, "name", item.name);
  AddText(node, "description", item.description);
  if (digest) {
    xmlNode* const certificate = Add(node, "certificate");
    AddText(certificate, "referral", digest->referral);
    AddValue(certificate, "referralID", digest->referral_id);
    AddValue(certificate, "procedure", digest->procedure);
    AddValue(certificate, "value", digest->value);
  }
  if (!item.manufacturer.empty()) AddText(Add(node, "manufacturer"), "name", item.manufacturer);
  AddValue(node, "model", item.model);
  AddIdentifications(node, item.identifications);
}

void Writer::AddContact(xmlNode* parent, const char* name, const CertificateContact& contact) {
  xmlNode* const node = Add(parent, name);
  AddText(node, "name", contact.name);
  AddValue(node, "eMail", contact.email);
  AddValue(node, "phone", contact.phone);
  AddValue(node, "fax", contact.fax);
  xmlNode* const location = Add(node, "location");
  AddValue(location, "street", contact.street);
  AddValue(location, "streetNo", contact.street_number);
  AddValue(location, "postCode", contact.post_code);
  AddValue(location, "city", contact.city);
  AddValue(location, "state", contact.state);
  AddValue(location, "countryCode", contact.country);
  AddText(location, "further", contact.further);
}

void Writer::AddPersons(xmlNode* parent, const std::vector<CertificatePerson>& persons) {
  xmlNode* const list = Add(parent, "respPersons");
  for (const CertificatePerson& person : persons) {
    xmlNode* const node = Add(list, "respPerson");
    AddText(Add(node, "person"), "name", person.name);
    AddValue(node, "role", person.role);
    AddValue(node, "mainSigner", person.main_signer ? "true" : "false");
  }
}

void Writer::AddStatement(xmlNode* parent, const char* name, const CertificateStatement& statement) {
  xmlNode* const node = Add(parent, name);
  SetRefType(node, statement.ref_type);
  AddText(node, "name", statement.name);
  for (const std::string& norm : statement.norms) AddValue(node, "norm", norm);
  for (const std::string& reference : statement.references) AddValue(node, "reference", reference);
  AddText(node, "declaration", statement.declaration);
  AddValue(node, "date", statement.date);
  AddValue(node, statement.conformity_is_list ? "conformityXMLList" : "conformity", Joined(statement.conformity));
  if (statement.quantities.empty()) return;
  xmlNode* const data = Add(node, "data");
  for (const CertificateQuantity& quantity : statement.quantities) AddQuantity(data, quantity);
}

void Writer::AddAdministrativeData(xmlNode* root, const Certificate& certificate) {
  xmlNode* const data = Add(root, "administrativeData");
  AddSoftware(data, "dccSoftware", certificate.software);
  AddRefTypeDefinitions(data);
  AddCoreData(data, certificate);
  xmlNode* const items = Add(data, "items");
  for (const CertificateItem& item : certificate.items) AddItem(Add(items, "item"), item, std::nullopt);
  xmlNode* const laboratory = Add(data, "calibrationLaboratory");
  AddValue(laboratory, "calibrationLaboratoryCode", certificate.laboratory_code);
  AddContact(laboratory, "contact", certificate.laboratory);
  AddPersons(data, certificate.persons);
  AddContact(data, "customer", certificate.customer);
  if (certificate.statements.empty()) return;
  xmlNode* const statements = Add(data, "statements");
  for (const CertificateStatement& statement : certificate.statements) AddStatement(statements, "statement", statement);
}

void Writer::AddUncertainty(xmlNode* parent, const UncertaintyList& uncertainty, bool is_list) {
  xmlNode* const outer =
      AddSi(parent, is_list ? "measurementUncertaintyUnivariateXMLList" : "measurementUncertaintyUnivariate");
  xmlNode* const node = AddSi(outer, is_list ? "expandedMUXMLList" : "expandedMU");
  AddSiValue(node, is_list ? "valueExpandedMUXMLList" : "valueExpandedMU", Joined(uncertainty.expanded));
  AddSiValue(node, is_list ? "coverageFactorXMLList" : "coverageFactor", Joined(uncertainty.coverage_factor));
  AddSiValue(node, is_list ? "coverageProbabilityXMLList" : "coverageProbability",
             Joined(uncertainty.coverage_probability));
  AddSiValue(node, is_list ? "distributionXMLList" : "distribution", Joined(uncertainty.distribution));
}

void Writer::AddNumbers(xmlNode* parent, const NumberList& list, bool is_list) {
  xmlNode* const node = AddSi(parent, is_list ? "realListXMLList" : "real");
  AddSiValue(node, is_list ? "valueXMLList" : "value", Joined(list.numbers));
  AddSiValue(node, is_list ? "unitXMLList" : "unit", list.unit);
  if (list.uncertainty) AddUncertainty(node, *list.uncertainty, is_list);
}

void Writer::AddQuantity(xmlNode* parent, const CertificateQuantity& quantity) {
  xmlNode* const node = Add(parent, "quantity");
  SetRefType(node, quantity.ref_type);
  AddText(node, "name", quantity.name);
  xmlNode* const values = quantity.values.size() > 1 ? AddSi(node, "hybrid") : node;
  for (const NumberList& list : quantity.values) AddNumbers(values, list, quantity.is_list);
  if (quantity.values.empty()) AddContents(Add(node, "noQuantity"), quantity.text);
  if (quantity.meta_data.empty()) return;
  xmlNode* const meta_data = Add(node, "measurementMetaData");
  for (const CertificateStatement& statement : quantity.meta_data) AddStatement(meta_data, "metaData", statement);
}

void Writer::AddMethods(xmlNode* parent, const std::vector<CertificateMethod>& methods) {
  if (methods.empty()) return;
  xmlNode* const list = Add(parent, "usedMethods");
  for (const CertificateMethod& method : methods) {
    xmlNode* const node = Add(list, "usedMethod");
    SetRefType(node, method.ref_type);
    AddText(node, "name", method.name);
    AddText(node, "description", method.description);
    for (const std::string& norm : method.norms) AddValue(node, "norm", norm);
    for (const std::string& reference : method.references) AddValue(node, "reference", reference);
  }
}

void Writer::AddEquipment(xmlNode* parent, const std::vector<CertificateEquipment>& equipment) {
  if (equipment.empty()) return;
  xmlNode* const list = Add(parent, "measuringEquipments");
  for (const CertificateEquipment& one : equipment) {
    xmlNode* const node = Add(list, "measuringEquipment");
    SetRefType(node, one.ref_type);
    AddItem(node, one.item, one.certificate);
  }
}

void Writer::AddConditions(xmlNode* parent, const std::vector<CertificateCondition>& conditions) {
  if (conditions.empty()) return;
  xmlNode* const list = Add(parent, "influenceConditions");
  for (const CertificateCondition& condition : conditions) {
    xmlNode* const node = Add(list, "influenceCondition");
    SetRefType(node, condition.ref_type);
    AddText(node, "name", condition.name);
    AddText(node, "description", condition.description);
    AddValue(node, "status", condition.status);
    xmlNode* const data = Add(node, "data");
    for (const CertificateQuantity& quantity : condition.quantities) AddQuantity(data, quantity);
  }
}

void Writer::AddResult(xmlNode* parent, const CertificateResult& result) {
  xmlNode* const node = Add(parent, "result");
  SetRefType(node, result.ref_type);
  AddText(node, "name", result.name);
  AddText(node, "description", result.description);
  xmlNode* const data = Add(node, "data");
  for (const CertificateTable& table : result.tables) {
    xmlNode* const list = Add(data, "list");
    SetRefType(list, table.ref_type);
    AddText(list, "name", table.name);
    AddValue(list, "dateTimeXMLList", Joined(table.date_times));
    for (const CertificateQuantity& quantity : table.quantities) AddQuantity(list, quantity);
  }
  for (const CertificateQuantity& quantity : result.quantities) AddQuantity(data, quantity);
}

void Writer::AddMeasurement(xmlNode* parent, const CertificateMeasurement& measurement) {
  xmlNode* const node = Add(parent, "measurementResult");
  AddText(node, "name", measurement.name);
  AddText(node, "description", measurement.description);
  AddMethods(node, measurement.methods);
  AddSoftware(node, "usedSoftware", measurement.software);
  AddEquipment(node, measurement.equipment);
  AddConditions(node, measurement.conditions);
  xmlNode* const results = Add(node, "results");
  for (const CertificateResult& result : measurement.results) AddResult(results, result);
}

Result<std::string> Serialized(xmlDoc* document, bool indented) {
  xmlChar* bytes = nullptr;
  int size = 0;
  xmlDocDumpFormatMemoryEnc(document, &bytes, &size, "UTF-8", indented ? 1 : 0);
  const std::unique_ptr<xmlChar, void (*)(void*)> owner(bytes, xmlFree);
  if (bytes == nullptr) return Refused(TextId::kDccNotWritten);
  return std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

Result<std::string> Writer::Write(const Certificate& certificate) {
  constexpr char kDccNamespace[] = "https://ptb.de/dcc";
  const XmlDocument document(xmlNewDoc(Bytes("1.0")));
  xmlNode* const root = xmlNewDocNode(document.get(), nullptr, Bytes("digitalCalibrationCertificate"), nullptr);
  xmlDocSetRootElement(document.get(), root);
  dcc_ = xmlNewNs(root, Bytes(kDccNamespace), Bytes("dcc"));
  si_ = xmlNewNs(root, Bytes("https://ptb.de/si"), Bytes("si"));
  xmlNs* const schema = xmlNewNs(root, Bytes("http://www.w3.org/2001/XMLSchema-instance"), Bytes("xsi"));
  xmlSetNs(root, dcc_);
  xmlNewNsProp(root, schema, Bytes("schemaLocation"), Bytes("https://ptb.de/dcc https://ptb.de/dcc/v3.3.0/dcc.xsd"));
  xmlNewProp(root, Bytes("schemaVersion"), Bytes("3.3.0"));
  AddAdministrativeData(root, certificate);
  xmlNode* const results = Add(root, "measurementResults");
  for (const CertificateMeasurement& measurement : certificate.measurements) AddMeasurement(results, measurement);
  if (fault_) return tl::unexpected(std::move(*fault_));
  return Serialized(document.get(), true);
}

constexpr char kDsNamespace[] = "http://www.w3.org/2000/09/xmldsig#";
constexpr char kEnveloped[] = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr char kExclusive[] = "http://www.w3.org/2001/10/xml-exc-c14n#";

xmlNode* AddAlgorithm(xmlNode* parent, xmlNs* ns, const char* name, const char* algorithm) {
  xmlNode* const node = xmlNewChild(parent, ns, Bytes(name), nullptr);
  xmlNewProp(node, Bytes("Algorithm"), Bytes(algorithm));
  return node;
}

void AddEmptySignature(xmlNode* root) {
  xmlNode* const signature = xmlNewChild(root, nullptr, Bytes("Signature"), nullptr);
  xmlNs* const ds = xmlNewNs(signature, Bytes(kDsNamespace), Bytes("ds"));
  xmlSetNs(signature, ds);
  const auto add = [ds](xmlNode* parent, const char* name) { return xmlNewChild(parent, ds, Bytes(name), nullptr); };
  xmlNode* const signed_info = add(signature, "SignedInfo");
  AddAlgorithm(signed_info, ds, "CanonicalizationMethod", kExclusive);
  AddAlgorithm(signed_info, ds, "SignatureMethod", "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256");
  xmlNode* const reference = add(signed_info, "Reference");
  xmlNewProp(reference, Bytes("URI"), Bytes(""));
  xmlNode* const transforms = add(reference, "Transforms");
  AddAlgorithm(transforms, ds, "Transform", kEnveloped);
  AddAlgorithm(transforms, ds, "Transform", kExclusive);
  AddAlgorithm(reference, ds, "DigestMethod", "http://www.w3.org/2001/04/xmlenc#sha256");
  add(reference, "DigestValue");
  add(signature, "SignatureValue");
  add(add(add(signature, "KeyInfo"), "X509Data"), "X509Certificate");
}

std::size_t Count(const xmlNode* parent, std::string_view name) {
  std::size_t count = 0;
  ForEachChild(parent, name, [&](const xmlNode&) { ++count; });
  return count;
}

// The number of elements of that name at any depth. The recursion is limited, because the parser limits the depth.
std::size_t CountAll(const xmlNode* parent, std::string_view name) {
  std::size_t count = 0;
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    count += (XmlName(*node) == name ? 1U : 0U) + CountAll(node, name);
  }
  return count;
}

bool OnlyHarmlessTransforms(const xmlNode* transforms) {
  constexpr std::string_view kInclusive = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
  bool harmless = true;
  ForEachChild(transforms, "Transform", [&](const xmlNode& node) {
    const std::string algorithm = AttributeOf(node, "Algorithm");
    harmless = harmless && (algorithm == kEnveloped || algorithm == kExclusive || algorithm == kInclusive);
  });
  return harmless;
}

Result<void> CheckCoverage(const xmlNode& root) {
  const xmlNode* const signature = ChildOf(&root, "Signature");
  if (signature == nullptr) return Refused(TextId::kDccNotSigned);
  if (CountAll(&root, "Signature") != 1) return Refused(TextId::kDccSeveral);
  const xmlNode* const signed_info = ChildOf(signature, "SignedInfo");
  const xmlNode* const reference = ChildOf(signed_info, "Reference");
  const bool one = Count(signature, "SignedInfo") == 1 && Count(signed_info, "Reference") == 1;
  const bool whole = one && xmlHasProp(reference, Bytes("URI")) != nullptr && AttributeOf(*reference, "URI").empty();
  if (!whole || !OnlyHarmlessTransforms(ChildOf(reference, "Transforms"))) return Refused(TextId::kDccNotWhole);
  return {};
}

}  // namespace

Result<std::string> WriteDcc(const Certificate& certificate) {
  const auto problems = CheckContent(certificate);
  if (!problems.empty()) return tl::unexpected(problems.front());
  return Writer().Write(certificate);
}

Result<std::string> WithSignatureTemplate(std::string_view xml) {
  return ParseXml(xml).and_then([](const XmlDocument& document) {
    AddEmptySignature(xmlDocGetRootElement(document.get()));
    return Serialized(document.get(), false);
  });
}

Result<void> CheckSignatureCoversAll(std::string_view xml) {
  return ParseXml(xml).and_then(
      [](const XmlDocument& document) { return CheckCoverage(*xmlDocGetRootElement(document.get())); });
}

}  // namespace ulix::calibration
