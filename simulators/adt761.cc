#include "simulators/adt761.h"

#include <algorithm>

#include "base/numbers.h"

namespace ulix {
namespace {

constexpr std::string_view kRead = ":R:";
constexpr std::string_view kWrite = ":W:";

// The unit of voltages, currents and switching times in answers.
std::string_view UnitOf(std::string_view item) { return item == "MA" ? "MA" : item == "V" ? "V" : "S"; }

std::string Fields(std::string_view name, const std::string& value, std::string_view unit) {
  return std::string(name).append(":").append(value).append(":").append(unit);
}

}  // namespace

Adt761Simulator::Adt761Simulator(Clock& clock)
    : LineSimulator('\0'),
      controller_(clock),
      properties_{{"frame-prefix", &prefix_},
                  {"type", &type_},
                  {"item", &item_},
                  {"pressure", &controller_.temperature},
                  {"set-point", &controller_.set_point},
                  {"time-constant", &controller_.time_constant},
                  {"noise", &controller_.noise},
                  {"pressure-unit", &unit_},
                  {"value", &value_},
                  {"atmosphere", &atmosphere_},
                  {"source", &source_},
                  {"source-power", &source_power_},
                  {"loop-power", &loop_power_},
                  {"keypad-locked", &keypad_locked_},
                  {"run-kind", &run_kind_},
                  {"set-point-text", &set_point_text_},
                  {"refused", &refused_}} {
  controller_.temperature = controller_.set_point = 100;
  controller_.time_constant = 3;
  controller_.noise = 0.005;
}

HRESULT Adt761Simulator::Set(std::string_view key, std::string_view value) {
  controller_.Advance();
  return properties_.Set(key, value);
}

// A request without the prefix is for another instrument and is ignored.
SimulatedReply Adt761Simulator::Answer(std::string_view request) {
  const std::string prefix(1, static_cast<char>(prefix_));
  const std::string_view text = request.substr(request.starts_with(prefix) ? 1 : 0);
  if (text.size() == request.size()) {
    NoteUnknown(request);
    return {};
  }
  const std::string_view name = text.substr(std::min<std::size_t>(3, text.size()));
  std::optional<std::string> said;
  if (text.starts_with(kRead)) said = Tell(name);
  if (text.starts_with(kWrite) && name.rfind(':') != std::string_view::npos) {
    const std::string_view order = name.substr(0, name.rfind(':'));
    if (Take(order, name.substr(order.size() + 1))) said = std::string(order) + ":OK";
  }
  if (!said) NoteUnknown(request);
  const bool refused = !said || (!refused_.empty() && name.starts_with(refused_));
  return {refused ? Refusal() : ":F:" + *said + '\0', true};
}

std::optional<std::string> Adt761Simulator::Tell(std::string_view name) {
  if (name == "OTYPE") return "OTYPE:" + type_;
  if (name == "MITEM") return "MITEM:" + item_;
  if (name == "SITEM") return "SITEM:MA";
  if (name == "MVAL") return Fields(name, FormatFixed(value_, 4), UnitOf(item_));
  if (name == "OATMO") return Fields(name, FormatFixed(atmosphere_, 3), "KPA");
  if (name == "SMAVALUE") return Fields(name, FormatFixed(source_, 3), "MA");
  if (name == "SMAPOWER") return std::string("SMAPOWER:") + (source_power_ ? '1' : '0');
  if (name == "O24POWER") return std::string("O24POWER:") + (loop_power_ ? '1' : '0');
  if (name == "ORUNKIND") return "ORUNKIND:" + FormatFixed(run_kind_, 0);
  if (name == "CSV") return set_point_text_.empty() ? FormatFixed(controller_.set_point, 2) : set_point_text_;
  return TellPressure(name);
}

// Only the measured pressure range has a value.
std::optional<std::string> Adt761Simulator::TellPressure(std::string_view name) {
  if (name != "HPMVALUE" && name != "LPMVALUE" && name != "EPMVALUE") return std::nullopt;
  const bool other_range = name[0] != 'E' && item_ + "VALUE" != name;
  return Fields(name, other_range ? "NaN" : FormatFixed(Pressure(), 3), unit_);
}

double Adt761Simulator::Pressure() {
  const auto connected = controller_.place ? controller_.place->Input(0) : std::nullopt;
  return connected ? *connected : controller_.Measure();
}

bool Adt761Simulator::Take(std::string_view name, std::string_view value) {
  if (value == "0" || value == "1") return TakeSwitch(name, value == "1");
  const int decimals = name == "SMAVAL" ? 3 : 2;
  const auto number = ParseDecimal(value);
  if (!number || FormatFixed(*number, decimals) != value) return false;
  if (name == "SMAVAL") {
    source_ = *number;
  } else if (name == "CSV") {
    controller_.SetPoint(*number);
  } else {
    return false;
  }
  return true;
}

bool Adt761Simulator::TakeSwitch(std::string_view name, bool on) {
  if (name == "CVENT") {
    if (on) controller_.SetPoint(0);
  } else if (name == "SMAPOWER") {
    source_power_ = on;
  } else if (name == "O24POWER") {
    loop_power_ = on;
  } else if (name == "OKEYLOCK") {
    keypad_locked_ = on;
  } else if (name == "OIPMUNIT" && on) {
    unit_ = "KPA";
  } else {
    return false;
  }
  return true;
}

std::unique_ptr<Simulator> adt761::MakeSimulator(Clock& clock) { return std::make_unique<Adt761Simulator>(clock); }

}  // namespace ulix
