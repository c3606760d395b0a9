#include "calibration/reference_certificate.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "calibration/certificate_units.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

constexpr double kMaxFactor = 20;  // of coverage; beyond, a number is in the wrong place

double NumberOf(const std::string& text) { return ParseDecimal(text).value_or(0); }

// The value for point `k` of a list that has one for all or one each.
const std::string* Each(const std::vector<std::string>& list, std::size_t k) {
  if (list.empty()) return nullptr;
  return &list[list.size() == 1 ? 0 : std::min(k, list.size() - 1)];
}

Result<ReferenceCertificate> WithSortedPoints(ReferenceCertificate certificate) {
  auto& points = certificate.points;
  const auto before = [](const ReferencePoint& a, const ReferencePoint& b) { return a.indication < b.indication; };
  std::stable_sort(points.begin(), points.end(), before);
  for (std::size_t k = 1; k < points.size(); ++k) {
    if (points[k].indication == points[k - 1].indication) {
      return Refused(TextId::kReferenceIndicationTwice, {certificate.identifier, Shortened(points[k].indication)});
    }
  }
  return certificate;
}

// Reads one table of a certificate.
class TableReader {
 public:
  TableReader(const Certificate& certificate, const CertificateTable& table, const std::string& unit)
      : certificate_(certificate), table_(table), unit_(unit) {}

  // Empty where the table is another one.
  Result<std::vector<ReferencePoint>> Points() const;

 private:
  const CertificateQuantity* Find(std::string_view type) const;
  // In the plan's unit; empty where no list of the quantity is in such a unit.
  std::vector<double> Values(const CertificateQuantity& quantity) const;
  // The uncertainty of any of the quantities, that of the deviation first.
  const NumberList* Uncertain() const;

  const Certificate& certificate_;
  const CertificateTable& table_;
  const std::string& unit_;
};

const CertificateQuantity* TableReader::Find(std::string_view type) const {
  const auto found = std::find_if(table_.quantities.begin(), table_.quantities.end(),
                                  [&](const CertificateQuantity& quantity) { return quantity.Has(type); });
  return found == table_.quantities.end() ? nullptr : &*found;
}

std::vector<double> TableReader::Values(const CertificateQuantity& quantity) const {
  std::vector<double> values;
  const auto wanted = CertificateUnitOf(unit_);
  const NumberList* chosen = nullptr;
  for (const NumberList& list : quantity.values) {
    const bool convertible = FromCertificateUnit(0, list.unit, unit_).has_value();
    const bool better = chosen == nullptr || (wanted && list.unit == wanted->unit);
    if (convertible && better) chosen = &list;
  }
  for (std::size_t k = 0; chosen != nullptr && k < chosen->numbers.size(); ++k) {
    values.push_back(*FromCertificateUnit(NumberOf(chosen->numbers[k]), chosen->unit, unit_));
  }
  return values;
}

const NumberList* TableReader::Uncertain() const {
  for (const char* type : {"basic_measurementError", "basic_referenceValue", "basic_measuredValue"}) {
    const CertificateQuantity* const quantity = Find(type);
    if (quantity == nullptr) continue;
    for (const NumberList& list : quantity->values) {
      const bool usable =
          list.uncertainty && !list.uncertainty->expanded.empty() && !list.uncertainty->coverage_factor.empty();
      if (usable && DifferenceFromCertificateUnit(0, list.unit, unit_)) return &list;
    }
  }
  return nullptr;
}

Result<std::vector<ReferencePoint>> TableReader::Points() const {
  const CertificateQuantity* const reference = Find("basic_referenceValue");
  const CertificateQuantity* const measured = Find("basic_measuredValue");
  if (reference == nullptr || measured == nullptr) return std::vector<ReferencePoint>();
  const std::vector<double> references = Values(*reference);
  const std::vector<double> indications = Values(*measured);
  if (references.empty() || indications.empty()) return std::vector<ReferencePoint>();
  if (references.size() != indications.size()) return Refused(TextId::kReferenceUnequal, {certificate_.identifier});
  const NumberList* const uncertain = Uncertain();
  if (uncertain == nullptr) return Refused(TextId::kReferenceNoUncertainty, {certificate_.identifier});
  std::vector<ReferencePoint> points;
  for (std::size_t k = 0; k < references.size(); ++k) {
    const UncertaintyList& list = *uncertain->uncertainty;
    ReferencePoint point{.indication = indications[k], .correction = references[k] - indications[k]};
    point.expanded = *DifferenceFromCertificateUnit(NumberOf(*Each(list.expanded, k)), uncertain->unit, unit_);
    point.coverage_factor = NumberOf(*Each(list.coverage_factor, k));
    const bool sound = point.expanded > 0 && point.coverage_factor >= 1 && point.coverage_factor <= kMaxFactor;
    if (!sound) return Refused(TextId::kReferenceNoUncertainty, {certificate_.identifier});
    points.push_back(point);
  }
  return points;
}

bool IsAfterAdjustment(const CertificateMeasurement& measurement) {
  return std::any_of(measurement.conditions.begin(), measurement.conditions.end(), [](const CertificateCondition& c) {
    return c.status == "afterAdjustment" || c.status == "afterRepair";
  });
}

// The measurement that holds for the reference as it is used: as left where there is such a one.
std::vector<const CertificateMeasurement*> InOrderOfUse(const Certificate& certificate) {
  std::vector<const CertificateMeasurement*> ordered;
  for (const bool after : {true, false}) {
    for (const CertificateMeasurement& measurement : certificate.measurements) {
      if (IsAfterAdjustment(measurement) == after) ordered.push_back(&measurement);
    }
  }
  return ordered;
}

Result<std::vector<ReferencePoint>> PointsOf(const Certificate& certificate, const std::string& unit) {
  for (const CertificateMeasurement* const measurement : InOrderOfUse(certificate)) {
    for (const CertificateResult& result : measurement->results) {
      for (const CertificateTable& table : result.tables) {
        auto points = TableReader(certificate, table, unit).Points();
        if (!points || !points->empty()) return points;
      }
    }
  }
  return Refused(TextId::kReferenceNoTable, {certificate.identifier, unit});
}

void TakeStatements(const Certificate& certificate, const std::string& unit, ReferenceCertificate& reference) {
  for (const CertificateStatement& statement : certificate.statements) {
    if (statement.Has("basic_recalibration")) reference.due_date = statement.date;
    if (!statement.Has("basic_validityRange")) continue;
    for (const CertificateQuantity& quantity : statement.quantities) {
      if (quantity.values.empty() || quantity.values.front().numbers.empty()) continue;
      const NumberList& list = quantity.values.front();
      const auto value = FromCertificateUnit(NumberOf(list.numbers.front()), list.unit, unit);
      if (quantity.Has("basic_validityRangeMin")) reference.min_valid = value;
      if (quantity.Has("basic_validityRangeMax")) reference.max_valid = value;
    }
  }
}

// Empty fields count: a value that is left out must not move the others.
std::vector<std::string> FieldsOf(std::string_view line) {
  std::vector<std::string> fields;
  while (true) {
    const std::size_t end = std::min(line.find_first_of(",;\t"), line.size());
    fields.emplace_back(Trimmed(line.substr(0, end)));
    if (end == line.size()) return fields;
    line.remove_prefix(end + 1);
  }
}

// A table in text, taken line by line.
class TextTable {
 public:
  Result<ReferenceCertificate> Read(std::string_view text);

 private:
  using Fields = std::vector<std::string>;

  std::optional<Problem> Take(const Fields& fields);
  std::optional<Problem> TakeKey(const Fields& fields);
  std::optional<Problem> TakePoint(const Fields& fields);
  bool IsHeading(const Fields& fields) const;
  Problem At(TextId text, const std::string& value) const;

  ReferenceCertificate certificate_;
  double coverage_factor_ = 2;
  std::map<std::string, std::size_t> columns_;
  int line_ = 0;
};

Problem TextTable::At(TextId text, const std::string& value) const {
  const Problem reason = Bilingual(text, {value});
  const std::string line = std::to_string(line_);
  return Bilingual(TextId::kReferenceLine, {line, reason});
}

bool TextTable::IsHeading(const Fields& fields) const {
  const auto has = [&](const char* name) { return std::find(fields.begin(), fields.end(), name) != fields.end(); };
  return has("indication") && has("U") && (has("reference") || has("correction"));
}

bool IsDate(const std::string& text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  return std::count_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }) == 8;
}

std::optional<Problem> TextTable::TakeKey(const Fields& fields) {
  const std::string& key = fields.front();
  const std::string value = fields.size() > 1 ? fields[1] : "";
  const std::map<std::string, std::string*> texts = {{"certificate", &certificate_.identifier},
                                                     {"laboratory", &certificate_.laboratory},
                                                     {"issued", &certificate_.issue_date},
                                                     {"due", &certificate_.due_date}};
  if (const auto text = texts.find(key); text != texts.end()) {
    if ((key == "issued" || key == "due") && !IsDate(value)) return At(TextId::kReferenceWrongDate, value);
    *text->second = value;
    return std::nullopt;
  }
  if (key == "serial") return certificate_.serial_numbers.push_back(value), std::nullopt;
  if (key != "k") return At(TextId::kReferenceUnknownTableKey, key);
  coverage_factor_ = NumberOf(value);
  const bool sound = coverage_factor_ >= 1 && coverage_factor_ <= kMaxFactor;
  return sound ? std::nullopt : std::optional(At(TextId::kReferenceWrongNumber, value));
}

std::optional<Problem> TextTable::TakePoint(const Fields& fields) {
  std::map<std::string, double> values{{"k", coverage_factor_}};
  for (const auto& [name, column] : columns_) {
    const std::string text = column < fields.size() ? fields[column] : "";
    const auto number = ParseDecimal(text);
    if (!number) return At(TextId::kReferenceWrongNumber, text);
    values[name] = *number;
  }
  ReferencePoint point{.indication = values["indication"], .expanded = values["U"], .coverage_factor = values["k"]};
  point.correction = values.count("correction") != 0 ? values["correction"] : values["reference"] - point.indication;
  if (!(point.expanded > 0)) return At(TextId::kReferenceWrongNumber, fields[columns_["U"]]);
  if (!(point.coverage_factor >= 1 && point.coverage_factor <= kMaxFactor)) {
    return At(TextId::kReferenceWrongNumber, Shortened(point.coverage_factor));
  }
  certificate_.points.push_back(point);
  return std::nullopt;
}

std::optional<Problem> TextTable::Take(const Fields& fields) {
  if (!columns_.empty()) return TakePoint(fields);
  if (!IsHeading(fields)) return TakeKey(fields);
  for (std::size_t k = 0; k < fields.size(); ++k) {
    const std::string& name = fields[k];
    const bool known =
        name == "indication" || name == "U" || name == "k" || name == "reference" || name == "correction";
    if (known) columns_[name] = k;
  }
  return std::nullopt;
}

Result<ReferenceCertificate> TextTable::Read(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = Trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    ++line_;
    if (line.empty() || line.front() == '#') continue;
    if (const auto fault = Take(FieldsOf(line))) return tl::unexpected(*fault);
  }
  if (certificate_.points.empty()) return Refused(TextId::kReferenceNoPoints);
  return WithSortedPoints(std::move(certificate_));
}

}  // namespace

Result<Correction> ReferenceCertificate::At(double indication) const {
  const double low = points.front().indication;
  const double high = points.back().indication;
  constexpr double kMargin = 0.01;
  const double margin = kMargin * (high - low);
  const double reach_low = std::max(low, min_valid.value_or(low)) - margin;
  const double reach_high = std::min(high, max_valid.value_or(high)) + margin;
  if (!(indication >= reach_low && indication <= reach_high)) {
    return Refused(TextId::kReferenceOutside,
                   {identifier, Shortened(std::max(low, min_valid.value_or(low))),
                    Shortened(std::min(high, max_valid.value_or(high))), Shortened(indication)});
  }
  const auto above =
      std::find_if(points.begin(), points.end(), [&](const ReferencePoint& p) { return p.indication >= indication; });
  if (above == points.begin()) return Correction{above->correction, above->expanded, above->coverage_factor};
  if (above == points.end())
    return Correction{points.back().correction, points.back().expanded, points.back().coverage_factor};
  const ReferencePoint& below = *(above - 1);
  const double share = (indication - below.indication) / (above->indication - below.indication);
  const bool worse_below = below.expanded / below.coverage_factor > above->expanded / above->coverage_factor;
  const ReferencePoint& worse = worse_below ? below : *above;
  return Correction{below.correction + share * (above->correction - below.correction), worse.expanded,
                    worse.coverage_factor};
}

bool ReferenceCertificate::IsFor(const std::string& serial_number) const {
  return std::find(serial_numbers.begin(), serial_numbers.end(), serial_number) != serial_numbers.end();
}

Result<ReferenceCertificate> ReferenceFrom(const Certificate& certificate, const std::string& unit) {
  return PointsOf(certificate, unit).and_then([&](std::vector<ReferencePoint> points) {
    ReferenceCertificate reference{
        .identifier = certificate.identifier,
        .laboratory = certificate.laboratory.name.In("en"),
        .issue_date = certificate.issue_date.empty() ? certificate.end_date : certificate.issue_date,
        .points = std::move(points)};
    for (const CertificateItem& item : certificate.items) {
      for (const CertificateIdentification& one : item.identifications) reference.serial_numbers.push_back(one.value);
    }
    TakeStatements(certificate, unit, reference);
    return WithSortedPoints(std::move(reference));
  });
}

Result<ReferenceCertificate> ReferenceFromTable(std::string_view text) { return TextTable().Read(text); }

}  // namespace ulix::calibration
