#include "calibration/reference_certificate.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>

#include "base/numbers.h"
#include "calibration/certificate_units.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

constexpr double kMaxFactor = 20;  // of a coverage factor; a larger number is in the wrong column

constexpr double kMaxValue = 1e9;  // of a reference value, in any unit

// The reader has checked the numbers of certificates. A text that is not a number gives NaN, which makes its point
// invalid.
double NumberOf(const std::string& text) {
  return ParseDecimal(text).value_or(std::numeric_limits<double>::quiet_NaN());
}

// Whether a list has one value for all points, or one for each point.
bool Fits(const std::vector<std::string>& list, std::size_t points) {
  return list.size() == 1 || list.size() == points;
}

const std::string& Each(const std::vector<std::string>& list, std::size_t k) { return list[list.size() == 1 ? 0 : k]; }

// Half of the last digit of a written number: 0.0005 for "273.162", 5 for "1.2e2".
double HalfLastDigit(const std::string& text) {
  const std::size_t exponent = std::min(text.find_first_of("eE"), text.size());
  const std::size_t point = text.find('.');
  const double decimals = point < exponent ? static_cast<double>(exponent - point - 1) : 0;
  const double power = exponent < text.size() ? NumberOf(text.substr(exponent + 1)) : 0;
  return 0.5 * std::pow(10, power - decimals);
}

bool IsSound(const ReferencePoint& point) {
  const bool bounded = std::abs(point.indication) <= kMaxValue && std::abs(point.correction) <= kMaxValue;
  return bounded && point.expanded > 0 && point.expanded <= kMaxValue && point.coverage_factor >= 1 &&
         point.coverage_factor <= kMaxFactor;
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

  // The points of the table; empty if it is not a table of a calibration.
  Result<std::vector<ReferencePoint>> Points() const;

 private:
  const CertificateQuantity* Find(std::string_view type) const;
  // The list in the plan's unit, or else one that can be converted to it. Null if there is none.
  const NumberList* Chosen(const CertificateQuantity& quantity) const;
  // The problem if lists contradict each other: values that are stated twice must agree within half of their last
  // digits, or within a tenth of U.
  std::optional<Problem> Contradiction(const std::vector<ReferencePoint>& points) const;
  std::optional<Problem> Compared(const CertificateQuantity& quantity, const std::vector<ReferencePoint>& points) const;
  // The uncertainty of one of the quantities; that of the deviation is preferred.
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

const NumberList* TableReader::Chosen(const CertificateQuantity& quantity) const {
  const auto wanted = CertificateUnitOf(unit_);
  const NumberList* chosen = nullptr;
  for (const NumberList& list : quantity.values) {
    const bool convertible = FromCertificateUnit(0, list.unit, unit_).has_value();
    const bool better = chosen == nullptr || (wanted && list.unit == wanted->unit);
    if (convertible && better) chosen = &list;
  }
  return chosen;
}

// The last digits of the other numbers of the point are taken into account, because each number was rounded separately.
std::optional<Problem> TableReader::Compared(const CertificateQuantity& quantity,
                                             const std::vector<ReferencePoint>& points) const {
  const bool is_error = quantity.Has("basic_measurementError");
  const bool is_reference = quantity.Has("basic_referenceValue");
  const NumberList& references = *Chosen(*Find("basic_referenceValue"));
  const NumberList& indications = *Chosen(*Find("basic_measuredValue"));
  const auto half = [&](const NumberList& list, std::size_t k) {
    return DifferenceFromCertificateUnit(HalfLastDigit(list.numbers[k]), list.unit, unit_).value_or(0);
  };
  for (const NumberList& list : quantity.values) {
    const auto convert = is_error ? DifferenceFromCertificateUnit : FromCertificateUnit;
    if (!convert(0, list.unit, unit_)) continue;
    if (list.numbers.size() != points.size()) return Bilingual(TextId::kReferenceUnequal, {certificate_.identifier});
    for (std::size_t k = 0; k < points.size(); ++k) {
      const ReferencePoint& point = points[k];
      const double reference = point.indication + point.correction;
      const double expected = is_error ? -point.correction : is_reference ? reference : point.indication;
      const double found = *convert(NumberOf(list.numbers[k]), list.unit, unit_);
      const double digits = half(list, k) + half(references, k) + half(indications, k);
      if (std::abs(found - expected) <= std::max(digits, point.expanded / 10)) continue;
      return Bilingual(TextId::kReferenceContradiction,
                       {certificate_.identifier, Shortened(point.indication), Shortened(expected), Shortened(found)});
    }
  }
  return std::nullopt;
}

std::optional<Problem> TableReader::Contradiction(const std::vector<ReferencePoint>& points) const {
  for (const char* type : {"basic_referenceValue", "basic_measuredValue", "basic_measurementError"}) {
    const CertificateQuantity* const quantity = Find(type);
    auto found = quantity == nullptr ? std::nullopt : Compared(*quantity, points);
    if (found) return found;
  }
  return std::nullopt;
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
  const NumberList* const references = Chosen(*reference);
  const NumberList* const indications = Chosen(*measured);
  if (references == nullptr || indications == nullptr) return std::vector<ReferencePoint>();
  const std::size_t count = references->numbers.size();
  const NumberList* const uncertain = Uncertain();
  if (uncertain == nullptr) return Refused(TextId::kReferenceNoUncertainty, {certificate_.identifier});
  const UncertaintyList& list = *uncertain->uncertainty;
  const bool fitting = count > 0 && indications->numbers.size() == count && Fits(list.expanded, count) &&
                       Fits(list.coverage_factor, count);
  if (!fitting) return Refused(TextId::kReferenceUnequal, {certificate_.identifier});
  std::vector<ReferencePoint> points;
  for (std::size_t k = 0; k < count; ++k) {
    ReferencePoint point{.indication =
                             *FromCertificateUnit(NumberOf(indications->numbers[k]), indications->unit, unit_)};
    point.correction =
        *FromCertificateUnit(NumberOf(references->numbers[k]), references->unit, unit_) - point.indication;
    point.expanded = *DifferenceFromCertificateUnit(NumberOf(Each(list.expanded, k)), uncertain->unit, unit_);
    point.coverage_factor = NumberOf(Each(list.coverage_factor, k));
    if (!(point.expanded > 0)) return Refused(TextId::kReferenceNoUncertainty, {certificate_.identifier});
    if (!IsSound(point)) return Refused(TextId::kReferenceNotFinite, {certificate_.identifier});
    points.push_back(point);
  }
  if (auto contradiction = Contradiction(points)) return tl::unexpected(std::move(*contradiction));
  return points;
}

bool IsAfterAdjustment(const CertificateMeasurement& measurement) {
  return std::any_of(measurement.conditions.begin(), measurement.conditions.end(), [](const CertificateCondition& c) {
    return c.status == "afterAdjustment" || c.status == "afterRepair";
  });
}

// The measurements in the order of preference: the one after adjustment applies to the reference in use, if there is
// one.
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

// Whether a text is a date of the calendar, such as 2027-05-31.
bool IsDate(const std::string& text) {
  const auto digits = std::count_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (text.size() != 10 || text[4] != '-' || text[7] != '-' || digits != 8) return false;
  const auto number = [&](std::size_t at, std::size_t length) { return std::stoi(text.substr(at, length)); };
  return std::chrono::year_month_day(std::chrono::year(number(0, 4)),
                                     std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                     std::chrono::day(static_cast<unsigned>(number(8, 2))))
      .ok();
}

std::optional<Problem> TakeStatements(const Certificate& certificate, const std::string& unit,
                                      ReferenceCertificate& reference) {
  for (const CertificateStatement& statement : certificate.statements) {
    if (statement.Has("basic_recalibration") && !statement.date.empty()) {
      if (!IsDate(statement.date.substr(0, 10))) return Bilingual(TextId::kReferenceWrongDate, {statement.date});
      reference.due_date = statement.date;
    }
    if (!statement.Has("basic_validityRange")) continue;
    for (const CertificateQuantity& quantity : statement.quantities) {
      if (quantity.values.empty() || quantity.values.front().numbers.empty()) continue;
      const NumberList& list = quantity.values.front();
      const auto value = FromCertificateUnit(NumberOf(list.numbers.front()), list.unit, unit);
      if (quantity.Has("basic_validityRangeMin")) reference.min_valid = value;
      if (quantity.Has("basic_validityRangeMax")) reference.max_valid = value;
    }
  }
  return std::nullopt;
}

// The fields of a line. Empty fields count, so that a missing value does not move the others.
std::vector<std::string> FieldsOf(std::string_view line) {
  std::vector<std::string> fields;
  while (true) {
    const std::size_t end = std::min(line.find_first_of(",;\t"), line.size());
    fields.emplace_back(Trimmed(line.substr(0, end)));
    if (end == line.size()) return fields;
    line.remove_prefix(end + 1);
  }
}

// Parses a table of values line by line.
class TextTable {
 public:
  Result<ReferenceCertificate> Read(std::string_view text);

 private:
  using Fields = std::vector<std::string>;

  std::optional<Problem> Take(const Fields& fields);
  std::optional<Problem> TakeKey(const Fields& fields);
  std::optional<Problem> TakePoint(const Fields& fields);
  static bool IsHeading(const Fields& fields);
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

bool TextTable::IsHeading(const Fields& fields) {
  const auto has = [&](const char* name) { return std::find(fields.begin(), fields.end(), name) != fields.end(); };
  return has("indication") && has("U") && (has("reference") || has("correction"));
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
    if (!number || std::abs(*number) > kMaxValue) return At(TextId::kReferenceWrongNumber, text);
    values[name] = *number;
  }
  ReferencePoint point{.indication = values["indication"], .expanded = values["U"], .coverage_factor = values["k"]};
  point.correction = values.contains("correction") ? values["correction"] : values["reference"] - point.indication;
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
  // The margin allows for the noise of a reading at the last point. A range that the certificate states has no margin.
  const double reach_low = std::max(low - margin, min_valid.value_or(low - margin));
  const double reach_high = std::min(high + margin, max_valid.value_or(high + margin));
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
    if (auto fault = TakeStatements(certificate, unit, reference)) {
      return Result<ReferenceCertificate>(tl::unexpected(std::move(*fault)));
    }
    return WithSortedPoints(std::move(reference));
  });
}

Result<ReferenceCertificate> ReferenceFromTable(std::string_view text) { return TextTable().Read(text); }

}  // namespace ulix::calibration
