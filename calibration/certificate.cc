#include "calibration/certificate.h"

#include <algorithm>

#include "base/numbers.h"
#include "calibration/problem.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

class ContentCheck {
 public:
  explicit ContentCheck(const Certificate& certificate) : certificate_(certificate) {}

  std::vector<Problem> Run() {
    CheckMandatory();
    CheckDates();
    for (const CertificateMeasurement& measurement : certificate_.measurements) {
      for (const CertificateResult& result : measurement.results) {
        for (const CertificateTable& table : result.tables) CheckTable(table, result.name.In("en"));
      }
    }
    return std::move(found_);
  }

 private:
  void Find(TextId text, std::initializer_list<BilingualText> values) { found_.push_back(Bilingual(text, values)); }
  void CheckMandatory();
  void CheckDates();
  void CheckTable(const CertificateTable& table, const std::string& name);
  void CheckUncertainty(const NumberList& list, const std::string& name);

  const Certificate& certificate_;
  std::vector<Problem> found_;
};

void ContentCheck::CheckMandatory() {
  const Certificate& c = certificate_;
  const std::pair<bool, const char*> entries[] = {
      {c.software.empty(), "dccSoftware"},
      {c.country.empty(), "countryCodeISO3166_1"},
      {c.languages.empty(), "usedLangCodeISO639_1"},
      {c.mandatory_languages.empty(), "mandatoryLangCodeISO639_1"},
      {c.identifier.empty(), "uniqueIdentifier"},
      {c.begin_date.empty(), "beginPerformanceDate"},
      {c.end_date.empty(), "endPerformanceDate"},
      {c.performance_location.empty(), "performanceLocation"},
      {c.items.empty(), "items"},
      {c.laboratory.name.empty(), "calibrationLaboratory"},
      {c.persons.empty(), "respPersons"},
      {c.customer.name.empty(), "customer"},
      {c.measurements.empty(), "measurementResults"},
  };
  for (const auto& [missing, name] : entries) {
    if (missing) Find(TextId::kCertificateMissing, {name});
  }
  for (const CertificateItem& item : c.items) {
    if (item.name.empty()) Find(TextId::kCertificateMissing, {"item/name"});
    if (item.identifications.empty()) Find(TextId::kCertificateMissing, {"item/identifications"});
  }
  for (const CertificateMeasurement& measurement : c.measurements) {
    if (measurement.results.empty()) Find(TextId::kCertificateMissing, {"measurementResult/results"});
  }
}

void ContentCheck::CheckDates() {
  const Certificate& c = certificate_;
  if (!c.end_date.empty() && c.end_date < c.begin_date) Find(TextId::kCertificateOrder, {c.end_date, c.begin_date});
  if (!c.issue_date.empty() && c.issue_date < c.end_date)
    Find(TextId::kCertificateIssuedEarly, {c.issue_date, c.end_date});
}

void ContentCheck::CheckUncertainty(const NumberList& list, const std::string& name) {
  const UncertaintyList& uncertainty = *list.uncertainty;
  const std::size_t count = uncertainty.expanded.size();
  if (count != 1 && count != list.numbers.size()) {
    Find(TextId::kCertificateUncertaintyLength, {name, std::to_string(count), std::to_string(list.numbers.size())});
  }
  for (const std::string& factor : uncertainty.coverage_factor) {
    if (ParseDecimal(factor).value_or(0) < 1) Find(TextId::kCertificateFactor, {name, factor});
  }
  for (const std::string& expanded : uncertainty.expanded) {
    if (ParseDecimal(expanded).value_or(0) < 0) Find(TextId::kCertificateNegative, {name, expanded});
  }
}

void ContentCheck::CheckTable(const CertificateTable& table, const std::string& name) {
  std::size_t length = 0;
  for (const CertificateQuantity& quantity : table.quantities) {
    for (const NumberList& list : quantity.values) {
      if (quantity.is_list && length != 0 && list.numbers.size() != length) {
        Find(TextId::kCertificateLengths, {name, std::to_string(list.numbers.size()), std::to_string(length)});
      }
      if (quantity.is_list && length == 0) length = list.numbers.size();
      if (list.uncertainty) CheckUncertainty(list, name);
    }
  }
}

}  // namespace

MultilingualText::MultilingualText(std::string text) {
  if (!text.empty()) contents.push_back({"", std::move(text)});
}

MultilingualText::MultilingualText(const BilingualText& text) : MultilingualText(text.en, text.fr) {}
MultilingualText::MultilingualText(TextId id) : MultilingualText(Bilingual(id)) {}

MultilingualText::MultilingualText(std::string en, std::string fr)
    : contents{{"en", std::move(en)}, {"fr", std::move(fr)}} {}

std::string MultilingualText::In(std::string_view language) const {
  const auto has = [this](std::string_view wanted) {
    return std::any_of(contents.begin(), contents.end(), [&](const Content& c) { return c.language == wanted; });
  };
  if (contents.empty()) return {};
  const std::string chosen(has(language) ? language : has("en") ? "en" : std::string_view(contents.front().language));
  std::string joined;
  for (const Content& content : contents) {
    if (content.language == chosen) joined += (joined.empty() ? "" : " ") + content.text;
  }
  return joined;
}

bool HasRefType(std::string_view ref_types, std::string_view name) {
  const auto names = SplitWords(ref_types, kBlanks);
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool CertificateQuantity::Has(std::string_view type) const { return HasRefType(ref_type, type); }
bool CertificateStatement::Has(std::string_view type) const { return HasRefType(ref_type, type); }

std::vector<Problem> CheckContent(const Certificate& certificate) { return ContentCheck(certificate).Run(); }

}  // namespace ulix::calibration
