#include "calibration/certificate_units.h"

#include <algorithm>
#include <array>

#include "base/text.h"
#include "calibration/thermometry.h"

namespace ulix::calibration {
namespace {

struct PlanUnitRow {
  std::string_view plan_unit;
  std::string_view unit;
  double factor;
};

constexpr std::array kPlanUnits = {
    PlanUnitRow{"°C", "\\degreecelsius", 1},
    PlanUnitRow{"C", "\\degreecelsius", 1},
    PlanUnitRow{"Pa", "\\pascal", 1},
    PlanUnitRow{"hPa", "\\hecto\\pascal", 1},
    PlanUnitRow{"mbar", "\\hecto\\pascal", 1},
    PlanUnitRow{"kPa", "\\kilo\\pascal", 1},
    PlanUnitRow{"bar", "\\kilo\\pascal", 100},
    PlanUnitRow{"MPa", "\\mega\\pascal", 1},
    PlanUnitRow{"psi", "\\kilo\\pascal", 6.894757293168361},
};

struct UnitPart {
  std::string_view name;
  std::string_view symbol;
  double factor;
};

constexpr std::array kPrefixes = {UnitPart{"micro", "µ", 1e-6}, UnitPart{"milli", "m", 1e-3},
                                  UnitPart{"hecto", "h", 1e2},  UnitPart{"kilo", "k", 1e3},
                                  UnitPart{"mega", "M", 1e6},   UnitPart{"centi", "c", 1e-2},
                                  UnitPart{"nano", "n", 1e-9},  UnitPart{"giga", "G", 1e9}};
// Each factor converts to the unit without prefix, so that two rows can be converted into each other.
constexpr std::array kUnits = {UnitPart{"degreecelsius", "°C", 1},
                               UnitPart{"kelvin", "K", 1},
                               UnitPart{"pascal", "Pa", 1},
                               UnitPart{"bar", "bar", 1e5},
                               UnitPart{"ohm", "Ω", 1},
                               UnitPart{"volt", "V", 1},
                               UnitPart{"ampere", "A", 1},
                               UnitPart{"metre", "m", 1},
                               UnitPart{"second", "s", 1},
                               UnitPart{"one", "", 1},
                               UnitPart{"percent", "%", 0.01}};

template <typename Rows>
const typename Rows::value_type* Find(const Rows& rows, std::string_view name) {
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& r) { return r.name == name; });
  return row == rows.end() ? nullptr : &*row;
}

// A unit with at most one prefix.
struct ParsedUnit {
  const UnitPart* prefix = nullptr;
  const UnitPart* unit = nullptr;
  double Factor() const { return (prefix != nullptr ? prefix->factor : 1) * unit->factor; }
  bool IsPressure() const { return unit->name == "pascal" || unit->name == "bar"; }
};

std::optional<ParsedUnit> Parse(std::string_view text) {
  const auto words = SplitWords(text, "\\");
  if (words.empty() || words.size() > 2) return std::nullopt;
  ParsedUnit parsed{.unit = Find(kUnits, words.back())};
  if (words.size() == 2) parsed.prefix = Find(kPrefixes, words.front());
  if (parsed.unit == nullptr || (words.size() == 2 && parsed.prefix == nullptr)) return std::nullopt;
  return parsed;
}

std::optional<double> PressureFrom(double value, const ParsedUnit& unit, const CertificateUnit& wanted) {
  const auto target = Parse(wanted.unit);
  if (!unit.IsPressure() || !target || !target->IsPressure()) return std::nullopt;
  return value * unit.Factor() / target->Factor() / wanted.factor;
}

}  // namespace

std::optional<CertificateUnit> CertificateUnitOf(std::string_view plan_unit) {
  const auto row = std::find_if(kPlanUnits.begin(), kPlanUnits.end(),
                                [&](const PlanUnitRow& r) { return r.plan_unit == plan_unit; });
  if (row == kPlanUnits.end()) return std::nullopt;
  const bool temperature = row->unit == "\\degreecelsius";
  return CertificateUnit{std::string(row->unit), std::string(temperature ? "\\kelvin" : row->unit), row->factor};
}

std::optional<double> FromCertificateUnit(double value, std::string_view unit, std::string_view plan_unit) {
  const auto parsed = Parse(unit);
  const auto wanted = CertificateUnitOf(plan_unit);
  if (!parsed || !wanted) return std::nullopt;
  if (wanted->unit != "\\degreecelsius") return PressureFrom(value, *parsed, *wanted);
  if (parsed->unit->name == "degreecelsius") return value * parsed->Factor();
  if (parsed->unit->name == "kelvin") return value * parsed->Factor() - kCelsiusZeroInKelvin;
  return std::nullopt;
}

std::optional<double> DifferenceFromCertificateUnit(double value, std::string_view unit, std::string_view plan_unit) {
  const auto parsed = Parse(unit);
  const auto wanted = CertificateUnitOf(plan_unit);
  if (!parsed || !wanted) return std::nullopt;
  if (wanted->unit != "\\degreecelsius") return PressureFrom(value, *parsed, *wanted);
  const bool temperature = parsed->unit->name == "degreecelsius" || parsed->unit->name == "kelvin";
  return temperature ? std::optional(value * parsed->Factor()) : std::nullopt;
}

std::string ReadableUnit(std::string_view unit) {
  const auto parsed = Parse(unit);
  if (!parsed) return std::string(unit);
  return std::string(parsed->prefix != nullptr ? parsed->prefix->symbol : "") + std::string(parsed->unit->symbol);
}

}  // namespace ulix::calibration
