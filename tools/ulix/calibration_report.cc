#include "tools/ulix/calibration_report.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/html_page.h"
#include "base/numbers.h"
#include "calibration/certificate_page.h"
#include "calibration/decision.h"
#include "calibration/files/plan_certificates.h"
#include "calibration/json_reader.h"
#include "calibration/run_journal.h"
#include "core/version.h"
#include "tools/ulix/csv.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/xy_figure.h"

namespace ulix::cli {
namespace {

using namespace calibration;  // NOLINT(google-build-using-namespace): half of this file is its names

constexpr char kStyle[] = R"css(
div.pair{display:grid;grid-template-columns:1fr 1fr;gap:.6em;break-inside:avoid}
div.one{max-width:32em}
)css";

constexpr std::size_t kMaxDrawnUnits = 6;
constexpr std::size_t kLooksOfAPoint = 150;  // values stored for the plots of each point

std::string Joined(const std::vector<std::string>& parts, const std::string& separator) {
  std::string joined;
  for (const std::string& part : parts) {
    if (!part.empty()) joined += (joined.empty() ? "" : separator) + part;
  }
  return joined;
}

class Report {
 public:
  Report(const CalibrationFindings& findings, Language language)
      : run_(findings.run), plan_(findings.run.plan), findings_(findings), language_(language) {}
  std::string Html();

 private:
  std::string Text(TextId text, std::initializer_list<std::string> values = {}) const {
    return Shown(text, language_, values);
  }
  std::string Local(const std::string& number) const { return InLanguage(number, language_); }
  std::string Short(double value) const { return Local(NumberText(value)); }
  HtmlCell Number(const std::string& number) const { return {Local(number), CellKind::kNumber}; }
  std::string WithUnit(TextId text) const { return Text(text) + " (" + plan_.unit + ")"; }
  std::string PhaseText(Phase phase) const {
    return Text(phase == Phase::kAsLeft ? TextId::kAsLeft : TextId::kAsFound);
  }
  void AddHeading(TextId text) { html_ += HtmlElement("h2", Text(text)); }
  void AddNote(const std::string& text) { html_ += HtmlElement("p", text, "note"); }
  void AddHead();
  void AddFacts();
  std::string AmbientText() const;
  static std::string AddressText(const AddressPlan& address);
  void AddUnit(const EvaluatedUnit& unit);
  void AddPhase(const EvaluatedUnit& unit, std::size_t phase);
  void AddComparison(const EvaluatedUnit& unit);
  void AddDeviations(const EvaluatedUnit& unit);
  HtmlCell PointCell(const PointResult& point) const;
  HtmlCell ResultCell(const EvaluatedPoint& point) const;
  void AddApproaches();
  XyFigure ApproachOf(const PointResult& point) const;
  XyFigure ReadingsOf(const PointResult& point) const;
  void AddInstruments();

  const RunResult& run_;
  const Plan& plan_;
  const CalibrationFindings& findings_;
  Language language_;
  std::string html_;
};

void Report::AddHead() {
  const std::string title = plan_.title.empty() ? Text(TextId::kReportTitle) : plan_.title;
  html_ = PageStart(title, language_, kStyle) + HtmlElement("h1", title);
  if (!run_.phases.empty()) {
    html_ += HtmlElement(
        "p", ShownTime(run_.phases.front().began, language_) + " – " + ShownTime(run_.phases.back().ended, language_),
        "when");
  }
  if (run_.simulated) AddNote(Text(TextId::kReportSimulated));
  if (!run_.complete) AddNote(Text(TextId::kReportEndedEarly, {run_.end_reason.In(language_)}));
  if (!findings_.problem.empty()) AddNote(Text(TextId::kReportNotCorrected, {findings_.problem}));
}

std::string Report::AddressText(const AddressPlan& address) {
  return Joined({address.name, Joined({address.street_number, address.street}, " "),
                 Joined({address.post_code, address.city}, " "), address.country},
                ", ");
}

std::string Report::AmbientText() const {
  std::vector<std::string> texts;
  for (const PhaseResult& phase : run_.phases) {
    for (const AmbientReading& one : phase.ambient) {
      std::vector<std::string> values;
      if (one.temperature) values.push_back(Short(*one.temperature) + " °C");
      if (one.humidity) values.push_back(Short(*one.humidity) + " %");
      if (one.pressure) values.push_back(Short(*one.pressure) + " hPa");
      const std::string text = Joined(values, ", ");
      if (texts.empty() || texts.back() != text) texts.push_back(text);
    }
  }
  return Joined(texts, "; ");
}

void Report::AddFacts() {
  AddHeading(TextId::kReportCalibration);
  const ReferencePlan& reference = plan_.reference;
  const auto& certificate = findings_.evaluation.reference;
  const StabilityRule& rule = plan_.points.front().stability;
  std::string decision;
  if (plan_.decision.rule != DecisionRule::kNone) decision = Shown(DecisionRuleText(plan_.decision.rule), language_);
  html_ += HtmlFacts(
      {{Text(TextId::kLaboratory), AddressText(plan_.laboratory.address)},
       {Text(TextId::kCustomer), AddressText(plan_.customer)},
       {Text(TextId::kOperator), plan_.operator_name},
       {Text(TextId::kReportOrder), plan_.order_number},
       {Text(TextId::kReportSource), plan_.source.channel.instrument + "/" + plan_.source.channel.channel},
       {Text(TextId::kReportReference),
        Joined({reference.name, reference.manufacturer, reference.model, reference.serial_number,
                reference.channel.instrument + "/" + reference.channel.channel},
               ", ")},
       {Text(TextId::kCertificateOfReference),
        certificate ? Joined({certificate->identifier, certificate->laboratory, "SHA-256 " + certificate->sha256}, ", ")
                    : ""},
       {Text(TextId::kReportAcceptedOverdue), reference.certificate.accept_overdue},
       {Text(TextId::kReportStabilityRule),
        Text(TextId::kReportStabilityText,
             {Short(rule.window), Short(rule.spread), plan_.unit, Short(rule.drift), plan_.unit})},
       {Text(TextId::kReportDecision), decision},
       {Text(TextId::kAmbientConditions), AmbientText()},
       {Text(TextId::kReportRemarks), Joined(plan_.remarks, " ")},
       {Text(TextId::kReportJournal), Text(TextId::kReportJournalText, {run_.run_id, run_.journal_digest})}});
}

HtmlCell Report::PointCell(const PointResult& point) const {
  std::string text = Short(point.nominal) + (point.direction == Direction::kFalling ? " ↓" : " ↑");
  if (point.cycle > 1) text += " " + std::to_string(point.cycle);
  return {text, CellKind::kNumber};
}

HtmlCell Report::ResultCell(const EvaluatedPoint& point) const {
  if (!point.conformity) return {"–"};
  const bool good = *point.conformity == Conformity::kPass || *point.conformity == Conformity::kConditionalPass;
  return {Shown(ConformityText(*point.conformity), language_), good ? CellKind::kText : CellKind::kBad};
}

void Report::AddPhase(const EvaluatedUnit& unit, std::size_t phase) {
  html_ += HtmlElement("h3", PhaseText(run_.phases[phase].phase));
  HtmlTable table({{WithUnit(TextId::kReportPoint), CellKind::kNumber},
                   {Text(TextId::kReportReference), CellKind::kNumber},
                   {Text(TextId::kReportIndication), CellKind::kNumber},
                   {Text(TextId::kDeviationLabel), CellKind::kNumber},
                   {"U", CellKind::kNumber},
                   {"k", CellKind::kNumber},
                   {Text(TextId::kHysteresis), CellKind::kNumber},
                   {Text(TextId::kReportTypeA), CellKind::kNumber},
                   {Text(TextId::kReportReadings), CellKind::kNumber},
                   {Text(TextId::kReportTolerance), CellKind::kNumber},
                   {Text(TextId::kReportResult)}});
  const double tolerance = plan_.units[unit.unit].tolerance;
  for (const EvaluatedPoint& point : unit.phases[phase].points) {
    const PointResult& measured = run_.phases[phase].points[point.point];
    const int decimals = UncertaintyDecimals(point.expanded);
    const ReadingSeries& series = measured.units[unit.unit];
    table.Add({PointCell(measured), Number(point.printed.reference), Number(point.printed.indication),
               Number(point.printed.deviation), Number(point.printed.expanded), Number(point.printed.coverage_factor),
               Number(point.hysteresis ? RoundedText(*point.hysteresis, decimals) : "–"),
               Number(FormatGeneral(std::hypot(series.TypeA(), measured.reference.TypeA()), 2)),
               Number(std::to_string(series.readings.size())),
               Number(tolerance > 0 ? "±" + NumberText(tolerance) : "–"), ResultCell(point)});
  }
  html_ += table.Html();
}

// Adds a table of the points that both phases have, side by side.
void Report::AddComparison(const EvaluatedUnit& unit) {
  if (unit.phases.size() < 2 || unit.phases[1].points.empty()) return;
  html_ += HtmlElement("h3", Text(TextId::kReportBothPhases));
  const auto heads = [&](Phase phase) {
    const std::string of = PhaseText(phase) + (language_ == Language::kFrench ? " : " : ": ");
    return HtmlRow{{of + Text(TextId::kDeviationLabel), CellKind::kNumber},
                   {"U", CellKind::kNumber},
                   {Text(TextId::kReportResult)}};
  };
  HtmlRow head{{WithUnit(TextId::kReportPoint), CellKind::kNumber}};
  for (const EvaluatedPhase& phase : unit.phases) {
    for (const HtmlCell& cell : heads(phase.phase)) head.push_back(cell);
  }
  HtmlTable table(head);
  const std::size_t rows = std::min(unit.phases[0].points.size(), unit.phases[1].points.size());
  for (std::size_t k = 0; k < rows; ++k) {
    HtmlRow row{PointCell(run_.phases[0].points[k])};
    for (const EvaluatedPhase& phase : unit.phases) {
      const EvaluatedPoint& point = phase.points[k];
      row.insert(row.end(), {Number(point.printed.deviation), Number(point.printed.expanded), ResultCell(point)});
    }
    table.Add(row);
  }
  html_ += table.Html();
}

void Report::AddDeviations(const EvaluatedUnit& unit) {
  XyFigure figure{.x_label = plan_.unit, .y_label = Text(TextId::kReportDeviationOf, {plan_.unit})};
  const double tolerance = plan_.units[unit.unit].tolerance;
  if (tolerance > 0) figure.band = {-tolerance, tolerance};
  for (std::size_t p = 0; p < unit.phases.size(); ++p) {
    XySeries series{.name = PhaseText(unit.phases[p].phase), .marks = true, .colour = p + 1};
    for (const EvaluatedPoint& point : unit.phases[p].points) {
      series.points.emplace_back(run_.phases[p].points[point.point].nominal, point.deviation);
      series.bars.push_back(point.expanded);
    }
    figure.series.push_back(std::move(series));
  }
  html_ += "<div class=\"one\">\n" + FigureSvg(figure, language_) + "</div>\n";
}

void Report::AddUnit(const EvaluatedUnit& unit) {
  const UnitPlan& planned = plan_.units[unit.unit];
  html_ += HtmlElement("h2", Joined({planned.name, planned.serial_number}, ", "));
  if (!planned.description.empty()) html_ += HtmlElement("p", planned.description);
  AddDeviations(unit);
  AddComparison(unit);
  for (std::size_t phase = 0; phase < unit.phases.size(); ++phase) {
    if (!unit.phases[phase].points.empty()) AddPhase(unit, phase);
  }
}

XyFigure Report::ApproachOf(const PointResult& point) const {
  XyFigure figure{.x_label = Text(TextId::kReportMinutes), .y_label = plan_.unit};
  const auto add = [&](const std::string& name, const ReadingSeries& series, std::size_t colour) {
    XySeries line{.name = name, .colour = colour};
    for (const SampledValue& look : series.approach) line.points.emplace_back(look.seconds, look.value);
    figure.series.push_back(std::move(line));
  };
  add(Text(TextId::kReportReference), point.reference, 0);
  for (std::size_t k = 0; k < std::min(point.units.size(), kMaxDrawnUnits); ++k) {
    add(plan_.units[k].name, point.units[k], k + 1);
  }
  const double began = figure.series[0].points.empty() ? 0 : figure.series[0].points.front().first;
  for (XySeries& series : figure.series) {
    for (auto& [x, y] : series.points) x = (x - began) / 60;
  }
  return figure;
}

XyFigure Report::ReadingsOf(const PointResult& point) const {
  XyFigure figure{.x_label = Text(TextId::kReportMinutes), .y_label = plan_.unit};
  if (point.reference.readings.empty() || point.reference.approach.empty()) return figure;
  const StabilityRule& rule = plan_.points[point.index].stability;
  const double first = point.reference.readings.front().seconds;
  const double began = point.reference.approach.front().seconds;
  const auto add = [&](const ReadingSeries& series, std::size_t colour) {
    XySeries line{.colour = colour}, marks{.marks = true, .colour = colour};
    for (const SampledValue& look : series.approach) {
      if (look.seconds < first - rule.window || look.seconds > first) continue;
      line.points.emplace_back((look.seconds - began) / 60, look.value - series.mean);
    }
    for (const SampledValue& one : series.readings) {
      marks.points.emplace_back((one.seconds - began) / 60, one.value - series.mean);
    }
    figure.series.push_back(std::move(line));
    figure.series.push_back(std::move(marks));
  };
  add(point.reference, 0);
  for (std::size_t k = 0; k < std::min(point.units.size(), kMaxDrawnUnits); ++k) add(point.units[k], k + 1);
  figure.band = {-rule.spread / 2, rule.spread / 2};
  figure.line_at = (first - began) / 60;
  return figure;
}

void Report::AddApproaches() {
  AddHeading(TextId::kReportApproaches);
  html_ += HtmlElement("p", Text(TextId::kReportApproachNote));
  if (plan_.units.size() > kMaxDrawnUnits) {
    html_ += HtmlElement("p", Text(TextId::kReportMoreUnits, {std::to_string(kMaxDrawnUnits)}));
  }
  for (const PhaseResult& phase : run_.phases) {
    for (const PointResult& point : phase.points) {
      std::string title = PhaseText(phase.phase) + ", " + PointCell(point).text + " " + plan_.unit;
      if (point.attempts > 1) title += ", " + Text(TextId::kReportAttempts, {std::to_string(point.attempts)});
      html_ += "<div class=\"pair\">\n<div>" + HtmlElement("h3", title) + FigureSvg(ApproachOf(point), language_) +
               "</div>\n<div>" + HtmlElement("h3", " ") + FigureSvg(ReadingsOf(point), language_) + "</div>\n</div>\n";
    }
  }
}

void Report::AddInstruments() {
  AddHeading(TextId::kReportInstruments);
  HtmlTable table({{Text(TextId::kName)},
                   {Text(TextId::kModelWord)},
                   {Text(TextId::kReportPort)},
                   {Text(TextId::kIdentification)},
                   {Text(TextId::kSettings)}});
  for (const InstrumentFact& fact : run_.instruments) {
    std::vector<std::string> settings;
    for (const auto& [key, text] : fact.settings) settings.push_back(key + "=" + text);
    table.Add({{fact.name}, {fact.model}, {fact.port}, {fact.identification}, {Joined(settings, ", ")}});
  }
  html_ += table.Html();
}

std::string Report::Html() {
  AddHead();
  AddFacts();
  for (const EvaluatedUnit& unit : findings_.evaluation.units) AddUnit(unit);
  AddApproaches();
  html_ += BudgetSection(run_, findings_.evaluation, language_);
  AddInstruments();
  html_ += HtmlElement("footer", Text(TextId::kMadeBy, {VersionText()})) + PageEnd();
  return std::move(html_);
}

std::string Exact(double value) {
  constexpr int kDigits = 12;
  return FormatGeneral(value, kDigits);
}

std::vector<std::string> CsvCells(const CalibrationFindings& findings, const EvaluatedUnit& unit, std::size_t phase,
                                  const EvaluatedPoint& point) {
  const RunResult& run = findings.run;
  const PointResult& measured = run.phases[phase].points[point.point];
  const UnitPlan& planned = run.plan.units[unit.unit];
  const ReadingSeries& series = measured.units[unit.unit];
  return {run.phases[phase].phase == Phase::kAsLeft ? "as-left" : "as-found",
          std::to_string(measured.index + 1),
          Exact(measured.nominal),
          measured.direction == Direction::kFalling ? "falling" : "rising",
          std::to_string(measured.cycle),
          planned.name,
          planned.serial_number,
          Exact(measured.reference.mean),
          Exact(point.correction),
          Exact(point.reference),
          Exact(point.indication),
          Exact(point.deviation),
          Exact(point.expanded),
          Exact(point.coverage_factor),
          point.hysteresis ? Exact(*point.hysteresis) : "",
          planned.tolerance > 0 ? Exact(planned.tolerance) : "",
          point.conformity ? std::string(ConformityName(*point.conformity)) : "",
          std::to_string(series.readings.size()),
          Exact(series.deviation),
          Exact(measured.reference.deviation),
          std::to_string(measured.attempts),
          IsoTime(measured.began),
          IsoTime(measured.ended)};
}

}  // namespace

namespace {

// Removes the decisions: a deviation from an uncorrected reference proves nothing.
void DropDecisions(Evaluation& evaluation) {
  for (EvaluatedUnit& unit : evaluation.units) {
    for (EvaluatedPhase& phase : unit.phases) {
      phase.conformity.reset();
      for (EvaluatedPoint& point : phase.points) point.conformity.reset();
    }
  }
}

}  // namespace

CalibrationFindings FindingsOf(const std::string& folder, Language language) {
  auto run = ReadRun(folder, kLooksOfAPoint);
  if (!run) throw OperationFailed(kFileNotFound, run.error().In(language));
  CalibrationFindings findings{.run = std::move(*run), .evaluation = {}, .problem = {}};
  const auto reference = LoadReferenceOf(findings.run);
  if (!reference) findings.problem = reference.error().In(language);
  auto evaluation = Evaluate(findings.run, reference ? *reference : std::nullopt);
  if (!evaluation) {
    findings.problem = evaluation.error().In(language);
    evaluation = Evaluate(findings.run, std::nullopt);
  }
  if (!evaluation) throw OperationFailed(E_INVALIDARG, findings.problem);
  findings.evaluation = std::move(*evaluation);
  if (!findings.problem.empty()) DropDecisions(findings.evaluation);
  return findings;
}

std::string CalibrationReport(const CalibrationFindings& findings, Language language) {
  return Report(findings, language).Html();
}

std::string CalibrationCsv(const CalibrationFindings& findings, char separator) {
  const std::vector<std::string> head = {
      "phase",      "point",     "nominal",    "direction",   "cycle",    "unit",  "serial",     "reference read",
      "correction", "reference", "indication", "deviation",   "U",        "k",     "hysteresis", "tolerance",
      "conformity", "readings",  "s unit",     "s reference", "attempts", "began", "ended"};
  std::string csv = CsvLine(head, separator);
  for (const EvaluatedUnit& unit : findings.evaluation.units) {
    for (std::size_t phase = 0; phase < unit.phases.size(); ++phase) {
      for (const EvaluatedPoint& point : unit.phases[phase].points) {
        csv += CsvLine(CsvCells(findings, unit, phase, point), separator);
      }
    }
  }
  return csv;
}

}  // namespace ulix::cli
