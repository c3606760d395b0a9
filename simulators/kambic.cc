#include "simulators/kambic.h"

#include "base/numbers.h"

namespace ulix {
namespace {

constexpr std::string_view kSetPointWord = "SETTEMP=";
constexpr int kTemperatureDecimals = 3;

std::string Field(std::string_view key, double value) {
  return std::string(key) + "= " + FormatFixed(value, kTemperatureDecimals);
}

}  // namespace

KambicSimulator::KambicSimulator(Clock& clock)
    : LineSimulator('\n'),
      bath_(clock),
      properties_{{"identity", &identity_},
                  {"temperature", &bath_.temperature},
                  {"set-point", &bath_.set_point},
                  {"time-constant", &bath_.time_constant},
                  {"noise", &bath_.noise},
                  {"lowest", &lowest_},
                  {"highest", &highest_},
                  {"reading-text", &reading_text_},
                  {"set-point-text", &set_point_text_}} {}

HRESULT KambicSimulator::Set(std::string_view key, std::string_view value) {
  bath_.Advance();
  return properties_.Set(key, value);
}

SimulatedReply KambicSimulator::Answer(std::string_view request) {
  if (request == "IDENT") return {identity_ + "\r\n", true};
  if (request == "TXD") {
    const std::string values = Field("T", bath_.Measure()) + '\r' + Field("TSET", bath_.set_point);
    return {(reading_text_.empty() ? values : reading_text_) + "\r\n", true};
  }
  if (request.starts_with(kSetPointWord)) return {SetPoint(request) + "\r\n", true};
  NoteUnknown(request);
  return {Refusal(), true};
}

// A set point must have exactly three decimals.
std::string KambicSimulator::SetPoint(std::string_view request) {
  const std::string_view number = request.substr(kSetPointWord.size());
  const auto value = ParseDecimal(number);
  if (!value || FormatFixed(*value, kTemperatureDecimals) != number) {
    NoteUnknown(request);
    return "COMMAND ERROR";
  }
  if (*value < lowest_ || *value > highest_) return "OUT OF RANGE";
  bath_.SetPoint(*value);
  return set_point_text_.empty() ? Field("SETTEMP", *value) : set_point_text_;
}

std::unique_ptr<Simulator> kambic::MakeSimulator(Clock& clock) { return std::make_unique<KambicSimulator>(clock); }

}  // namespace ulix
