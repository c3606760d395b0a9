// The plan of a calibration by comparison: the content of the plan's file, checked, with its defaults filled in. Texts
// are UTF-8. Temperatures are in degrees Celsius and times in seconds, unless a field says otherwise.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/text.h"
#include "calibration/bench_plan.h"
#include "calibration/problem.h"

namespace ulix::calibration {

enum class Quantity { kTemperature, kPressure };

// A problem of a plan: an error, which makes the plan unusable, or a warning.
struct PlanProblem {
  int line = 0;           // in the plan's file, from 1; 0: the file as a whole
  std::string path;       // "units[1].tolerance"
  BilingualText message;  // one sentence without its full stop
  bool warning = false;
};

// One instrument of the plan.
struct PlannedInstrument {
  std::string name;
  std::string model;  // model id of the catalogue
  std::string port;   // number, COMn, device, tcp://HOST:PORT, or "sim"; empty: as the configuration says
  std::string host;   // of an instrument on Ethernet; empty for other instruments
  std::optional<int> tcp_port;
  std::string config_file;  // a persisted configuration to start from; empty: the defaults
  std::vector<std::pair<std::string, std::string>> settings;  // key and text, in the plan's order
  std::optional<std::uint32_t> baud_rate;
  std::uint32_t timeout_ms = 0;  // 0: the driver's own
  std::string serial_number;     // must be in the identification; empty: not checked
  std::string manufacturer;      // for reports and certificates only
  bool run = false;              // whether the instrument is started before the first reading and stopped at the end
  int line = 0;                  // in the plan's file

  bool simulated() const { return port == "sim"; }
};

// A channel of one of the instruments.
struct ChannelRef {
  std::string instrument;  // name in Plan::instruments
  std::string channel;     // name or id of the channel
  int line = 0;

  bool operator==(const ChannelRef& other) const {
    return instrument == other.instrument && EqualIgnoringCase(channel, other.channel);
  }
};

// The sensor that turns ohms or millivolts into a temperature.
struct SensorSpec {
  // "pt100" (IEC 60751), "cvd" (r0 and coefficients), "its90" (rtpw and coefficients) or the letter of a thermocouple.
  // Empty: the channel measures the plan's quantity itself.
  std::string type;
  std::optional<double> r0;                                  // ohms at 0 °C
  std::optional<double> rtpw;                                // ohms at 0.01 °C
  std::string subrange;                                      // for its90
  std::vector<std::pair<std::string, double>> coefficients;  // "a", "b", "c", "d" of its90; A, B, C of cvd
  std::optional<double> junction;                            // temperature of a thermocouple's cold junction
  std::optional<ChannelRef> junction_channel;                // the channel that measures that temperature instead
  int line = 0;
};

// Two points of a straight line from the reading to the quantity, as for a 4 to 20 mA transmitter.
struct Scale {
  double from_low = 0, from_high = 1;
  double to_low = 0, to_high = 1;
  double Apply(double value) const { return to_low + (value - from_low) * (to_high - to_low) / (from_high - from_low); }
};

struct CertificateRef {
  std::string file;            // a DCC or a table of values, relative to the plan's folder; empty: none
  std::string accept_overdue;  // the reason to accept an overdue certificate, printed; empty: refused
  std::string sha256;          // expected digest in hexadecimal; empty: not checked
  int line = 0;
};

// The source: what produces the quantity.
struct SourcePlan {
  ChannelRef channel;                // the output for the set point
  std::optional<ChannelRef> actual;  // the source's own measurement; only shown
  double min = -std::numeric_limits<double>::infinity();
  double max = std::numeric_limits<double>::infinity();
  double safe = 0;    // set point at every end of the run
  double near = 0;    // the reference is near if it is within this distance of the set point
  double rate = 0;    // units per minute, for the time table; 0: not known
  double settle = 0;  // seconds from near to stable, for the time table
};

struct ReferencePlan {
  std::string name;
  ChannelRef channel;
  std::string serial_number;  // of the probe
  std::string manufacturer, model;
  SensorSpec sensor;
  std::optional<Scale> scale;
  CertificateRef certificate;
  double min = -std::numeric_limits<double>::infinity();
  double max = std::numeric_limits<double>::infinity();
  double resolution = 0;  // in the plan's unit; 0: that of the channel
  double height = 0;      // metres above the units under test, for the head correction of pressures
};

struct UnitPlan {
  std::string name;
  ChannelRef channel;
  std::string serial_number;
  std::string manufacturer, model;
  std::string description;  // of the unit, for the certificate
  SensorSpec sensor;
  std::optional<Scale> scale;
  double tolerance = 0;  // limit of the deviation in both directions; 0: none agreed
  double min = -std::numeric_limits<double>::infinity();
  double max = std::numeric_limits<double>::infinity();
  double resolution = 0;  // 0: that of the channel
  double height = 0;      // metres above the reference level
};

// The rule for "stable". Limits are in the plan's unit.
struct StabilityRule {
  double window = 600;   // seconds
  double spread = 0.02;  // largest difference of two values in the window
  double drift = 0.02;   // |slope of the regression| times the window
  int min_samples = 10;
  double unit_spread = 0;  // for the units under test; 0: as for the reference
  double unit_drift = 0;

  bool operator==(const StabilityRule&) const = default;
};

enum class ReadingOrder {
  kReferenceFirstAndLast,  // reference, units, units in reverse order, reference: a steady drift cancels
  kReferenceThenUnits,
};

struct ReadingRule {
  int count = 10;     // readings of each unit at a point
  double period = 2;  // seconds between two rounds
  ReadingOrder order = ReadingOrder::kReferenceFirstAndLast;

  bool operator==(const ReadingRule&) const = default;
};

enum class Direction { kRising, kFalling };

struct PlannedPoint {
  double value = 0;
  Direction direction = Direction::kRising;
  int cycle = 1;
  double dwell = 0;  // seconds to wait after stability, before the readings
  StabilityRule stability;
  ReadingRule readings;
  int line = 0;
};

// Before the points: the source goes to `value` and back to the first point, so many times.
struct PreloadPlan {
  int count = 0;
  double value = 0;
  double dwell = 30;  // seconds to stay at each end
};

enum class Phase { kAsFound, kAsLeft };

struct LimitPlan {
  double point = 4 * 3600;  // longest time from the set point to the last reading, seconds
  double run = 72 * 3600;   // longest time of the whole run, seconds
  double lost = 120;        // longest time without a reading of an instrument, seconds; then the run ends
  int repeats = 3;          // how often a point is repeated after it lost stability during the readings
};

// The ambient conditions. Measured ones are read at the start and at the end of each phase.
struct AmbientPlan {
  std::optional<double> temperature;  // °C
  std::optional<double> humidity;     // percent
  std::optional<double> pressure;     // hPa
  std::optional<ChannelRef> temperature_channel;
};

struct AddressPlan {
  std::string name, street, street_number, city, post_code, country, email, phone;
};

struct LaboratoryPlan {
  AddressPlan address;
  std::string code;             // of the accreditation
  std::string responsible;      // the person responsible for the result
  double best_uncertainty = 0;  // expanded uncertainty in the plan's unit; U is never smaller
};

// One contribution to the uncertainty that the run cannot measure.
struct UncertaintyTerm {
  std::string name;
  double value = 0;                          // half width, or expanded uncertainty if normal; in the plan's unit
  std::string distribution = "rectangular";  // normal, rectangular, triangular, u-shaped, resolution
  double k = 2;                              // coverage factor of a normal distribution
  double sensitivity = 1;
  std::optional<double> degrees_of_freedom;  // none: infinite
  std::string unit_under_test;               // name of the unit to which it applies; empty: all
  int line = 0;
};

enum class DecisionRule { kNone, kSimple, kGuardBand, kFourOutcomes };

struct DecisionPlan {
  DecisionRule rule = DecisionRule::kNone;
  double guard = 1;  // guard band as a multiple of U
};

struct CertificatePlan {
  std::string identifier;               // of the certificate that the run produces
  std::string location = "laboratory";  // DCC: laboratory, customer, laboratoryBranch, ...
  std::string method;                   // name of the procedure
  std::string norm;
};

struct Plan {
  std::string title;
  std::string operator_name;
  std::string order_number;
  std::vector<std::string> remarks;
  std::optional<Language> language;  // of reports; none: that of the user
  Quantity quantity = Quantity::kTemperature;
  std::string unit = "°C";  // of all values of the plan: °C or a unit of pressure
  double density = 0;       // of the pressure medium, kg/m3, for the head correction

  LaboratoryPlan laboratory;
  AddressPlan customer;
  CertificatePlan certificate;

  std::vector<PlannedInstrument> instruments;
  SourcePlan source;
  ReferencePlan reference;
  std::vector<UnitPlan> units;
  std::vector<PlannedPoint> points;  // in the order of the run, including repeated cycles and falling points
  PreloadPlan preload;
  std::vector<Phase> phases = {Phase::kAsFound};
  double sampling = 1;  // seconds between two readings while the run approaches a point
  LimitPlan limits;
  AmbientPlan ambient;
  std::vector<UncertaintyTerm> uncertainty;
  DecisionPlan decision;
  BenchPlan bench;  // for simulated instruments

  std::string folder;  // folder of the plan's file; files in the plan are relative to it
  std::string text;    // the text of the file

  const PlannedInstrument* FindInstrument(const std::string& name) const;
  bool simulated() const;  // whether every instrument is simulated
};

}  // namespace ulix::calibration
