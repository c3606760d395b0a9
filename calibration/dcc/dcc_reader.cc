// Reads the XML of a certificate into plain data. Unknown elements are skipped, because laboratories add their own.
#include <charconv>
#include <cmath>

#include "base/numbers.h"
#include "calibration/dcc/dcc.h"
#include "calibration/dcc/xml_document.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

constexpr int kMaxNestedTables = 16;

std::vector<std::string> Tokens(const std::string& text) {
  std::vector<std::string> tokens;
  for (const std::string_view token : SplitWords(text, kBlanks)) tokens.emplace_back(token);
  return tokens;
}

// A larger number is not a measurement, and calculations with it might overflow.
constexpr double kMaxCertificateNumber = 1e30;

// Whether a text is digits with an optional sign, point and exponent, and nothing else.
bool IsNumber(const std::string& text) {
  if (text.find_first_not_of("+-.0123456789eE") != std::string::npos) return false;
  const auto number = ParseDecimal(text);
  return number && std::abs(*number) <= kMaxCertificateNumber;
}

class Reader {
 public:
  Result<Certificate> Read(const xmlNode& root);

 private:
  std::vector<std::string> Numbers(const xmlNode* node);
  void Fail(const xmlNode& node, TextId text, const std::string& value);

  static MultilingualText Text(const xmlNode* node);
  static MultilingualText TextIn(const xmlNode& parent, std::string_view name) { return Text(ChildOf(&parent, name)); }
  static std::vector<std::string> Texts(const xmlNode& parent, std::string_view name);
  static CertificateContact Contact(const xmlNode* node);
  static std::vector<CertificateIdentification> Identifications(const xmlNode& parent);
  static std::vector<CertificateSoftware> Software(const xmlNode* list);
  static CertificateItem Item(const xmlNode& node);
  static DocumentDigest Digest(const xmlNode& node);

  static void ReadCoreData(const xmlNode* core, Certificate& certificate);
  void ReadAdministrativeData(const xmlNode* data, Certificate& certificate);
  CertificateStatement Statement(const xmlNode& node);
  std::vector<CertificateStatement> Statements(const xmlNode* list, std::string_view name);
  std::vector<CertificateQuantity> Quantities(const xmlNode* data);
  CertificateQuantity Quantity(const xmlNode& node);
  void AddNumbers(const xmlNode& node, CertificateQuantity& quantity);
  UncertaintyList Uncertainty(const xmlNode& list, bool single);
  std::optional<UncertaintyList> UncertaintyOf(const xmlNode& node);

  CertificateMeasurement Measurement(const xmlNode& node);
  void ReadSurroundings(const xmlNode& node, CertificateMeasurement& measurement);
  CertificateResult MeasuredResult(const xmlNode& node);
  void AddTables(const xmlNode& parent, int depth, CertificateResult& result);

  std::optional<Problem> fault_;  // the first one
};

void Reader::Fail(const xmlNode& node, TextId text, const std::string& value) {
  constexpr std::size_t kShown = 40;
  if (!fault_) fault_ = Bilingual(text, {std::to_string(xmlGetLineNo(&node)), value.substr(0, kShown)});
}

std::vector<std::string> Reader::Numbers(const xmlNode* node) {
  std::vector<std::string> numbers = Tokens(TextOf(node));
  for (const std::string& number : numbers) {
    if (!IsNumber(number)) Fail(*node, TextId::kDccWrongNumber, number);
  }
  return numbers;
}

// Reads the contents of a text; formulas and files in it are skipped.
MultilingualText Reader::Text(const xmlNode* node) {
  MultilingualText text;
  ForEachChild(node, "content", [&](const xmlNode& content) {
    std::string words = TextOf(&content);
    if (!words.empty()) text.contents.push_back({AttributeOf(content, "lang"), std::move(words)});
  });
  return text;
}

std::vector<std::string> Reader::Texts(const xmlNode& parent, std::string_view name) {
  std::vector<std::string> texts;
  ForEachChild(&parent, name, [&](const xmlNode& node) { texts.push_back(TextOf(&node)); });
  return texts;
}

CertificateContact Reader::Contact(const xmlNode* node) {
  if (node == nullptr) return {};
  const xmlNode* const location = ChildOf(node, "location");
  CertificateContact contact{.name = TextIn(*node, "name"),
                             .email = TextOfChild(node, "eMail"),
                             .phone = TextOfChild(node, "phone"),
                             .fax = TextOfChild(node, "fax"),
                             .street = TextOfChild(location, "street"),
                             .street_number = TextOfChild(location, "streetNo"),
                             .post_code = TextOfChild(location, "postCode"),
                             .city = TextOfChild(location, "city"),
                             .state = TextOfChild(location, "state"),
                             .country = TextOfChild(location, "countryCode")};
  if (location != nullptr) contact.further = TextIn(*location, "further");
  return contact;
}

std::vector<CertificateIdentification> Reader::Identifications(const xmlNode& parent) {
  std::vector<CertificateIdentification> found;
  ForEachChild(ChildOf(&parent, "identifications"), "identification", [&](const xmlNode& node) {
    found.push_back({TextOfChild(&node, "issuer"), TextOfChild(&node, "value"), TextIn(node, "name")});
  });
  return found;
}

std::vector<CertificateSoftware> Reader::Software(const xmlNode* list) {
  std::vector<CertificateSoftware> found;
  ForEachChild(list, "software", [&](const xmlNode& node) {
    found.push_back({TextIn(node, "name"), TextOfChild(&node, "release"), TextOfChild(&node, "type")});
  });
  return found;
}

CertificateItem Reader::Item(const xmlNode& node) {
  CertificateItem item{.name = TextIn(node, "name"),
                       .description = TextIn(node, "description"),
                       .model = TextOfChild(&node, "model"),
                       .identifications = Identifications(node)};
  if (const xmlNode* const manufacturer = ChildOf(&node, "manufacturer"))
    item.manufacturer = TextIn(*manufacturer, "name");
  return item;
}

DocumentDigest Reader::Digest(const xmlNode& node) {
  return {TextIn(node, "referral"), TextOfChild(&node, "referralID"), TextOfChild(&node, "procedure"),
          TextOfChild(&node, "value")};
}

void Reader::ReadCoreData(const xmlNode* core, Certificate& certificate) {
  if (core == nullptr) return;
  certificate.country = TextOfChild(core, "countryCodeISO3166_1");
  certificate.languages = Texts(*core, "usedLangCodeISO639_1");
  certificate.mandatory_languages = Texts(*core, "mandatoryLangCodeISO639_1");
  certificate.identifier = TextOfChild(core, "uniqueIdentifier");
  certificate.identifications = Identifications(*core);
  certificate.begin_date = TextOfChild(core, "beginPerformanceDate");
  certificate.end_date = TextOfChild(core, "endPerformanceDate");
  certificate.issue_date = TextOfChild(core, "issueDate");
  certificate.performance_location = TextOfChild(core, "performanceLocation");
}

void Reader::ReadAdministrativeData(const xmlNode* data, Certificate& certificate) {
  certificate.software = Software(ChildOf(data, "dccSoftware"));
  ReadCoreData(ChildOf(data, "coreData"), certificate);
  ForEachChild(ChildOf(data, "items"), "item", [&](const xmlNode& node) { certificate.items.push_back(Item(node)); });
  const xmlNode* const laboratory = ChildOf(data, "calibrationLaboratory");
  certificate.laboratory_code = TextOfChild(laboratory, "calibrationLaboratoryCode");
  certificate.laboratory = Contact(ChildOf(laboratory, "contact"));
  ForEachChild(ChildOf(data, "respPersons"), "respPerson", [&](const xmlNode& node) {
    const xmlNode* const person = ChildOf(&node, "person");
    certificate.persons.push_back({person == nullptr ? MultilingualText() : TextIn(*person, "name"),
                                   TextOfChild(&node, "role"), TextOfChild(&node, "mainSigner") == "true"});
  });
  certificate.customer = Contact(ChildOf(data, "customer"));
  certificate.statements = Statements(ChildOf(data, "statements"), "statement");
}

CertificateStatement Reader::Statement(const xmlNode& node) {
  const xmlNode* const declaration = ChildOf(&node, "declaration");
  CertificateStatement statement{.ref_type = AttributeOf(node, "refType"),
                                 .name = TextIn(node, "name"),
                                 .declaration = Text(declaration),
                                 .norms = Texts(node, "norm"),
                                 .references = Texts(node, "reference"),
                                 .date = TextOfChild(&node, "date")};
  if (statement.name.empty() && declaration != nullptr) statement.name = TextIn(*declaration, "name");
  if (const xmlNode* const authority = ChildOf(&node, "respAuthority"))
    statement.authority = TextIn(*authority, "name");
  const xmlNode* const list = ChildOf(&node, "conformityXMLList");
  statement.conformity_is_list = list != nullptr;
  statement.conformity = Tokens(TextOf(list != nullptr ? list : ChildOf(&node, "conformity")));
  statement.quantities = Quantities(ChildOf(&node, "data"));
  return statement;
}

std::vector<CertificateStatement> Reader::Statements(const xmlNode* list, std::string_view name) {
  std::vector<CertificateStatement> found;
  ForEachChild(list, name, [&](const xmlNode& node) { found.push_back(Statement(node)); });
  return found;
}

std::vector<CertificateQuantity> Reader::Quantities(const xmlNode* data) {
  std::vector<CertificateQuantity> found;
  ForEachChild(data, "quantity", [&](const xmlNode& node) { found.push_back(Quantity(node)); });
  return found;
}

// Versions up to 3.2 use other element names for an uncertainty than 3.3, for lists and for single values.
UncertaintyList Reader::Uncertainty(const xmlNode& list, bool single) {
  const auto child = [&](const char* of_3_3, const char* of_3_2) {
    const xmlNode* const node = ChildOf(&list, of_3_3);
    return node != nullptr ? node : ChildOf(&list, of_3_2);
  };
  const auto factor = single ? child("coverageFactor", "coverageFactor") : child("coverageFactorXMLList", "");
  const auto probability = single ? child("coverageProbability", "") : child("coverageProbabilityXMLList", "");
  const auto distribution = single ? child("distribution", "") : child("distributionXMLList", "");
  return {.expanded = Numbers(single ? child("valueExpandedMU", "uncertainty")
                                     : child("valueExpandedMUXMLList", "uncertaintyXMLList")),
          .coverage_factor = Numbers(factor),
          .coverage_probability = Numbers(probability),
          .distribution = Tokens(TextOf(distribution))};
}

std::optional<UncertaintyList> Reader::UncertaintyOf(const xmlNode& node) {
  const bool single = std::string_view(XmlName(node)) == "real";
  const xmlNode* const of_3_3 =
      ChildOf(&node, single ? "measurementUncertaintyUnivariate" : "measurementUncertaintyUnivariateXMLList");
  const xmlNode* const parent = of_3_3 != nullptr ? of_3_3 : &node;
  for (const char* name : {"expandedMUXMLList", "expandedMU", "expandedUncXMLList", "expandedUnc"}) {
    if (const xmlNode* const found = ChildOf(parent, name)) return Uncertainty(*found, single);
  }
  return std::nullopt;
}

void Reader::AddNumbers(const xmlNode& node, CertificateQuantity& quantity) {
  const bool list = std::string_view(XmlName(node)) == "realListXMLList";
  quantity.is_list = list;
  const xmlNode* const unit = ChildOf(&node, list ? "unitXMLList" : "unit");
  quantity.values.push_back({.numbers = Numbers(ChildOf(&node, list ? "valueXMLList" : "value")),
                             .unit = TextOf(unit),
                             .uncertainty = UncertaintyOf(node)});
}

CertificateQuantity Reader::Quantity(const xmlNode& node) {
  CertificateQuantity quantity{.ref_type = AttributeOf(node, "refType"), .name = TextIn(node, "name")};
  const xmlNode* const hybrid = ChildOf(&node, "hybrid");
  for (const xmlNode* const parent : {&node, hybrid}) {
    for (const char* name : {"real", "constant", "realListXMLList"}) {
      ForEachChild(parent, name, [&](const xmlNode& values) { AddNumbers(values, quantity); });
    }
  }
  quantity.text = TextIn(node, "noQuantity");
  for (const char* name : {"noQuantity", "charsXMLList"}) {
    const std::string words = TextOfChild(&node, name);
    if (quantity.text.empty() && !words.empty()) quantity.text = words;
  }
  quantity.meta_data = Statements(ChildOf(&node, "measurementMetaData"), "metaData");
  return quantity;
}

void Reader::ReadSurroundings(const xmlNode& node, CertificateMeasurement& measurement) {
  ForEachChild(ChildOf(&node, "usedMethods"), "usedMethod", [&](const xmlNode& method) {
    measurement.methods.push_back({AttributeOf(method, "refType"), TextIn(method, "name"),
                                   TextIn(method, "description"), Texts(method, "norm"), Texts(method, "reference")});
  });
  for (CertificateSoftware& software : Software(ChildOf(&node, "usedSoftware"))) {
    measurement.software.push_back(std::move(software));
  }
  ForEachChild(ChildOf(&node, "measuringEquipments"), "measuringEquipment", [&](const xmlNode& equipment) {
    measurement.equipment.push_back({.ref_type = AttributeOf(equipment, "refType"), .item = Item(equipment)});
    if (const xmlNode* const digest = ChildOf(&equipment, "certificate")) {
      measurement.equipment.back().certificate = Digest(*digest);
    }
  });
  ForEachChild(ChildOf(&node, "influenceConditions"), "influenceCondition", [&](const xmlNode& condition) {
    measurement.conditions.push_back({AttributeOf(condition, "refType"), TextIn(condition, "name"),
                                      TextIn(condition, "description"), TextOfChild(&condition, "status"),
                                      Quantities(ChildOf(&condition, "data"))});
  });
}

void Reader::AddTables(const xmlNode& parent, int depth, CertificateResult& result) {
  ForEachChild(&parent, "list", [&](const xmlNode& list) {
    if (depth > kMaxNestedTables) return Fail(list, TextId::kDccNestedTooDeep, std::to_string(kMaxNestedTables));
    const xmlNode* const times = ChildOf(&list, "dateTimeXMLList");
    CertificateTable table{.ref_type = AttributeOf(list, "refType"),
                           .name = TextIn(list, "name"),
                           .date_times = Tokens(TextOf(times != nullptr ? times : ChildOf(&list, "dateTime"))),
                           .quantities = Quantities(&list)};
    if (!table.quantities.empty()) result.tables.push_back(std::move(table));
    AddTables(list, depth + 1, result);
  });
}

CertificateResult Reader::MeasuredResult(const xmlNode& node) {
  CertificateResult result{.ref_type = AttributeOf(node, "refType"),
                           .name = TextIn(node, "name"),
                           .description = TextIn(node, "description")};
  if (const xmlNode* const data = ChildOf(&node, "data")) {
    AddTables(*data, 0, result);
    result.quantities = Quantities(data);
  }
  return result;
}

CertificateMeasurement Reader::Measurement(const xmlNode& node) {
  CertificateMeasurement measurement{.name = TextIn(node, "name"), .description = TextIn(node, "description")};
  ReadSurroundings(node, measurement);
  ForEachChild(ChildOf(&node, "results"), "result",
               [&](const xmlNode& result) { measurement.results.push_back(MeasuredResult(result)); });
  return measurement;
}

Result<Certificate> Reader::Read(const xmlNode& root) {
  if (std::string_view(XmlName(root)) != "digitalCalibrationCertificate")
    return Refused(TextId::kDccWrongRoot, {XmlName(root)});
  Certificate certificate{.schema_version = AttributeOf(root, "schemaVersion")};
  const std::string& version = certificate.schema_version;
  const bool known = version.size() >= 3 && version.starts_with("3.") && version[2] >= '0' && version[2] <= '3';
  if (!known) return Refused(TextId::kDccWrongVersion, {version.substr(0, 20)});
  ReadAdministrativeData(ChildOf(&root, "administrativeData"), certificate);
  if (const xmlNode* const results = ChildOf(&root, "measurementResults")) {
    ForEachChild(results, "measurementResult", [&](const xmlNode& node) {
      certificate.measurements.push_back(Measurement(node));
      ReadSurroundings(*results, certificate.measurements.back());  // conditions of all results
    });
  }
  ForEachChild(&root, "Signature", [&](const xmlNode&) { ++certificate.signatures; });
  if (fault_) return tl::unexpected(std::move(*fault_));
  return certificate;
}

}  // namespace

bool HasDcc() { return true; }

Result<Certificate> ReadDcc(std::string_view xml) {
  return ParseXml(xml).and_then(
      [](const XmlDocument& document) { return Reader().Read(*xmlDocGetRootElement(document.get())); });
}

}  // namespace ulix::calibration
