#include "tools/ulix/report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "base/html_page.h"
#include "base/markup.h"
#include "base/numbers.h"
#include "core/version.h"
#include "platform/clock.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/svg_plot.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/time_axis.h"

namespace ulix::cli {
namespace {

constexpr std::size_t kChannelsOfATable = 6;  // what the width of paper has room for

using Cell = HtmlCell;
using Kind = CellKind;

// The page under construction. Each function adds one part.
class Page {
 public:
  Page(const Recording& recording, const ErrorText& error_text, Language language)
      : recording_(recording), error_text_(error_text), language_(language) {}

  void AddHead(const std::string& title);
  void AddFacts(TextId heading, const std::vector<Fact>& facts);
  void AddMeasurement(std::vector<Fact> facts);
  void AddSettings(const ReportFacts& facts);
  void AddPlot(const std::string& title);
  void AddStatistics();
  void AddErrors();
  void AddReadings();
  std::string Finish();

 private:
  std::string Text(TextId text) const { return Shown(text, language_); }
  std::string Time(Date date) const { return ShownTime(date, language_); }
  void AddHeading(TextId text) { html_ += HtmlElement("h2", Text(text)); }
  void AddNote(const std::string& text) { html_ += "<p class=\"note\">" + Escaped(text) + "</p>\n"; }
  std::string Duration() const;
  std::string TimeOf(const RecordedRow& row) const;
  Cell Number(const Channel& channel, std::optional<double> value, int more_decimals) const;
  Cell Difference(std::optional<double> value) const;
  std::string FailureText(HRESULT code) const;
  void AddReadingsOf(std::size_t first, std::size_t end);
  Cell Reading(const RecordedRow& row, std::size_t channel) const;

  const Recording& recording_;
  const ErrorText& error_text_;
  Language language_;
  std::string html_;
};

std::string WithUnit(const Channel& channel) {
  return channel.unit.empty() ? channel.name : channel.name + " (" + channel.unit + ")";
}

void Page::AddHead(const std::string& title) {
  html_ += PageStart(title, language_) + HtmlElement("h1", title);
  if (recording_.row_count() == 0) return;
  const Date first = recording_.first_time();
  html_ += "<p class=\"when\">" + Escaped(Time(first) + " - " + Time(recording_.last_time())) + "</p>\n";
}

void Page::AddFacts(TextId heading, const std::vector<Fact>& facts) {
  if (facts.empty()) return;
  AddHeading(heading);
  html_ += HtmlFacts(facts);
}

// Shows the settings that differ from their default. The others are in a part that can be unfolded.
void Page::AddSettings(const ReportFacts& facts) {
  AddFacts(TextId::kSettings, facts.settings);
  if (facts.default_settings.empty()) return;
  if (facts.settings.empty()) AddHeading(TextId::kSettings);
  const std::string count = std::to_string(facts.default_settings.size());
  html_ += "<details>\n" + HtmlElement("summary", Shown(TextId::kSettingsAtDefault, language_, {count})) +
           HtmlFacts(facts.default_settings) + "</details>\n";
}

// The duration in its two largest units, such as hours and minutes.
std::string Page::Duration() const {
  struct Pair {
    std::int64_t seconds;
    std::int64_t smaller;
    TextId label;
  };
  constexpr std::array kPairs = {Pair{86400, 3600, TextId::kDays}, Pair{3600, 60, TextId::kHours},
                                 Pair{60, 1, TextId::kMinutes}};
  const double seconds = (recording_.last_time() - recording_.first_time()) * kSecondsPerDay;
  const auto whole = static_cast<std::int64_t>(std::llround(seconds));
  for (const Pair& pair : kPairs) {
    if (whole < pair.seconds) continue;
    return Shown(pair.label, language_,
                 {std::to_string(whole / pair.seconds), std::to_string(whole % pair.seconds / pair.smaller)});
  }
  return Shown(TextId::kSeconds, language_, {InLanguage(FormatFixed(seconds, 3), language_)});
}

void Page::AddMeasurement(std::vector<Fact> facts) {
  if (recording_.row_count() > 0) {
    facts.emplace_back(Shown(TextId::kFrom), Time(recording_.first_time()));
    facts.emplace_back(Shown(TextId::kTo), Time(recording_.last_time()));
    facts.emplace_back(Shown(TextId::kDuration), Duration());
  }
  facts.emplace_back(Shown(TextId::kRows), std::to_string(recording_.row_count()));
  if (recording_.late_count() > 0)
    facts.emplace_back(Shown(TextId::kLateReadings), std::to_string(recording_.late_count()));
  AddFacts(TextId::kMeasurement, facts);
}

void Page::AddPlot(const std::string& title) {
  AddHeading(TextId::kPlot);
  std::vector<PlotCurve> curves;
  for (const RecordedChannel& channel : recording_.channels()) curves.push_back(channel.curve);
  html_ += PlotSvg(title, curves, language_, PlotPlace::kPage);
}

// A value with the decimals of the channel, plus `more_decimals` for a value computed from many readings.
Cell Page::Number(const Channel& channel, std::optional<double> value, int more_decimals) const {
  constexpr double kMaxPlain = 1e9;
  constexpr int kDigits = 7;
  if (!value) return {"-", Kind::kNumber};
  const bool plain = channel.resolution != kShortest && std::abs(*value) < kMaxPlain;
  const std::string text =
      plain ? FormatFixed(*value, channel.resolution + more_decimals) : FormatGeneral(*value, kDigits);
  return {InLanguage(text, language_), Kind::kNumber};
}

// A difference between readings, with as many digits as are significant.
Cell Page::Difference(std::optional<double> value) const {
  constexpr int kDigits = 4;
  return {value ? InLanguage(FormatGeneral(*value, kDigits), language_) : "-", Kind::kNumber};
}

void Page::AddStatistics() {
  AddHeading(TextId::kStatistics);
  HtmlRow head{{Shown(TextId::kChannelLabel)}, {Shown(TextId::kUnit)}};
  for (const TextId label : {TextId::kReadingCount, TextId::kFailedCount, TextId::kMinimum, TextId::kMaximum,
                             TextId::kMean, TextId::kDeviation, TextId::kFirst, TextId::kLast, TextId::kDrift}) {
    head.push_back({Text(label), Kind::kNumber});
  }
  HtmlTable table(head);
  for (const auto& [channel, statistics, curve] : recording_.channels()) {
    const auto number = [&, &of = channel, any = statistics.good() > 0](std::optional<double> value, int more) {
      return Number(of, any ? value : std::nullopt, more);
    };
    table.Add({{channel.name},
               {channel.unit},
               {std::to_string(statistics.count()), Kind::kNumber},
               {std::to_string(statistics.failed()), statistics.failed() > 0 ? Kind::kBad : Kind::kNumber},
               number(statistics.min(), 0),
               number(statistics.max(), 0),
               number(statistics.mean(), 1),
               Difference(statistics.deviation()),
               number(statistics.first(), 0),
               number(statistics.last(), 0),
               Difference(statistics.drift())});
  }
  html_ += table.Html();
}

std::string Page::FailureText(HRESULT code) const {
  return code == S_OK ? Shown(TextId::kNoNumber) : error_text_(code);
}

void Page::AddErrors() {
  AddHeading(TextId::kErrors);
  if (recording_.failures().empty()) {
    html_ += HtmlElement("p", Shown(TextId::kNoErrors));
    return;
  }
  HtmlTable table({{Shown(TextId::kFrom)},
                   {Shown(TextId::kTo)},
                   {Shown(TextId::kChannelLabel)},
                   {Shown(TextId::kReadings), Kind::kNumber},
                   {Shown(TextId::kCode)},
                   {Shown(TextId::kText)}});
  for (const RecordedFailure& failure : recording_.failures()) {
    table.Add({{Time(failure.first), Kind::kOneLine},
               {Time(failure.last), Kind::kOneLine},
               {recording_.channels()[failure.channel].channel.name},
               {std::to_string(failure.readings), Kind::kNumber},
               {failure.code == S_OK ? "" : CodeText(failure.code), Kind::kOneLine},
               {FailureText(failure.code)}});
  }
  html_ += table.Html();
  if (recording_.failures_left_out() == 0) return;
  AddNote(Shown(TextId::kErrorsLeftOut, language_,
                {std::to_string(recording_.failures_left_out()), std::to_string(recording_.failures().size())}));
}

Cell Page::Reading(const RecordedRow& row, std::size_t channel) const {
  if (channel >= row.cells.size() || !row.cells[channel].held) return {};
  const RecordedCell& cell = row.cells[channel];
  if (!cell.value) return {cell.code == S_OK ? Shown(TextId::kNoNumber) : CodeText(cell.code), Kind::kBad};
  return {InLanguage(FormatValue(recording_.channels()[channel].channel, *cell.value), language_) +
              (cell.doubtful ? "?" : ""),
          Kind::kNumber};
}

std::string Page::TimeOf(const RecordedRow& row) const {
  const std::string late = InLanguage(FormatFixed(row.late_s, 1), language_);
  return Time(row.time) + (row.late_s > 0 ? " (" + Shown(TextId::kLateBy, language_, {late}) + ")" : "");
}

// Adds a table of the channels `first` to `end` - 1.
void Page::AddReadingsOf(std::size_t first, std::size_t end) {
  HtmlRow head{{Shown(TextId::kNumber), Kind::kNumber}, {Shown(TextId::kTime)}};
  for (std::size_t k = first; k < end; ++k) {
    head.push_back({WithUnit(recording_.channels()[k].channel), Kind::kNumber});
  }
  HtmlTable table(head);
  for (const RecordedRow* row : recording_.Rows()) {
    HtmlRow cells{{std::to_string(row->number), Kind::kNumber}, {TimeOf(*row), Kind::kOneLine}};
    for (std::size_t k = first; k < end; ++k) cells.push_back(Reading(*row, k));
    table.Add(cells);
  }
  html_ += table.Html();
}

void Page::AddReadings() {
  AddHeading(TextId::kReadings);
  const std::uint64_t kept = recording_.Rows().size();
  if (kept == 0) html_ += HtmlElement("p", Shown(TextId::kNoReadings));
  if (kept < recording_.row_count()) {
    const std::string half = std::to_string(Recording::kMaxRows / 2);
    AddNote(Shown(TextId::kRowsShortened, language_, {half, half, std::to_string(recording_.row_count())}));
  }
  const std::size_t channels = recording_.channels().size();
  for (std::size_t first = 0; kept > 0 && first < channels; first += kChannelsOfATable) {
    const std::size_t end = std::min(first + kChannelsOfATable, channels);
    const std::string heading = Shown(TextId::kChannelsOf, language_,
                                      {std::to_string(first + 1), std::to_string(end), std::to_string(channels)});
    if (channels > kChannelsOfATable) html_ += HtmlElement("h3", heading);
    AddReadingsOf(first, end);
  }
}

std::string Page::Finish() {
  html_ += HtmlElement("footer", Shown(TextId::kMadeBy, language_, {VersionText()})) + PageEnd();
  return std::move(html_);
}

}  // namespace

std::string ReportHtml(const ReportFacts& facts, const Recording& recording, const ErrorText& error_text,
                       Language language) {
  Page page(recording, error_text, language);
  page.AddHead(facts.title);
  auto instrument = facts.instrument;
  instrument.emplace_back(Shown(TextId::kMadeOn, language), ShownTime(SystemClock().LocalTime(), language));
  page.AddFacts(TextId::kModel, instrument);
  page.AddMeasurement(facts.measurement);
  page.AddPlot(facts.title);
  page.AddStatistics();
  page.AddErrors();
  page.AddSettings(facts);
  page.AddReadings();
  return page.Finish();
}

void WriteReport(const ReportPlan& plan, const Recording& recording) {
  WriteWholeFile(plan.path, ReportHtml(plan.facts, recording, plan.error_text, plan.language));
}

}  // namespace ulix::cli
