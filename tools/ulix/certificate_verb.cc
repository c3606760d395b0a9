// certificate: checks or shows a digital calibration certificate.
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "base/sha256.h"
#include "calibration/certificate_page.h"
#include "calibration/certificate_units.h"
#include "calibration/dcc/dcc.h"
#include "calibration/files/reference_file.h"
#include "calibration/files/rules_check.h"
#include "calibration/files/signature.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

using calibration::Certificate;
using calibration::Problem;

struct CertificateOptions {
  ConnectionOptions connection;  // Only its language is used.
  std::string action;
  std::string file;
  std::string schema;
  std::string trusted;
  std::string page;
};

template <typename T>
T OrFailure(calibration::Result<T> result) {
  if (!result) throw OperationFailed(E_INVALIDARG, result.error().In(ShownLanguage()));
  if constexpr (!std::is_void_v<T>) return std::move(*result);
}

// Prints findings as they come and counts them.
class Findings {
 public:
  void Error(const std::string& text) { Print(TextId::kCheckError, text); }
  void Warning(const std::string& text) { Print(TextId::kCheckWarning, text); }
  int count() const { return count_; }

 private:
  void Print(TextId kind, const std::string& text) {
    PrintLine(Shown(kind, {text}));
    ++count_;
  }
  int count_ = 0;
};

void CheckSchema(const CertificateOptions& options, const std::string& xml, Findings& findings) {
  const auto schema = OrFailure(calibration::CheckDccSchema(xml, options.schema));
  for (const calibration::BilingualText& finding : schema) findings.Error(finding.In(ShownLanguage()));
  if (schema.empty()) PrintLine(Shown(TextId::kCheckSchemaHolds));
}

void CheckRules(const CertificateOptions& options, Findings& findings) {
  const auto rules = OrFailure(calibration::CheckDccRules(options.file, options.schema));
  if (!rules) return PrintLine(Shown(TextId::kCheckRulesSkipped));
  for (const calibration::RuleFinding& finding : *rules) {
    finding.error ? findings.Error(finding.text) : findings.Warning(finding.text);
  }
  if (rules->empty()) PrintLine(Shown(TextId::kCheckRulesHold));
}

void CheckSignature(const CertificateOptions& options, const Certificate& certificate, Findings& findings) {
  if (options.trusted.empty())
    return PrintLine(Shown(certificate.signatures == 0 ? TextId::kCheckUnsigned : TextId::kCheckSignatureNotVerified));
  const auto verified = calibration::VerifyCertificate(options.file, options.trusted);
  verified ? PrintLine(Shown(TextId::kCheckSignatureHolds)) : findings.Error(verified.error().In(ShownLanguage()));
}

int Check(const CertificateOptions& options) {
  const std::string xml = OrFailure(calibration::ReadDocument(options.file));
  const Certificate certificate = OrFailure(calibration::ReadDcc(xml));
  PrintLine(Shown(TextId::kCheckWellFormed,
                  {certificate.identifier, certificate.laboratory.name.In("en"), certificate.schema_version}));
  Findings findings;
  for (const Problem& problem : calibration::CheckContent(certificate)) findings.Error(problem.In(ShownLanguage()));
  if (!options.schema.empty()) {
    CheckSchema(options, xml, findings);
    CheckRules(options, findings);
  }
  CheckSignature(options, certificate, findings);
  if (findings.count() > 0)
    throw OperationFailed(E_INVALIDARG, Shown(TextId::kCheckWithFindings, {std::to_string(findings.count())}));
  return 0;
}

// A table of results for a terminal or a pipe.
void PrintTable(const calibration::CertificateTable& certificate_table, const std::string& language) {
  std::vector<std::string> heads;
  std::vector<const std::vector<std::string>*> columns;
  std::size_t rows = 0;
  // Words stay; numbers get the decimal separator of the language.
  const auto shown = [](const std::string& text) {
    return ParseDecimal(text) ? InLanguage(text, ShownLanguage()) : text;
  };
  const auto add = [&](const std::string& head, const std::vector<std::string>& list) {
    heads.push_back(head);
    columns.push_back(&list);
    rows = std::max(rows, list.size());
  };
  for (const calibration::CertificateQuantity& quantity : certificate_table.quantities) {
    if (quantity.values.empty()) continue;
    const calibration::NumberList& list = quantity.values.back();
    add(quantity.name.In(language) + " (" + calibration::ReadableUnit(list.unit) + ")", list.numbers);
    if (list.uncertainty) add("U", list.uncertainty->expanded);
    if (list.uncertainty) add("k", list.uncertainty->coverage_factor);
    for (const calibration::CertificateStatement& statement : quantity.meta_data) {
      if (!statement.conformity.empty()) add(statement.name.In(language), statement.conformity);
    }
  }
  Table table(heads);
  for (std::size_t r = 0; r < rows; ++r) {
    std::vector<std::string> row;
    row.reserve(columns.size());
    for (const auto* column : columns)
      row.push_back(shown(column->size() == 1 ? column->front() : r < column->size() ? (*column)[r] : ""));
    table.Add(row);
  }
  table.Print();
}

void PrintFact(const std::string& text) {
  if (!text.empty()) PrintLine(text);
}

int ShowAsText(const Certificate& certificate, const std::string& language) {
  PrintLine(Shown(TextId::kCheckWellFormed,
                  {certificate.identifier, certificate.laboratory.name.In(language), certificate.schema_version}));
  PrintFact(certificate.begin_date + " - " + certificate.end_date);
  for (const calibration::CertificateItem& item : certificate.items) {
    std::string line = item.name.In(language);
    for (const auto& identification : item.identifications) line += ", " + identification.value;
    PrintFact(line);
  }
  for (const calibration::CertificateStatement& statement : certificate.statements) {
    PrintFact(statement.declaration.In(language) + (statement.date.empty() ? "" : " " + statement.date));
  }
  for (const calibration::CertificateMeasurement& measurement : certificate.measurements) {
    PrintFact("");
    PrintFact(measurement.name.In(language));
    for (const calibration::CertificateResult& result : measurement.results) {
      for (const calibration::CertificateTable& table : result.tables) PrintTable(table, language);
    }
  }
  return 0;
}

int Show(const CertificateOptions& options) {
  const std::string xml = OrFailure(calibration::ReadDocument(options.file));
  const Certificate certificate = OrFailure(calibration::ReadDcc(xml));
  const Language language = ShownLanguage();
  if (options.page.empty()) return ShowAsText(certificate, language == Language::kFrench ? "fr" : "en");
  const std::string signature =
      Shown(certificate.signatures == 0 ? TextId::kCheckUnsigned : TextId::kCheckSignatureNotVerified);
  WriteWholeFile(options.page, calibration::CertificatePage(certificate, language, Sha256Hex(xml), signature));
  return 0;
}

int RunCertificate(const CertificateOptions& options) {
  if (options.action == "check") {
    if (!options.page.empty()) throw UsageError("PAGE", Shown(TextId::kEffectWith, {"show"}));
    return Check(options);
  }
  if (!options.schema.empty()) throw UsageError("--schema", Shown(TextId::kEffectWith, {"check"}));
  if (!options.trusted.empty()) throw UsageError("--trusted", Shown(TextId::kEffectWith, {"check"}));
  return Show(options);
}

}  // namespace

Action DefineCertificate(CLI::App& verb) {
  const auto options = std::make_shared<CertificateOptions>();
  verb.add_option("ACTION", options->action, Shown(TextId::kHelpCertificateAction))
      ->required()
      ->type_name("")
      ->check(OneOf({"check", "show"}));
  verb.add_option("FILE", options->file, Shown(TextId::kHelpCertificateFile))->required()->type_name("");
  verb.add_option("PAGE", options->page, Shown(TextId::kHelpCertificatePage))->type_name("");
  verb.add_option("--schema", options->schema, Shown(TextId::kHelpSchema))->type_name("DIR");
  verb.add_option("--trusted", options->trusted, Shown(TextId::kHelpTrusted))->type_name("CERT.pem");
  AddLanguage(verb, options->connection);
  verb.footer(Shown(TextId::kHelpCertificateNotes));
  return [=] { return RunCertificate(*options); };
}

}  // namespace ulix::cli
