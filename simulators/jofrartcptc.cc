#include "simulators/jofrartcptc.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "base/numbers.h"
#include "base/text.h"

namespace ulix {
namespace {

struct Unit {
  std::string_view name;
  double factor;
  double offset;
};
constexpr Unit kUnits[] = {{"CEL", 1, 0}, {"FAR", 1.8, 32}, {"KEL", 1, 273.15}};

const Unit* FindUnit(std::string_view name) {
  const auto row =
      std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit& unit) { return unit.name == name; });
  return row == std::end(kUnits) ? nullptr : row;
}

std::string Hundredths(double value) { return FormatFixed(value, 2); }

// A set point must have exactly two decimals.
std::optional<double> ParseHundredths(std::string_view text) {
  const auto value = ParseDecimal(text);
  return value && Hundredths(*value) == text ? value : std::nullopt;
}

// The fields of "LiveSensors?" that are not always 0.
constexpr std::size_t kTrueField = 5;
constexpr std::size_t kSensorField = 15;
constexpr std::size_t kTargetField = 24;
constexpr std::size_t kFields = 26;

}  // namespace

JofraRtcPtcSimulator::JofraRtcPtcSimulator(Clock& clock)
    : LineSimulator('\r'),
      block_(clock),
      properties_{{"model", &model_},
                  {"identity", &identity_},
                  {"ctc-identity", &ctc_identity_},
                  {"temperature", &block_.temperature},
                  {"set-point", &block_.set_point},
                  {"time-constant", &block_.time_constant},
                  {"noise", &block_.noise},
                  {"unit", &unit_},
                  {"sensor-offset", &sensor_offset_},
                  {"internal-offset", &internal_offset_},
                  {"sensor-connected", &sensor_connected_},
                  {"locked", &locked_},
                  {"stuck", &stuck_},
                  {"line-feed", &line_feed_},
                  {"ascii-text", &ascii_text_}} {}

HRESULT JofraRtcPtcSimulator::Set(std::string_view key, std::string_view value) {
  const bool known_model = EqualIgnoringCase(value, "CTC") || EqualIgnoringCase(value, "RTC/PTC");
  if (EqualIgnoringCase(key, "model") && !known_model) return E_INVALIDARG;
  if (EqualIgnoringCase(key, "unit") && !FindUnit(value)) return E_INVALIDARG;
  block_.Advance();
  const HRESULT result = properties_.Set(key, value);
  model_ = AsciiUpper(model_);
  return result;
}

// The name of a request with an argument ends with a blank.
struct JofraRtcPtcSimulator::Request {
  enum Series { kRtcPtc, kCtc, kBoth };
  std::string_view name;
  Series series;
  bool needs_host;  // The host must have logged on or set remote mode.
  Taken (*handle)(JofraRtcPtcSimulator& self, std::string_view argument);

  bool Fits(std::string_view text, bool ctc) const {
    if (series != kBoth && (series == kCtc) != ctc) return false;
    return name.ends_with(' ') ? text.starts_with(name) : text == name;
  }
};

const std::vector<JofraRtcPtcSimulator::Request>& JofraRtcPtcSimulator::Requests() {
  using Self = JofraRtcPtcSimulator;
  using Text = std::string_view;
  static const auto free = [](Self& self, const char* answer) -> Taken { return self.taken_ = false, answer; };
  static const std::vector<Request> requests = {
      {"ascii+", Request::kBoth, false, [](Self& self, Text) { return self.Activate(); }},
      {"ascii-", Request::kRtcPtc, false, [](Self& self, Text) -> Taken { return self.ascii_ = false, ""; }},
      {"CalibratorDevice?", Request::kRtcPtc, false,
       [](Self& self, Text) -> Taken {
         return "<GetResponse CalibratorDevice 605157 00012 1.20 230V " + std::string("Jofra ") + self.identity_ +
                " 0>";
       }},
      {"LogOn", Request::kRtcPtc, false, [](Self& self, Text) { return self.LogOn(); }},
      {"Isloggedon?", Request::kRtcPtc, false,
       [](Self& self, Text) -> Taken {
         return self.taken_ ? "<GetResponse Isloggedon True>" : "<GetResponse Isloggedon False>";
       }},
      {"LogOff", Request::kRtcPtc, false, [](Self& self, Text) { return free(self, "<CallResponse LogOff>"); }},
      {"LiveSensors?", Request::kRtcPtc, false, [](Self& self, Text) { return self.LiveSensors(); }},
      {"Settemperature ", Request::kRtcPtc, true, [](Self& self, Text number) { return self.SetPointRtc(number); }},
      {"Settemperature?", Request::kRtcPtc, false,
       [](Self& self, Text) -> Taken {
         return "<GetResponse SETTemperature " + Hundredths(self.block_.set_point) + ">";
       }},
      {"*CLS", Request::kCtc, false, [](Self&, Text) -> Taken { return ""; }},
      {"*IDN?", Request::kCtc, false, [](Self& self, Text) -> Taken { return self.ctc_identity_; }},
      {"REMOTE", Request::kCtc, false, [](Self& self, Text) { return self.Remote(); }},
      {"LOCAL", Request::kCtc, false, [](Self& self, Text) { return free(self, ""); }},
      {"REMOTE_MODE?", Request::kCtc, false,
       [](Self& self, Text) -> Taken { return self.taken_ ? "REMOTE" : "LOCAL"; }},
      {"READINGS?", Request::kCtc, false, [](Self& self, Text) { return self.Readings(); }},
      {"SETTEMP ", Request::kCtc, true, [](Self& self, Text arguments) { return self.SetPointCtc(arguments); }},
      {"SETTEMP?", Request::kCtc, false,
       [](Self& self, Text) -> Taken { return self.WithUnit(self.block_.set_point); }},
  };
  return requests;
}

SimulatedReply JofraRtcPtcSimulator::Answer(std::string_view request) {
  const auto row = std::find_if(Requests().begin(), Requests().end(),
                                [&](const Request& candidate) { return candidate.Fits(request, IsCtc()); });
  const bool known = row != Requests().end() && (IsCtc() || ascii_ || row->name == "ascii+");
  const auto answer =
      known && (taken_ || !row->needs_host) ? row->handle(*this, request.substr(row->name.size())) : std::nullopt;
  if (!answer) {
    NoteUnknown(request);
    return {Refusal(), true};
  }
  return answer->empty() ? SimulatedReply{} : SimulatedReply{Line(*answer), true};
}

// A CTC has only the ASCII protocol and does not know this command.
JofraRtcPtcSimulator::Taken JofraRtcPtcSimulator::Activate() {
  if (!ascii_text_.empty()) return ascii_text_;
  const bool news = !IsCtc() && !ascii_;
  ascii_ = true;
  return news ? "<ASCII protocol activated>" : "<Error Invalid command or argument(s)>";
}

JofraRtcPtcSimulator::Taken JofraRtcPtcSimulator::LogOn() {
  if (locked_) return std::nullopt;
  taken_ = true;
  return "<CallResponse TelegramValue`1>";
}

JofraRtcPtcSimulator::Taken JofraRtcPtcSimulator::Remote() {
  taken_ = !locked_;
  return "";
}

JofraRtcPtcSimulator::Taken JofraRtcPtcSimulator::LiveSensors() {
  std::array<std::string, kFields> fields;
  fields.fill("0");
  fields[0] = "<GetResponse";
  fields[1] = "LiveSensors";
  fields[kTrueField] = FormatFixed(block_.Measure(), 3);
  fields[kSensorField] = sensor_connected_ ? FormatFixed(Sensor(), 3) : "NaN";
  fields[kTargetField] = Hundredths(block_.set_point);
  std::string line;
  for (const std::string& field : fields) line += (line.empty() ? "" : " ") + field;
  return line + ">";
}

JofraRtcPtcSimulator::Taken JofraRtcPtcSimulator::Readings() {
  const double temperature = block_.Measure();
  const std::string sensor = sensor_connected_ ? WithUnit(Sensor()) : "NaN, " + unit_;
  return WithUnit(temperature + internal_offset_) + ", " + WithUnit(block_.set_point) + ", " + WithUnit(temperature) +
         ", 1, " + sensor;
}

double JofraRtcPtcSimulator::Sensor() {
  const auto connected = block_.place ? block_.place->Input(0) : std::nullopt;
  return connected ? *connected : block_.Measure() + sensor_offset_;
}

JofraRtcPtcSimulator::Taken JofraRtcPtcSimulator::SetPointRtc(std::string_view number) {
  const auto value = ParseHundredths(number);
  if (!value) return std::nullopt;
  SetPoint(*value);
  return "<SetResponse SETTemperature>";
}

JofraRtcPtcSimulator::Taken JofraRtcPtcSimulator::SetPointCtc(std::string_view arguments) {
  const std::size_t blank = arguments.find(' ');
  const auto value = ParseHundredths(arguments.substr(0, blank));
  const Unit* unit = blank == arguments.npos ? nullptr : FindUnit(arguments.substr(blank + 1));
  if (!value || !unit) return std::nullopt;
  SetPoint((*value - unit->offset) / unit->factor);
  return "";
}

void JofraRtcPtcSimulator::SetPoint(double celsius) {
  if (!stuck_) block_.SetPoint(celsius);
}

std::string JofraRtcPtcSimulator::WithUnit(double celsius) const {
  const Unit* unit = FindUnit(unit_);
  return Hundredths(celsius * unit->factor + unit->offset) + ", " + unit_;
}

std::unique_ptr<Simulator> jofrartcptc::MakeSimulator(Clock& clock) {
  return std::make_unique<JofraRtcPtcSimulator>(clock);
}

}  // namespace ulix
