#include "calibration/certificate_builder.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "calibration/certificate_units.h"
#include "calibration/thermometry.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

// ISO 3166-1, alpha-2.
constexpr std::string_view kCountries =
    "AD AE AF AG AI AL AM AO AQ AR AS AT AU AW AX AZ BA BB BD BE BF BG BH BI BJ BL BM BN BO BQ BR BS BT BV BW BY BZ CA "
    "CC CD CF CG CH CI CK CL CM CN CO CR CU CV CW CX CY CZ DE DJ DK DM DO DZ EC EE EG EH ER ES ET FI FJ FK FM FO FR GA "
    "GB GD GE GF GG GH GI GL GM GN GP GQ GR GS GT GU GW GY HK HM HN HR HT HU ID IE IL IM IN IO IQ IR IS IT JE JM JO JP "
    "KE KG KH KI KM KN KP KR KW KY KZ LA LB LC LI LK LR LS LT LU LV LY MA MC MD ME MF MG MH MK ML MM MN MO MP MQ MR MS "
    "MT MU MV MW MX MY MZ NA NC NE NF NG NI NL NO NP NR NU NZ OM PA PE PF PG PH PK PL PM PN PR PS PT PW PY QA RE RO RS "
    "RU RW SA SB SC SD SE SG SH SI SJ SK SL SM SN SO SR SS ST SV SX SY SZ TC TD TF TG TH TJ TK TL TM TN TO TR TT TV TW "
    "TZ UA UG UM US UY UZ VA VC VE VG VI VN VU WF WS YE YT ZA ZM ZW";

bool IsCountry(const std::string& code) {
  return code.size() == 2 && code.find(' ') == code.npos && kCountries.find(code) != kCountries.npos;
}

// The serial number of the unit, or else that of the instrument to which its channel belongs.
std::string SerialNumberOf(const Plan& plan, const UnitPlan& unit) {
  if (!unit.serial_number.empty()) return unit.serial_number;
  const PlannedInstrument* const instrument = plan.FindInstrument(unit.channel.instrument);
  return instrument == nullptr ? "" : instrument->serial_number;
}

CertificateContact ContactOf(const AddressPlan& address) {
  return {.name = address.name,
          .email = address.email,
          .phone = address.phone,
          .street = address.street,
          .street_number = address.street_number,
          .post_code = address.post_code,
          .city = address.city,
          .country = IsCountry(address.country) ? address.country : ""};
}

// "v1.0.0".
std::string ReleaseOf(const std::string& version) {
  const auto parts = SplitWords(version, ".");
  std::string release = "v";
  for (std::size_t k = 0; k < 3; ++k) release += (k > 0 ? "." : "") + (k < parts.size() ? std::string(parts[k]) : "0");
  return release;
}

CertificateSoftware Software(const std::string& version) {
  return {std::string("ulix"), ReleaseOf(version), "application"};
}

std::string DayOf(Date date) { return IsoTime(date).substr(0, 10); }

class Builder {
 public:
  Builder(const RunResult& run, const Evaluation& evaluation, std::size_t unit, CertificateUnit certificate_unit)
      : run_(run),
        plan_(run.plan),
        evaluation_(evaluation),
        index_(unit),
        unit_plan_(run.plan.units[unit]),
        unit_(std::move(certificate_unit)) {}

  Certificate Build(const std::string& issue_date) const;

 private:
  bool IsTemperature() const { return unit_.unit == "\\degreecelsius"; }
  CertificateItem Item() const;
  std::vector<CertificateStatement> Statements() const;
  CertificateStatement DecisionStatement() const;
  CertificateMeasurement Measurement(const EvaluatedPhase& phase, const PhaseResult& result) const;
  std::vector<CertificateMethod> Methods() const;
  std::vector<CertificateEquipment> Equipment() const;
  static std::vector<CertificateCondition> Conditions(const PhaseResult& result);
  CertificateTable Table(const EvaluatedPhase& phase, const PhaseResult& result) const;
  CertificateQuantity ReferenceValues(const std::vector<EvaluatedPoint>& points, const PhaseResult& result) const;
  CertificateQuantity Deviations(const std::vector<EvaluatedPoint>& points) const;
  CertificateStatement Conformities(const std::vector<EvaluatedPoint>& points) const;

  const RunResult& run_;
  const Plan& plan_;
  const Evaluation& evaluation_;
  std::size_t index_;
  const UnitPlan& unit_plan_;
  CertificateUnit unit_;
};

CertificateItem Builder::Item() const {
  CertificateItem item{.name = unit_plan_.name,
                       .description = unit_plan_.description,
                       .manufacturer = unit_plan_.manufacturer,
                       .model = unit_plan_.model};
  item.identifications.push_back({"manufacturer", SerialNumberOf(plan_, unit_plan_), TextId::kSerialNumber});
  return item;
}

CertificateStatement Declaration(TextId text) { return {.declaration = text}; }

CertificateStatement Builder::DecisionStatement() const {
  const BilingualText rule = Bilingual(DecisionRuleText(plan_.decision.rule));
  BilingualText number = Shortened(unit_plan_.tolerance);
  std::replace(number.fr.begin(), number.fr.end(), '.', ',');
  const BilingualText tolerance = Bilingual(TextId::kCertificateToleranceText, {number, plan_.unit});
  const MultilingualText text(rule.en + tolerance.en, rule.fr + tolerance.fr);
  CertificateStatement statement{.ref_type = "basic_conformity", .declaration = text};
  const auto& last = evaluation_.units[index_].phases.back().conformity;
  if (last) statement.conformity.emplace_back(ConformityName(*last));
  return statement;
}

std::vector<CertificateStatement> Builder::Statements() const {
  std::vector<CertificateStatement> statements;
  if (run_.simulated) statements.push_back(Declaration(TextId::kCertificateSimulated));
  statements.push_back(Declaration(TextId::kCertificateValidity));
  if (plan_.decision.rule != DecisionRule::kNone && unit_plan_.tolerance > 0) statements.push_back(DecisionStatement());
  const ReferenceCertificate& reference = *evaluation_.reference;
  if (reference.IsOverdue(DayOf(run_.phases.front().began))) {
    statements.push_back(
        {.declaration = Bilingual(TextId::kCertificateOverdue, {reference.identifier, reference.due_date,
                                                                plan_.reference.certificate.accept_overdue})});
  }
  for (const std::string& remark : plan_.remarks) {
    // Declarations have one text for each language; a remark is the same in both languages.
    if (!Trimmed(remark).empty()) statements.push_back({.declaration = MultilingualText(remark, remark)});
  }
  return statements;
}

std::vector<CertificateMethod> Builder::Methods() const {
  CertificateMethod comparison{.name = plan_.certificate.method.empty()
                                           ? MultilingualText(TextId::kCertificateComparison)
                                           : MultilingualText(plan_.certificate.method),
                               .description = TextId::kCertificateComparisonText};
  if (IsTemperature()) comparison.ref_type = "gp_temperatureSensor";
  if (!plan_.certificate.norm.empty()) comparison.norms.push_back(plan_.certificate.norm);
  return {{.ref_type = "basic_uncertainty",
           .name = TextId::kCertificateUncertaintyMethod,
           .description = TextId::kCertificateUncertaintyText,
           .norms = {"GUM", "EA-4/02"}},
          comparison};
}

std::vector<CertificateEquipment> Builder::Equipment() const {
  std::vector<CertificateEquipment> equipment;
  const ReferencePlan& planned = plan_.reference;
  const ReferenceCertificate& certificate = *evaluation_.reference;
  CertificateEquipment reference{.ref_type = "basic_normalUsed"};
  reference.item = {.name = planned.name, .manufacturer = planned.manufacturer, .model = planned.model};
  if (!planned.serial_number.empty())
    reference.item.identifications.push_back({"manufacturer", planned.serial_number, TextId::kSerialNumber});
  reference.certificate = {TextId::kCertificateReferenceCertificate, certificate.identifier, "SHA-256",
                           certificate.sha256};
  equipment.push_back(reference);
  for (const InstrumentFact& instrument : run_.instruments) {
    CertificateEquipment one{.item = {.name = instrument.name, .model = instrument.model}};
    const std::string& identification =
        instrument.serial_number.empty() ? instrument.identification : instrument.serial_number;
    if (!Trimmed(identification).empty()) one.item.identifications.push_back({"manufacturer", identification, {}});
    equipment.push_back(one);
  }
  return equipment;
}

// The smallest and largest recorded value of one ambient condition; none if it was not recorded.
struct Extremes {
  std::optional<double> min, max;
  void Take(const std::optional<double>& value) {
    if (!value) return;
    min = std::min(min.value_or(*value), *value);
    max = std::max(max.value_or(*value), *value);
  }
};

CertificateQuantity Single(const std::string& ref_type, double value, int decimals, const std::string& unit) {
  return {.ref_type = ref_type, .values = {{.numbers = {RoundedText(value, decimals)}, .unit = unit}}};
}

struct ConditionRow {
  const char* ref_type;
  TextId name;
  const char* unit;
  double factor, offset;
  int decimals;
  std::optional<double> AmbientReading::*member;
};

constexpr ConditionRow kConditions[] = {
    {"basic_temperature", TextId::kCertificateAmbientTemperature, "\\kelvin", 1, kCelsiusZeroInKelvin, 2,
     &AmbientReading::temperature},
    {"basic_humidityRelative", TextId::kCertificateAmbientHumidity, "\\one", 0.01, 0, 3, &AmbientReading::humidity},
    {"", TextId::kCertificateAmbientPressure, "\\hecto\\pascal", 1, 0, 1, &AmbientReading::pressure},
};

std::vector<CertificateCondition> Builder::Conditions(const PhaseResult& result) {
  const std::string status = result.phase == Phase::kAsLeft ? "afterAdjustment" : "beforeAdjustment";
  std::vector<CertificateCondition> conditions;
  for (const ConditionRow& row : kConditions) {
    Extremes found;
    for (const AmbientReading& reading : result.ambient) found.Take(reading.*row.member);
    if (!found.min) continue;
    CertificateCondition condition{.ref_type = row.ref_type, .name = row.name, .status = status};
    const std::string type = row.ref_type;
    const auto quantity = [&](const char* end, double value) {
      return Single(type.empty() ? "" : type + end, value * row.factor + row.offset, row.decimals, row.unit);
    };
    condition.quantities = {quantity("Min", *found.min), quantity("Max", *found.max)};
    conditions.push_back(condition);
  }
  if (conditions.empty()) {
    conditions.push_back({.name = TextId::kAmbientConditions,
                          .status = status,
                          .quantities = {{.text = TextId::kCertificateNotRecorded}}});
  }
  return conditions;
}

std::size_t DecimalsOf(const std::string& number) {
  const std::size_t point = number.find('.');
  return point == std::string::npos ? 0 : number.size() - point - 1;
}

// Adds 273.15 with at least two decimals, so that the value is exact.
std::string InKelvin(const std::string& celsius) {
  constexpr std::size_t kDecimalsOfZero = 2;
  const double value = ParseDecimal(celsius).value_or(0) + kCelsiusZeroInKelvin;
  return RoundedText(value, static_cast<int>(std::max(kDecimalsOfZero, DecimalsOf(celsius))));
}

template <typename Function>
std::vector<std::string> Each(const std::vector<EvaluatedPoint>& points, const Function& text) {
  std::vector<std::string> texts;
  texts.reserve(points.size());
  for (const EvaluatedPoint& point : points) texts.push_back(text(point));
  return texts;
}

CertificateQuantity Builder::ReferenceValues(const std::vector<EvaluatedPoint>& points,
                                             const PhaseResult& result) const {
  CertificateQuantity quantity{
      .ref_type = "basic_referenceValue", .name = TextId::kCertificateReferenceValue, .is_list = true};
  if (IsTemperature()) {
    quantity.values.push_back(
        {Each(points, [](const EvaluatedPoint& p) { return InKelvin(p.printed.reference); }), "\\kelvin", {}});
  }
  quantity.values.push_back(
      {Each(points, [](const EvaluatedPoint& p) { return p.printed.reference; }), unit_.unit, {}});
  CertificateQuantity set_points{.is_list = true};
  set_points.values.push_back(
      {Each(points, [&](const EvaluatedPoint& p) { return Shortened(result.points[p.point].nominal * unit_.factor); }),
       unit_.unit,
       {}});
  quantity.meta_data.push_back(
      {.ref_type = "basic_calibrationValue", .declaration = TextId::kCertificateSetPoint, .quantities = {set_points}});
  return quantity;
}

CertificateStatement Builder::Conformities(const std::vector<EvaluatedPoint>& points) const {
  CertificateStatement statement{
      .ref_type = "basic_conformity", .name = TextId::kCertificateConformity, .conformity_is_list = true};
  statement.conformity =
      Each(points, [](const EvaluatedPoint& p) { return std::string(ConformityName(*p.conformity)); });
  const double band = plan_.decision.rule == DecisionRule::kSimple ? 0 : plan_.decision.guard;
  const auto limit = [&](double sign) {
    return Each(points, [&](const EvaluatedPoint& p) {
      const double expanded = ParseDecimal(p.printed.expanded).value_or(0);
      return RoundedText(sign * std::max(0.0, unit_plan_.tolerance * unit_.factor - band * expanded), 9);
    });
  };
  for (const auto& [type, name, sign] :
       {std::tuple{"basic_acceptanceLimitLower", TextId::kCertificateLowerLimit, -1.0},
        std::tuple{"basic_acceptanceLimitUpper", TextId::kCertificateUpperLimit, 1.0}}) {
    CertificateQuantity quantity{.ref_type = type, .name = name, .is_list = true};
    quantity.values.push_back({limit(sign), unit_.difference_unit, {}});
    statement.quantities.push_back(quantity);
  }
  return statement;
}

CertificateQuantity Builder::Deviations(const std::vector<EvaluatedPoint>& points) const {
  CertificateQuantity quantity{.ref_type = "basic_measurementError", .name = TextId::kDeviationLabel, .is_list = true};
  UncertaintyList uncertainty{
      .expanded = Each(points, [](const EvaluatedPoint& p) { return p.printed.expanded; }),
      .coverage_factor = Each(points, [](const EvaluatedPoint& p) { return p.printed.coverage_factor; })};
  uncertainty.coverage_probability.assign(points.size(), FormatFixed(kCoverageProbability, 4));
  uncertainty.distribution.assign(points.size(), "normal");
  quantity.values.push_back(
      {Each(points, [](const EvaluatedPoint& p) { return p.printed.deviation; }), unit_.difference_unit, uncertainty});
  const bool decided =
      std::all_of(points.begin(), points.end(), [](const EvaluatedPoint& p) { return p.conformity.has_value(); });
  if (decided) quantity.meta_data.push_back(Conformities(points));
  return quantity;
}

CertificateTable Builder::Table(const EvaluatedPhase& phase, const PhaseResult& result) const {
  std::vector<EvaluatedPoint> points;
  for (const EvaluatedPoint& point : phase.points) points.push_back(Scaled(point, unit_.factor));
  CertificateTable table{.ref_type = "gp_table1"};
  for (const EvaluatedPoint& point : points)
    table.date_times.push_back(IsoTime(result.points[point.point].ended).substr(0, 19));
  CertificateQuantity indications{
      .ref_type = "basic_measuredValue", .name = TextId::kCertificateIndication, .is_list = true};
  if (IsTemperature()) {
    indications.values.push_back(
        {Each(points, [](const EvaluatedPoint& p) { return InKelvin(p.printed.indication); }), "\\kelvin", {}});
  }
  indications.values.push_back(
      {Each(points, [](const EvaluatedPoint& p) { return p.printed.indication; }), unit_.unit, {}});
  table.quantities = {ReferenceValues(points, result), indications, Deviations(points)};
  return table;
}

CertificateMeasurement Builder::Measurement(const EvaluatedPhase& phase, const PhaseResult& result) const {
  CertificateMeasurement measurement{.name = phase.phase == Phase::kAsLeft ? TextId::kAsLeft : TextId::kAsFound,
                                     .methods = Methods(),
                                     .software = {Software(run_.version)},
                                     .equipment = Equipment(),
                                     .conditions = Conditions(result)};
  measurement.results.push_back(
      {.ref_type = "gp_measuringResult1", .name = TextId::kCertificateResults, .tables = {Table(phase, result)}});
  return measurement;
}

Certificate Builder::Build(const std::string& issue_date) const {
  Certificate certificate{.schema_version = "3.3.0",
                          .software = {Software(run_.version)},
                          .country = plan_.laboratory.address.country,
                          .languages = {"en", "fr"},
                          .mandatory_languages = {"en", "fr"}};
  const std::string number = plan_.units.size() > 1 ? "-" + std::to_string(index_ + 1) : "";
  certificate.identifier = plan_.certificate.identifier + number;
  if (!plan_.order_number.empty())
    certificate.identifications.push_back({"calibrationLaboratory", plan_.order_number, {}});
  if (!run_.journal_digest.empty())
    certificate.identifications.push_back({"other", run_.journal_digest, TextId::kCertificateJournal});
  certificate.begin_date = DayOf(run_.phases.front().began);
  certificate.end_date = DayOf(run_.phases.back().ended);
  certificate.issue_date = std::max(issue_date, certificate.end_date);
  certificate.performance_location = plan_.certificate.location;
  certificate.items = {Item()};
  certificate.laboratory_code = plan_.laboratory.code;
  certificate.laboratory = ContactOf(plan_.laboratory.address);
  const bool responsible = !plan_.laboratory.responsible.empty();
  if (responsible) certificate.persons.push_back({plan_.laboratory.responsible, "", true});
  if (!plan_.operator_name.empty()) certificate.persons.push_back({plan_.operator_name, "", !responsible});
  certificate.customer = ContactOf(plan_.customer);
  certificate.statements = Statements();
  const EvaluatedUnit& evaluated = evaluation_.units[index_];
  for (std::size_t k = 0; k < evaluated.phases.size(); ++k) {
    certificate.measurements.push_back(Measurement(evaluated.phases[k], run_.phases[k]));
  }
  return certificate;
}

}  // namespace

std::vector<Problem> CertificateGaps(const Plan& plan) {
  std::vector<Problem> gaps;
  const auto need = [&](bool there, const BilingualText& what) {
    if (!there) gaps.push_back(Bilingual(TextId::kCertificateGap, {what}));
  };
  const AddressPlan& laboratory = plan.laboratory.address;
  const AddressPlan& customer = plan.customer;
  need(!plan.certificate.identifier.empty(), "certificate.identifier");
  need(!laboratory.name.empty(), "laboratory.name");
  need(IsCountry(laboratory.country), Bilingual(TextId::kCertificateGapCountry));
  need(!customer.name.empty(), "customer.name");
  need(!customer.city.empty() || IsCountry(customer.country), "customer.city");
  need(!plan.laboratory.responsible.empty() || !plan.operator_name.empty(), Bilingual(TextId::kCertificateGapPerson));
  need(!plan.reference.certificate.file.empty(), "reference.certificate");
  for (const UnitPlan& unit : plan.units) {
    need(!SerialNumberOf(plan, unit).empty(), "units: " + unit.name + ": serial-number");
  }
  return gaps;
}

Result<Certificate> BuildCertificate(const RunResult& run, const Evaluation& evaluation, std::size_t unit,
                                     const std::string& issue_date) {
  if (!run.complete || run.phases.empty()) return Refused(TextId::kCertificateIncomplete);
  const auto gaps = CertificateGaps(run.plan);
  if (!gaps.empty()) return tl::unexpected(gaps.front());
  if (!evaluation.reference) return Refused(TextId::kCertificateGap, {"reference.certificate"});
  const auto certificate_unit = CertificateUnitOf(run.plan.unit);
  if (!certificate_unit) return Refused(TextId::kCertificateUnknownUnit, {run.plan.unit});
  return Builder(run, evaluation, unit, *certificate_unit).Build(issue_date);
}

}  // namespace ulix::calibration
