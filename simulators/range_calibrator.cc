#include "simulators/range_calibrator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>

#include "base/numbers.h"

namespace ulix {
namespace {

using namespace range_takes;

// Hosts read at most this many characters of a configuration line.
constexpr std::size_t kLongestLine = 49;

constexpr std::string_view kTemperatureUnits[] = {"CEL", "FAR", "K"};
constexpr std::string_view kColdJunctions[] = {"JR_ON", "JR_OFF", "JR_RTD"};
constexpr std::string_view kProgrammedColdJunction[] = {"JR_PROG"};

// Takes the parameters of a request one after the other.
class Parameters {
 public:
  explicit Parameters(std::string_view text) : rest_(text) {}

  // Takes the next parameter when it is one of `labels`; else takes nothing and gives an empty text.
  std::string_view TakeOneOf(std::span<const std::string_view> labels) {
    const std::string_view next = Next();
    if (std::find(labels.begin(), labels.end(), next) == labels.end()) return {};
    Skip(next);
    return next;
  }

  bool TakeNumber() {
    const std::string_view next = Next();
    if (!ParseDecimal(next)) return false;
    Skip(next);
    return true;
  }

  const RangeFunction* TakeFunction(std::span<const RangeFunction> functions) {
    const auto row = std::find_if(functions.begin(), functions.end(),
                                  [&](const RangeFunction& function) { return function.label == Next(); });
    if (row == functions.end()) return nullptr;
    Skip(row->label);
    return &*row;
  }

  bool AtEnd() const { return over_; }

 private:
  std::string_view Next() const { return over_ ? std::string_view{} : rest_.substr(0, rest_.find(',')); }
  void Skip(std::string_view name) {
    over_ = name.size() == rest_.size();
    rest_.remove_prefix(over_ ? name.size() : name.size() + 1);
  }

  std::string_view rest_;
  bool over_ = false;
};

bool TakeConnection(Parameters& from, std::span<const std::string_view> labels, unsigned takes) {
  if (!(takes & (kConnection | kConnectionIfGiven))) return true;
  return !from.TakeOneOf(labels).empty() || (takes & kConnectionIfGiven);
}

bool TakeColdJunction(Parameters& from) {
  if (!from.TakeOneOf(kColdJunctions).empty()) return true;
  return !from.TakeOneOf(kProgrammedColdJunction).empty() && from.TakeNumber();
}

// The unit of the range's values; none when the parameters do not fit the function.
std::optional<std::string_view> TakeUnit(Parameters& from, const RangeCalibratorTables& tables,
                                         const RangeFunction& function, unsigned takes) {
  std::string_view unit = function.unit;
  if (!TakeConnection(from, tables.connections, takes)) return std::nullopt;
  if (takes & kSensorAndUnit) {
    if (from.TakeOneOf(tables.sensors).empty()) return std::nullopt;
    unit = from.TakeOneOf(kTemperatureUnits);
  }
  if ((takes & kColdJunction) && !TakeColdJunction(from)) return std::nullopt;
  return unit.empty() || !from.AtEnd() ? std::nullopt : std::optional(unit);
}

}  // namespace

double CalibratorModel::Source() const {
  if (follow_output) return output_on ? output : 0;
  if (period <= 0) return input;
  const double seconds = std::chrono::duration<double>(clock_.Now() - started_).count();
  return input + amplitude * std::sin(2 * std::numbers::pi * seconds / period);
}

double CalibratorModel::Measure() {
  const auto connected = place ? place->Input(0) : std::nullopt;
  return connected ? *connected : Source() + random_.Next(noise);
}

RangeCalibratorSimulator::RangeCalibratorSimulator(const RangeCalibratorTables& tables, Clock& clock)
    : LineSimulator('\n'),
      tables_(tables),
      model_(clock),
      identity_(tables.identity),
      properties_{{"identity", &identity_},         {"input", &model_.input},
                  {"amplitude", &model_.amplitude}, {"period", &model_.period},
                  {"noise", &model_.noise},         {"follow-output", &model_.follow_output},
                  {"measure-text", &measure_text_}, {"reply-unit", &reply_unit_}} {}

// The name of a request with an argument ends with a blank. The handler gives the answer, or none for an argument that
// the instrument refuses.
struct RangeCalibratorSimulator::Request {
  std::string_view name;
  bool answered;
  std::optional<std::string> (*handle)(RangeCalibratorSimulator& self, std::string_view argument);

  bool Fits(std::string_view text) const { return name.ends_with(' ') ? text.starts_with(name) : text == name; }
};

const std::vector<RangeCalibratorSimulator::Request>& RangeCalibratorSimulator::Requests() {
  using Self = RangeCalibratorSimulator;
  using Text = std::string_view;
  using Taken = std::optional<std::string>;
  static const auto done = [](bool& state, bool value) -> Taken { return state = value, ""; };
  static const auto taken = [](bool valid) { return valid ? Taken("") : std::nullopt; };
  static const std::vector<Request> requests = {
      {"*IDN?", true, [](Self& self, Text) -> Taken { return self.identity_; }},
      {"REM", false, [](Self& self, Text) { return done(self.model_.remote, true); }},
      {"LOC", false, [](Self& self, Text) { return done(self.model_.remote, false); }},
      {"RANGE_IN ", false, [](Self& self, Text parameters) { return taken(self.TakeRange(self.input_, parameters)); }},
      {"RANGE_OUT ", false,
       [](Self& self, Text parameters) { return taken(self.TakeRange(self.output_, parameters)); }},
      {"MEAS RUN", false, [](Self& self, Text) { return done(self.model_.measuring, true); }},
      {"CFG_IN?", true, [](Self& self, Text) -> Taken { return self.input_.Line(); }},
      {"CFG_OUT?", true, [](Self& self, Text) -> Taken { return self.output_.Line(); }},
      {"MEAS?", true, [](Self& self, Text) -> Taken { return self.MeasuredText(); }},
      {"OUT ", false, [](Self& self, Text number) { return taken(self.TakeOutput(number)); }},
      {"OPER", false, [](Self& self, Text) { return done(self.model_.output_on, true); }},
  };
  return requests;
}

SimulatedReply RangeCalibratorSimulator::Answer(std::string_view request) {
  const auto row = std::find_if(Requests().begin(), Requests().end(),
                                [&](const Request& candidate) { return candidate.Fits(request); });
  const auto answer = row == Requests().end() ? std::nullopt : row->handle(*this, request.substr(row->name.size()));
  if (!answer) NoteUnknown(request);
  return answer && row->answered ? SimulatedReply{*answer + '\n', true} : SimulatedReply{};
}

std::string RangeCalibratorSimulator::MeasuredText() {
  if (!measure_text_.empty()) return measure_text_;
  const std::string number = FormatFixed(model_.Measure(), input_.decimals);
  return reply_unit_ ? number + ' ' + input_.unit : number;
}

bool RangeCalibratorSimulator::TakeRange(Side& side, std::string_view parameters) {
  Parameters from(parameters);
  const RangeFunction* function = from.TakeFunction(tables_.functions);
  if (!function || side.command.size() + parameters.size() > kLongestLine) return false;
  const auto unit = TakeUnit(from, tables_, *function, &side == &input_ ? function->input : function->output);
  if (!unit) return false;
  side.parameters = parameters;
  side.decimals = function->decimals;
  side.unit = *unit;
  return true;
}

bool RangeCalibratorSimulator::TakeOutput(std::string_view number) {
  const auto value = ParseDecimal(number);
  if (value) model_.output = *value;
  return value.has_value();
}

}  // namespace ulix
