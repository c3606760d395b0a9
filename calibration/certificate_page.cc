#include "calibration/certificate_page.h"

#include <algorithm>
#include <cmath>

#include "base/html_page.h"
#include "base/markup.h"
#include "base/numbers.h"
#include "calibration/certificate_units.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

using Cell = HtmlCell;
using Row = HtmlRow;

std::string TableHtml(const Row& head, const std::vector<Row>& rows) {
  HtmlTable table(head);
  for (const Row& row : rows) table.Add(row);
  return table.Html();
}

std::string JoinedBy(const std::vector<std::string>& parts, const std::string& separator) {
  std::string joined;
  for (const std::string& part : parts) {
    if (!part.empty()) joined += (joined.empty() ? "" : separator) + part;
  }
  return joined;
}

// The shown text of a decision. An unknown word is shown unchanged.
std::string LocalizedConformity(const std::string& name, Language language) {
  for (const Conformity one :
       {Conformity::kPass, Conformity::kFail, Conformity::kConditionalPass, Conformity::kConditionalFail}) {
    if (ConformityName(one) == name) return Utf8Of(ConformityText(one), language);
  }
  return name;
}

// A list of labels and their texts. Pairs with an empty text are left out.
class Facts {
 public:
  explicit Facts(Language language) : language_(language) {}
  void Add(TextId label, const std::string& text) { Add(std::string(Utf8Of(label, language_)), text); }
  void Add(const std::string& label, const std::string& text) {
    if (!text.empty()) facts_.emplace_back(label, text);
  }
  std::string Html() const { return HtmlFacts(facts_); }

 private:
  Language language_;
  std::vector<std::pair<std::string, std::string>> facts_;
};

class Page {
 public:
  Page(const Certificate& certificate, Language language) : certificate_(certificate), language_(language) {}

  std::string Html(const std::string& sha256, const std::string& signature);

 private:
  std::string Text(const MultilingualText& text) const { return text.In(language_ == Language::kFrench ? "fr" : "en"); }
  std::string Localized(TextId text, std::initializer_list<std::string> values = {}) const {
    return Utf8Of(text, language_, values);
  }
  // The number with the decimal separator of the language.
  std::string Number(std::string number) const;
  void AddHeading(TextId text) { html_ += HtmlElement("h2", Localized(text)); }
  void AddHead();
  void AddSummary(const std::string& signature);
  void AddItem(const CertificateItem& item);
  void AddContact(TextId heading, const CertificateContact& contact, const std::string& code);
  void AddMeasurement(const CertificateMeasurement& measurement);
  void AddMethods(const CertificateMeasurement& measurement);
  void AddEquipment(const CertificateMeasurement& measurement);
  void AddConditions(const CertificateMeasurement& measurement);
  void AddTable(const CertificateTable& table);
  void AddColumns(const CertificateTable& table, std::vector<std::pair<Cell, std::vector<Cell>>>& columns) const;
  void AddColumns(const CertificateQuantity& quantity, std::size_t rows,
                  std::vector<std::pair<Cell, std::vector<Cell>>>& columns) const;
  void AddStatements();
  void AddFooter(const std::string& sha256);
  std::string Identifications(const std::vector<CertificateIdentification>& list) const;
  std::string QuantityText(const CertificateQuantity& quantity) const;

  const Certificate& certificate_;
  Language language_;
  std::string html_;
};

std::string Page::Number(std::string number) const {
  if (language_ == Language::kFrench) std::replace(number.begin(), number.end(), '.', ',');
  return number;
}

std::string Page::Identifications(const std::vector<CertificateIdentification>& list) const {
  std::vector<std::string> texts;
  for (const CertificateIdentification& one : list) {
    const std::string name = Text(one.name);
    texts.push_back(name.empty() ? one.value : name + " " + one.value);
  }
  return JoinedBy(texts, ", ");
}

// Certificates state ambient conditions in kelvins and as ratios; people read degrees Celsius and percent.
NumberList ForPeople(NumberList list, bool humidity) {
  const bool kelvin = list.unit == "\\kelvin", ratio = humidity && list.unit == "\\one";
  if (!kelvin && !ratio) return list;
  constexpr double kZeroCelsius = 273.15;
  constexpr int kDecimalsOfPercent = 2;
  for (std::string& number : list.numbers) {
    const auto value = ParseDecimal(number);
    const std::size_t point = number.find('.');
    const int decimals = point == number.npos ? 0 : static_cast<int>(number.size() - point - 1);
    if (!value) continue;
    number = kelvin ? FormatFixed(*value - kZeroCelsius, decimals)
                    : FormatFixed(*value * 100, std::max(0, decimals - kDecimalsOfPercent));
  }
  list.unit = kelvin ? "\\degreecelsius" : "\\percent";
  return list;
}

// A quantity as text: "20.5 °C (U = 0.1, k = 2)". Several values or units are put side by side.
std::string Page::QuantityText(const CertificateQuantity& quantity) const {
  std::vector<std::string> texts;
  for (const NumberList& list : quantity.values) {
    std::vector<std::string> numbers;
    for (const std::string& number : list.numbers) numbers.push_back(Number(number));
    texts.push_back(JoinedBy({JoinedBy(numbers, "  "), ReadableUnit(list.unit)}, " "));
  }
  return quantity.values.empty() ? Text(quantity.text) : JoinedBy(texts, " = ");
}

void Page::AddHead() {
  const std::string title = Localized(TextId::kPageTitle) + " " + certificate_.identifier;
  html_ = PageStart(title, language_) + HtmlElement("h1", Localized(TextId::kPageTitle)) + "<p class=\"when\">" +
          Escaped(certificate_.identifier) + "</p>\n";
}

void Page::AddSummary(const std::string& signature) {
  const Certificate& c = certificate_;
  Facts facts(language_);
  facts.Add(TextId::kPageNumber, c.identifier);
  facts.Add(TextId::kIdentification, Identifications(c.identifications));
  facts.Add(TextId::kPageDates,
            c.begin_date == c.end_date ? c.begin_date : Localized(TextId::kPageFromTo, {c.begin_date, c.end_date}));
  facts.Add(TextId::kPageIssued, c.issue_date);
  facts.Add(TextId::kPagePlace, JoinedBy({c.performance_location, c.country}, ", "));
  std::vector<std::string> persons;
  for (const CertificatePerson& person : c.persons) {
    const std::string name = JoinedBy({Text(person.name), person.role}, ", ");
    persons.push_back(person.main_signer ? Localized(TextId::kPageSigns, {name}) : name);
  }
  facts.Add(TextId::kPagePersons, JoinedBy(persons, "; "));
  facts.Add(TextId::kPageSignature, signature);
  html_ += facts.Html();
}

void Page::AddItem(const CertificateItem& item) {
  Facts facts(language_);
  facts.Add(TextId::kName, Text(item.name));
  facts.Add(TextId::kPageDescription, Text(item.description));
  facts.Add(TextId::kPageManufacturer, Text(item.manufacturer));
  facts.Add(TextId::kModelWord, item.model);
  facts.Add(TextId::kIdentification, Identifications(item.identifications));
  html_ += facts.Html();
}

void Page::AddContact(TextId heading, const CertificateContact& contact, const std::string& code) {
  AddHeading(heading);
  Facts facts(language_);
  facts.Add(TextId::kName, Text(contact.name));
  facts.Add(TextId::kPageAccreditation, code);
  facts.Add(TextId::kPageAddress, JoinedBy({JoinedBy({contact.street, contact.street_number}, " "),
                                            JoinedBy({contact.post_code, contact.city}, " "), contact.state,
                                            contact.country, Text(contact.further)},
                                           ", "));
  facts.Add(TextId::kPageContact, JoinedBy({contact.email, contact.phone}, ", "));
  html_ += facts.Html();
}

void Page::AddMethods(const CertificateMeasurement& measurement) {
  if (measurement.methods.empty()) return;
  html_ += HtmlElement("h3", Localized(TextId::kPageMethods));
  Facts facts(language_);
  for (const CertificateMethod& method : measurement.methods) {
    facts.Add(
        Text(method.name),
        JoinedBy({Text(method.description), JoinedBy(method.norms, ", "), JoinedBy(method.references, ", ")}, " · "));
    if (Text(method.description).empty() && method.norms.empty() && method.references.empty())
      facts.Add(Text(method.name), "–");
  }
  html_ += facts.Html();
}

void Page::AddEquipment(const CertificateMeasurement& measurement) {
  if (measurement.equipment.empty()) return;
  html_ += HtmlElement("h3", Localized(TextId::kPageEquipment));
  std::vector<Row> rows;
  for (const CertificateEquipment& one : measurement.equipment) {
    std::string certificate;
    if (one.certificate) certificate = JoinedBy({one.certificate->referral_id, one.certificate->value}, ": ");
    rows.push_back({{Text(one.item.name)},
                    {JoinedBy({Text(one.item.manufacturer), one.item.model}, " ")},
                    {Identifications(one.item.identifications)},
                    {certificate}});
  }
  html_ += TableHtml({{Localized(TextId::kName)},
                      {Localized(TextId::kModelWord)},
                      {Localized(TextId::kIdentification)},
                      {Localized(TextId::kPageEquipmentCertificate)}},
                     rows);
}

void Page::AddConditions(const CertificateMeasurement& measurement) {
  if (measurement.conditions.empty()) return;
  html_ += HtmlElement("h3", Localized(TextId::kPageConditionsHeading));
  Facts facts(language_);
  for (const CertificateCondition& condition : measurement.conditions) {
    std::vector<std::string> values;
    for (CertificateQuantity quantity : condition.quantities) {
      const bool humidity = quantity.ref_type.find("humidity") != std::string::npos;
      for (NumberList& list : quantity.values) list = ForPeople(list, humidity);
      values.push_back(JoinedBy({Text(quantity.name), QuantityText(quantity)}, ": "));
    }
    if (values.size() == 2 && values[0] == values[1]) values.pop_back();
    facts.Add(Text(condition.name), JoinedBy({JoinedBy(values, " … "), Text(condition.description)}, ". "));
  }
  html_ += facts.Html();
}

using Column = std::pair<Cell, std::vector<Cell>>;

void AddListColumn(std::vector<Column>& columns, const std::string& head, const std::vector<std::string>& texts,
                   CellKind kind, std::size_t rows) {
  if (texts.empty()) return;
  Column column{{head, kind}, {}};
  for (std::size_t k = 0; k < rows; ++k) {
    const bool one_for_all = texts.size() == 1;
    column.second.push_back({one_for_all ? texts[0] : k < texts.size() ? texts[k] : "", kind});
  }
  columns.push_back(std::move(column));
}

std::size_t RowsOf(const CertificateTable& table) {
  std::size_t rows = table.date_times.size();
  for (const CertificateQuantity& quantity : table.quantities) {
    for (const NumberList& list : quantity.values) rows = std::max(rows, list.numbers.size());
  }
  return rows;
}

void Page::AddColumns(const CertificateTable& table, std::vector<Column>& columns) const {
  const std::size_t rows = RowsOf(table);
  std::vector<std::string> times = table.date_times;
  for (std::string& time : times) std::replace(time.begin(), time.end(), 'T', ' ');
  AddListColumn(columns, Localized(TextId::kTime), times, CellKind::kOneLine, rows);
  for (const CertificateQuantity& quantity : table.quantities) AddColumns(quantity, rows, columns);
}

void Page::AddColumns(const CertificateQuantity& quantity, std::size_t rows, std::vector<Column>& columns) const {
  const auto numbers = [this](const std::vector<std::string>& list) {
    std::vector<std::string> texts(list.size());
    std::ranges::transform(list, texts.begin(), [this](const std::string& number) { return Number(number); });
    return texts;
  };
  for (const CertificateStatement& statement : quantity.meta_data) {
    if (!statement.Has("basic_calibrationValue") || statement.quantities.empty()) continue;
    for (const NumberList& list : statement.quantities.front().values) {
      AddListColumn(columns, Text(statement.declaration) + " (" + ReadableUnit(list.unit) + ")", numbers(list.numbers),
                    CellKind::kNumber, rows);
    }
  }
  for (const NumberList& list : quantity.values) {
    const std::string unit = " (" + ReadableUnit(list.unit) + ")";
    AddListColumn(columns, Text(quantity.name) + unit, numbers(list.numbers), CellKind::kNumber, rows);
    if (!list.uncertainty) continue;
    AddListColumn(columns, Localized(TextId::kPageUncertainty) + unit, numbers(list.uncertainty->expanded),
                  CellKind::kNumber, rows);
    AddListColumn(columns, "k", numbers(list.uncertainty->coverage_factor), CellKind::kNumber, rows);
  }
  for (const CertificateStatement& statement : quantity.meta_data) {
    if (statement.conformity.empty()) continue;
    std::vector<std::string> texts;
    for (const std::string& name : statement.conformity) texts.push_back(LocalizedConformity(name, language_));
    AddListColumn(columns, Text(statement.name), texts, CellKind::kOneLine, rows);
  }
}

// Splits a wide table into parts that fit the paper. The first column is repeated in each part.
void Page::AddTable(const CertificateTable& table) {
  constexpr std::size_t kMaxColumns = 10;
  std::vector<Column> columns;
  AddColumns(table, columns);
  const std::size_t rows = RowsOf(table);
  if (!table.name.empty()) html_ += HtmlElement("h3", Text(table.name));
  for (std::size_t first = 0; first < columns.size(); first += kMaxColumns) {
    const std::size_t end = std::min(first + kMaxColumns, columns.size());
    if (columns.size() > kMaxColumns) {
      html_ += HtmlElement("p", Localized(TextId::kPageNextColumns, {std::to_string(first + 1), std::to_string(end)}));
    }
    Row head;
    for (std::size_t c = first; c < end; ++c) head.push_back(columns[c].first);
    std::vector<Row> body(rows);
    for (std::size_t r = 0; r < rows; ++r) {
      for (std::size_t c = first; c < end; ++c) body[r].push_back(columns[c].second[r]);
    }
    html_ += TableHtml(head, body);
  }
}

void Page::AddMeasurement(const CertificateMeasurement& measurement) {
  html_ += HtmlElement("h2", Text(measurement.name));
  if (!measurement.description.empty()) html_ += HtmlElement("p", Text(measurement.description));
  for (const CertificateResult& result : measurement.results) {
    html_ += HtmlElement("h3", Text(result.name));
    if (!result.description.empty()) html_ += HtmlElement("p", Text(result.description));
    for (const CertificateTable& table : result.tables) AddTable(table);
    Facts facts(language_);
    for (const CertificateQuantity& quantity : result.quantities)
      facts.Add(Text(quantity.name), QuantityText(quantity));
    html_ += facts.Html();
  }
  AddConditions(measurement);
  AddEquipment(measurement);
  AddMethods(measurement);
}

void Page::AddStatements() {
  if (certificate_.statements.empty()) return;
  AddHeading(TextId::kPageStatements);
  for (const CertificateStatement& statement : certificate_.statements) {
    std::vector<std::string> values;
    for (const CertificateQuantity& quantity : statement.quantities) {
      values.push_back(JoinedBy({Text(quantity.name), QuantityText(quantity)}, ": "));
    }
    std::vector<std::string> conformity;
    for (const std::string& name : statement.conformity) conformity.push_back(LocalizedConformity(name, language_));
    const std::string text =
        JoinedBy({Text(statement.name), Text(statement.declaration), JoinedBy(statement.norms, ", "),
                  JoinedBy(statement.references, ", "), statement.date, JoinedBy(conformity, ", "),
                  JoinedBy(values, ", "), Text(statement.authority)},
                 " · ");
    html_ += HtmlElement("p", text);
  }
}

void Page::AddFooter(const std::string& sha256) {
  std::vector<std::string> software;
  for (const CertificateSoftware& one : certificate_.software)
    software.push_back(JoinedBy({Text(one.name), one.release}, " "));
  html_ += "<footer>\n" + HtmlElement("div", Localized(TextId::kPagePageNote)) +
           HtmlElement("div", Localized(TextId::kPageMadeWith) + " " + JoinedBy(software, ", ") + " · DCC " +
                                  certificate_.schema_version);
  if (!sha256.empty()) html_ += HtmlElement("div", Localized(TextId::kPageFileDigest) + ": " + sha256);
  html_ += "</footer>\n" + PageEnd();
}

std::string Page::Html(const std::string& sha256, const std::string& signature) {
  AddHead();
  AddSummary(signature);
  AddHeading(TextId::kPageItem);
  for (const CertificateItem& item : certificate_.items) AddItem(item);
  AddContact(TextId::kLaboratory, certificate_.laboratory, certificate_.laboratory_code);
  AddContact(TextId::kCustomer, certificate_.customer, "");
  AddStatements();
  for (const CertificateMeasurement& measurement : certificate_.measurements) AddMeasurement(measurement);
  AddFooter(sha256);
  return std::move(html_);
}

class Budgets {
 public:
  Budgets(const RunResult& run, Language language) : run_(run), language_(language) {}

  std::string Html(const Evaluation& evaluation) const;

 private:
  std::string Number(double value) const;
  std::string PointHtml(const std::string& title, const EvaluatedPoint& point) const;
  Row TermRow(const BudgetTerm& term) const;

  const RunResult& run_;
  Language language_;
};

std::string Budgets::Number(double value) const {
  constexpr int kDigits = 4;
  std::string number = std::isinf(value) ? "∞" : FormatGeneral(value, kDigits);
  if (language_ == Language::kFrench) std::replace(number.begin(), number.end(), '.', ',');
  return number;
}

Row Budgets::TermRow(const BudgetTerm& term) const {
  return {{language_ == Language::kFrench ? term.name_fr : term.name_en},
          {Number(term.value), CellKind::kNumber},
          {Utf8Of(DistributionText(term.distribution), language_)},
          {Number(term.Divisor()), CellKind::kNumber},
          {Number(term.sensitivity), CellKind::kNumber},
          {Number(term.Contribution()), CellKind::kNumber},
          {Number(term.freedom), CellKind::kNumber}};
}

std::string Budgets::PointHtml(const std::string& title, const EvaluatedPoint& point) const {
  std::vector<Row> rows;
  for (const BudgetTerm& term : point.budget.terms) rows.push_back(TermRow(term));
  rows.push_back({{Utf8Of(TextId::kPageSum, language_)},
                  {},
                  {},
                  {},
                  {},
                  {Number(point.budget.StandardUncertainty()), CellKind::kNumber},
                  {Number(point.budget.EffectiveFreedom()), CellKind::kNumber}});
  const bool floored =
      point.budget.CoverageFactor() * point.budget.StandardUncertainty() < point.budget.best_capability;
  std::string expanded = point.printed.expanded;
  std::string factor = point.printed.coverage_factor;
  for (std::string* const text : {&expanded, &factor}) {
    if (language_ == Language::kFrench) std::replace(text->begin(), text->end(), '.', ',');
  }
  const std::string unit = run_.plan.unit;
  const std::string result = floored ? Utf8Of(TextId::kPageFloored, language_, {expanded, unit})
                                     : Utf8Of(TextId::kPageExpanded, language_, {expanded, unit, factor});
  const Row head = {{Utf8Of(TextId::kPageTerm, language_)},
                    {Utf8Of(TextId::kValueLabel, language_), CellKind::kNumber},
                    {Utf8Of(TextId::kPageDistribution, language_)},
                    {Utf8Of(TextId::kPageDivisor, language_), CellKind::kNumber},
                    {Utf8Of(TextId::kPageSensitivity, language_), CellKind::kNumber},
                    {Utf8Of(TextId::kPageContribution, language_), CellKind::kNumber},
                    {"ν", CellKind::kNumber}};
  return HtmlElement("h3", title) + TableHtml(head, rows) + HtmlElement("p", result);
}

std::string Budgets::Html(const Evaluation& evaluation) const {
  std::string html = HtmlElement("h2", Utf8Of(TextId::kPageBudgets, language_));
  for (const EvaluatedUnit& unit : evaluation.units) {
    for (std::size_t p = 0; p < unit.phases.size(); ++p) {
      const EvaluatedPhase& phase = unit.phases[p];
      for (const EvaluatedPoint& point : phase.points) {
        const PointResult& measured = run_.phases[p].points[point.point];
        const std::string arrow = measured.direction == Direction::kFalling ? " ↓" : " ↑";
        html += PointHtml(
            Utf8Of(TextId::kPageBudgetOf, language_,
                   {run_.plan.units[unit.unit].name,
                    Utf8Of(phase.phase == Phase::kAsLeft ? TextId::kPhaseAsLeft : TextId::kPhaseAsFound, language_),
                    Number(measured.nominal) + " " + run_.plan.unit + arrow}),
            point);
      }
    }
  }
  return html;
}

}  // namespace

std::string CertificatePage(const Certificate& certificate, Language language, const std::string& sha256,
                            const std::string& signature) {
  return Page(certificate, language).Html(sha256, signature);
}

std::string BudgetSection(const RunResult& run, const Evaluation& evaluation, Language language) {
  return Budgets(run, language).Html(evaluation);
}

}  // namespace ulix::calibration
