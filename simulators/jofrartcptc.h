// A simulated Jofra dry-block calibrator: of the RTC and PTC series, or of the CTC series, which has other commands for
// the same block.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulators/line_simulator.h"
#include "simulators/properties.h"
#include "simulators/thermal_model.h"

namespace ulix {

class JofraRtcPtcSimulator final : public LineSimulator {
 public:
  explicit JofraRtcPtcSimulator(Clock& clock);

  bool Place(Surroundings& place) override {
    block_.place = &place;
    return true;
  }
  std::string Refusal() const override { return Line("<Error Invalid command or argument(s)>"); }
  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  const ThermalModel& block() const { return block_; }
  // Whether a host has logged on (RTC, PTC) or set remote mode (CTC).
  bool taken() const { return taken_; }

 private:
  struct Request;
  static const std::vector<Request>& Requests();

  SimulatedReply Answer(std::string_view request) override;
  bool IsCtc() const { return model_ == "CTC"; }
  // One answer with its line end.
  std::string Line(std::string_view text) const { return std::string(text) + (line_feed_ ? "\r\n" : "\r"); }

  // The answer to a request: empty when there is no answer, none when the request is refused.
  using Taken = std::optional<std::string>;
  Taken Activate();
  Taken LiveSensors();
  Taken Readings();
  Taken SetPointRtc(std::string_view number);
  Taken SetPointCtc(std::string_view arguments);
  Taken LogOn();
  Taken Remote();
  void SetPoint(double celsius);
  // The sensor under test, in degrees Celsius.
  double Sensor();
  // A value with its unit, as in the CTC's answers.
  std::string WithUnit(double celsius) const;

  ThermalModel block_;
  bool ascii_ = false;
  bool taken_ = false;
  std::string model_ = "RTC/PTC";  // or "CTC"
  std::string identity_ = "RTC_157_B";
  std::string ctc_identity_ = "JOFRA, CTC-155 A, 605155-00012, 1.20";
  std::string unit_ = "CEL";       // Of the CTC's answers.
  double sensor_offset_ = -0.05;   // Of the sensor under test, degrees.
  double internal_offset_ = 0.08;  // Of the CTC's internal reference, degrees.
  bool sensor_connected_ = true;
  bool locked_ = false;     // No host may log on or set remote mode.
  bool stuck_ = false;      // Set points are accepted and not applied.
  bool line_feed_ = false;  // Answers end with CR LF.
  std::string ascii_text_;  // When not empty, the answer to "ascii+".
  PropertyTable properties_;
};

}  // namespace ulix
