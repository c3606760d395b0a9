// Simulated calibrators with one measuring and one sourcing range. Requests are lines. Models differ in their
// parameters.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/noise.h"
#include "simulators/properties.h"
#include "simulators/surroundings.h"

namespace ulix {

// The parameters that a function takes on one side, in this order.
namespace range_takes {

enum : unsigned {
  kNothing = 0,
  kConnection = 1,
  kConnectionIfGiven = 2,  // The connection is optional: a thermocouple has only one.
  kSensorAndUnit = 4,
  kColdJunction = 8,
};

}  // namespace range_takes

// One measuring or sourcing function.
struct RangeFunction {
  std::string_view label;
  unsigned input;   // Flags of range_takes.
  unsigned output;  // Flags of range_takes.
  int decimals;
  std::string_view unit;  // Empty: the temperature unit of the range.
};

// The parameters of a model. They must outlive its simulators.
struct RangeCalibratorTables {
  std::string_view identity;  // The answer to "*IDN?".
  std::span<const RangeFunction> functions;
  std::span<const std::string_view> connections;
  std::span<const std::string_view> sensors;
};

// The device itself. Its input swings slowly around a value, or follows its own output.
class CalibratorModel {
 public:
  explicit CalibratorModel(Clock& clock) : clock_(clock), started_(clock.Now()) {}

  double input = 10;           // Centre of the swing, in the unit of the input range.
  double amplitude = 2;        // Of the swing, same unit.
  double period = 20;          // Of the swing, seconds; 0 or less: no swing.
  double noise = 0.002;        // Greatest deviation of one measurement, same unit.
  bool follow_output = false;  // The input measures the output, and 0 while the output is off.

  // What is connected to the input, in the unit of its range; null: the values above apply.
  Surroundings* place = nullptr;

  double output = 0;
  bool output_on = false;
  bool remote = false;
  bool measuring = false;  // After "MEAS RUN".

  double Measure();

 private:
  double Source() const;

  Clock& clock_;
  MonotonicTime started_;
  Noise random_;
};

class RangeCalibratorSimulator : public LineSimulator {
 public:
  std::string Refusal() const override { return "ERROR\n"; }
  bool Place(Surroundings& place) override {
    model_.place = &place;
    return true;
  }
  HRESULT Set(std::string_view key, std::string_view value) override { return properties_.Set(key, value); }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  const CalibratorModel& model() const { return model_; }
  // The configuration in replies, such as "RANGE_IN V50".
  std::string input_range() const { return input_.Line(); }
  std::string output_range() const { return output_.Line(); }

 protected:
  RangeCalibratorSimulator(const RangeCalibratorTables& tables, Clock& clock);

 private:
  struct Side {
    std::string command;     // The command that sets the range, with its blank.
    std::string parameters;  // The parameters of the range as they came.
    int decimals;            // Of the range's values.
    std::string unit;        // After a value in replies.
    std::string Line() const { return command + parameters; }
  };
  struct Request;
  static const std::vector<Request>& Requests();

  SimulatedReply Answer(std::string_view request) override;
  std::string MeasuredText();
  bool TakeRange(Side& side, std::string_view parameters);
  bool TakeOutput(std::string_view number);

  const RangeCalibratorTables& tables_;
  CalibratorModel model_;
  Side input_{"RANGE_IN ", "V50", 3, "V"};
  Side output_{"RANGE_OUT ", "V50", 3, "V"};
  std::string identity_;
  std::string measure_text_;  // When not empty, the answer to "MEAS?".
  bool reply_unit_ = false;   // A blank and the unit follow a measured value.
  PropertyTable properties_;
};

}  // namespace ulix
