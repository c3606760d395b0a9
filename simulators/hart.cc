#include "simulators/hart.h"

#include "base/numbers.h"

namespace ulix {
namespace {

constexpr int kReplyDecimals = 2;

}  // namespace

HartSimulator::HartSimulator(Clock& clock)
    : LineSimulator('\r'),
      block_(clock),
      properties_{{"temperature", &block_.temperature},
                  {"set-point", &block_.set_point},
                  {"time-constant", &block_.time_constant},
                  {"noise", &block_.noise},
                  {"lowest", &lowest_},
                  {"highest", &highest_},
                  {"reply-text", &reply_text_},
                  {"reply-unit", &reply_unit_},
                  {"temperature-heading", &temperature_heading_},
                  {"set-point-heading", &set_point_heading_}} {
  block_.set_point = 25;
  block_.noise = 0.02;
}

HRESULT HartSimulator::Set(std::string_view key, std::string_view value) {
  block_.Advance();
  return properties_.Set(key, value);
}

// "du=h" (half duplex) and "sa=0" change nothing: the simulator always behaves so.
SimulatedReply HartSimulator::Answer(std::string_view request) {
  if (request == "t") return Localized(temperature_heading_, block_.Measure());
  if (request == "s") return Localized(set_point_heading_, block_.set_point);
  if (request == "lf=of") {
    end_ = "\r";
    return {};
  }
  const bool known =
      request == "du=h" || request == "sa=0" || (request.starts_with("s=") && TakeSetPoint(request.substr(2)));
  if (!known) NoteUnknown(request);
  return {};
}

SimulatedReply HartSimulator::Localized(std::string_view word, double value) const {
  const std::string text = std::string(word) + ':' + FormatFixed(value, kReplyDecimals) + ' ' + reply_unit_;
  return {(reply_text_.empty() ? text : reply_text_) + end_, true};
}

// False for a text that is not a number with two decimals. A set point outside the limits is a known request, but is
// not applied.
bool HartSimulator::TakeSetPoint(std::string_view number) {
  const auto value = ParseDecimal(number);
  if (!value || FormatFixed(*value, kReplyDecimals) != number) return false;
  if (*value >= lowest_ && *value <= highest_) block_.SetPoint(*value);
  return true;
}

std::unique_ptr<Simulator> hart::MakeSimulator(Clock& clock) { return std::make_unique<HartSimulator>(clock); }

}  // namespace ulix
