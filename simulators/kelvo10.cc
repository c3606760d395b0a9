#include "simulators/kelvo10.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <numbers>
#include <optional>
#include <span>

#include "base/numbers.h"

namespace ulix {
namespace {

// Hosts read at most this many characters of a configuration line.
constexpr std::size_t kLongestLine = 49;

// The parameters that a function takes on one side, in this order.
enum Takes : unsigned {
  kNothing = 0,
  kConnection = 1,
  kConnectionIfGiven = 2,  // thermocouples are connected one way: the word may be left out
  kSensorAndUnit = 4,
  kColdJunction = 8,
};

struct Function {
  std::string_view word;
  unsigned input;   // Takes
  unsigned output;  // Takes
  int decimals;
  std::string_view unit;  // empty: the temperature unit asked for
};

constexpr unsigned kThermocouple = kConnectionIfGiven | kSensorAndUnit | kColdJunction;
constexpr unsigned kResistanceThermometer = kConnection | kSensorAndUnit;

constexpr Function kFunctions[] = {
    {"V50", kNothing, kNothing, 3, "V"},         {"V5", kNothing, kNothing, 4, "V"},
    {"MV500", kNothing, kNothing, 5, "V"},       {"MV50", kNothing, kNothing, 6, "V"},
    {"V_AUTO", kNothing, kNothing, 6, "V"},      {"MA50", kConnection, kConnection, 3, "mA"},
    {"MA24", kConnection, kConnection, 3, "mA"}, {"OHM5000", kConnection, kNothing, 1, "Ohm"},
    {"OHM500", kConnection, kNothing, 2, "Ohm"}, {"OHM_AUTO", kConnection, kNothing, 6, "Ohm"},
    {"TC", kThermocouple, kThermocouple, 1, ""}, {"RT", kResistanceThermometer, kResistanceThermometer, 1, ""},
};

constexpr std::string_view kConnections[] = {"WIRE2", "WIRE3", "WIRE4", "TXP", "TXA", "TXA24", "TXA50"};
constexpr std::string_view kSensors[] = {
    "TYP_K",     "TYP_T",     "TYP_J",    "TYP_E",    "TYP_N",     "TYP_U",     "TYP_L",     "TYP_S",     "TYP_R",
    "TYP_B",     "TYP_C",     "TYP_PL",   "TYP_MO",   "TYP_PT50",  "TYP_PT100", "TYP_PT200", "TYP_PT500", "TYP_PT1000",
    "TYP_A3916", "TYP_A3926", "TYP_CU10", "TYP_CU50", "TYP_NI100", "TYP_NI120", "TYP_NI1000"};
constexpr std::string_view kUnits[] = {"CEL", "FAR", "K"};
constexpr std::string_view kColdJunctions[] = {"JR_ON", "JR_OFF", "JR_RTD"};
constexpr std::string_view kProgrammedColdJunction[] = {"JR_PROG"};

// The parameters of a request, taken one after the other.
class Parameters {
 public:
  explicit Parameters(std::string_view text) : rest_(text) {}

  // Takes the next word if it is one of `words`; empty, and nothing taken, if not.
  std::string_view TakeOneOf(std::span<const std::string_view> words) {
    const std::string_view next = Next();
    if (std::find(words.begin(), words.end(), next) == words.end()) return {};
    Skip(next);
    return next;
  }

  bool TakeNumber() {
    const std::string_view next = Next();
    if (!ParseDecimal(next)) return false;
    Skip(next);
    return true;
  }

  const Function* TakeFunction() {
    const auto row = std::find_if(std::begin(kFunctions), std::end(kFunctions),
                                  [&](const Function& function) { return function.word == Next(); });
    if (row == std::end(kFunctions)) return nullptr;
    Skip(row->word);
    return row;
  }

  bool AtEnd() const { return over_; }

 private:
  std::string_view Next() const { return over_ ? std::string_view{} : rest_.substr(0, rest_.find(',')); }
  void Skip(std::string_view word) {
    over_ = word.size() == rest_.size();
    rest_.remove_prefix(over_ ? word.size() : word.size() + 1);
  }

  std::string_view rest_;
  bool over_ = false;
};

bool TakeConnection(Parameters& from, unsigned takes) {
  if (!(takes & (kConnection | kConnectionIfGiven))) return true;
  return !from.TakeOneOf(kConnections).empty() || (takes & kConnectionIfGiven);
}

bool TakeColdJunction(Parameters& from) {
  if (!from.TakeOneOf(kColdJunctions).empty()) return true;
  return !from.TakeOneOf(kProgrammedColdJunction).empty() && from.TakeNumber();
}

// The unit of the range's values; none when the parameters are not those of the function.
std::optional<std::string_view> TakeUnit(Parameters& from, const Function& function, unsigned takes) {
  std::string_view unit = function.unit;
  if (!TakeConnection(from, takes)) return std::nullopt;
  if (takes & kSensorAndUnit) {
    if (from.TakeOneOf(kSensors).empty()) return std::nullopt;
    unit = from.TakeOneOf(kUnits);
  }
  if ((takes & kColdJunction) && !TakeColdJunction(from)) return std::nullopt;
  return unit.empty() || !from.AtEnd() ? std::nullopt : std::optional(unit);
}

}  // namespace

double Kelvo10Model::Source() const {
  if (follow_output) return output_on ? output : 0;
  if (period <= 0) return input;
  const double seconds = std::chrono::duration<double>(clock_.Now() - started_).count();
  return input + amplitude * std::sin(2 * std::numbers::pi * seconds / period);
}

double Kelvo10Model::Measure() { return Source() + random_.Next(noise); }

Kelvo10Simulator::Kelvo10Simulator(Clock& clock)
    : LineSimulator('\n'),
      model_(clock),
      properties_{{"identity", &identity_},         {"input", &model_.input},
                  {"amplitude", &model_.amplitude}, {"period", &model_.period},
                  {"noise", &model_.noise},         {"follow-output", &model_.follow_output},
                  {"measure-text", &measure_text_}, {"reply-unit", &reply_unit_}} {}

// A request with an argument has a blank at the end of its word. The handler gives the answer, or nothing for an
// argument that the instrument does not take.
struct Kelvo10Simulator::Request {
  std::string_view word;
  bool answered;
  std::optional<std::string> (*handle)(Kelvo10Simulator& self, std::string_view argument);

  bool Fits(std::string_view text) const { return word.ends_with(' ') ? text.starts_with(word) : text == word; }
};

const std::vector<Kelvo10Simulator::Request>& Kelvo10Simulator::Requests() {
  using Self = Kelvo10Simulator;
  using Text = std::string_view;
  using Taken = std::optional<std::string>;
  static const auto done = [](bool& state, bool value) -> Taken { return state = value, ""; };
  static const auto taken = [](bool valid) { return valid ? Taken("") : std::nullopt; };
  static const std::vector<Request> requests = {
      {"*IDN?", true, [](Self& self, Text) -> Taken { return self.identity_; }},
      {"REM", false, [](Self& self, Text) { return done(self.model_.remote, true); }},
      {"LOC", false, [](Self& self, Text) { return done(self.model_.remote, false); }},
      {"RANGE_IN ", false, [](Self& self, Text words) { return taken(self.TakeRange(self.input_, words)); }},
      {"RANGE_OUT ", false, [](Self& self, Text words) { return taken(self.TakeRange(self.output_, words)); }},
      {"MEAS RUN", false, [](Self& self, Text) { return done(self.model_.measuring, true); }},
      {"CFG_IN?", true, [](Self& self, Text) -> Taken { return self.input_.Line(); }},
      {"CFG_OUT?", true, [](Self& self, Text) -> Taken { return self.output_.Line(); }},
      {"MEAS?", true, [](Self& self, Text) -> Taken { return self.MeasuredText(); }},
      {"OUT ", false, [](Self& self, Text number) { return taken(self.TakeOutput(number)); }},
      {"OPER", false, [](Self& self, Text) { return done(self.model_.output_on, true); }},
  };
  return requests;
}

SimulatedReply Kelvo10Simulator::Answer(std::string_view request) {
  const auto row = std::find_if(Requests().begin(), Requests().end(),
                                [&](const Request& candidate) { return candidate.Fits(request); });
  const auto answer = row == Requests().end() ? std::nullopt : row->handle(*this, request.substr(row->word.size()));
  if (!answer) NoteUnknown(request);
  return answer && row->answered ? SimulatedReply{*answer + '\n', true} : SimulatedReply{};
}

std::string Kelvo10Simulator::MeasuredText() {
  if (!measure_text_.empty()) return measure_text_;
  const std::string number = FormatFixed(model_.Measure(), input_.decimals);
  return reply_unit_ ? number + ' ' + input_.unit : number;
}

bool Kelvo10Simulator::TakeRange(Side& side, std::string_view words) {
  Parameters from(words);
  const Function* function = from.TakeFunction();
  if (!function || side.command.size() + words.size() > kLongestLine) return false;
  const auto unit = TakeUnit(from, *function, &side == &input_ ? function->input : function->output);
  if (!unit) return false;
  side.words = words;
  side.decimals = function->decimals;
  side.unit = *unit;
  return true;
}

bool Kelvo10Simulator::TakeOutput(std::string_view number) {
  const auto value = ParseDecimal(number);
  if (value) model_.output = *value;
  return value.has_value();
}

}  // namespace ulix
