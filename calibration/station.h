// One instrument of a run. Each reading has the bytes that the instrument sent.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "calibration/instruments.h"
#include "calibration/plan.h"
#include "calibration/problem.h"
#include "core/instrument.h"

namespace ulix::calibration {

struct StationReading {
  std::optional<double> value;  // none when the reading failed
  HRESULT code = S_OK;
  std::string error;  // UTF-8; empty for a success
  std::string raw;    // the bytes that the instrument sent, at most the last 96
};

// Whether an identification contains a serial number as a whole field or word, and not as a part of another one. The
// first of several fields is the maker and is not compared.
bool NamesSerialNumber(std::string_view identification, std::string_view serial_number);

// One thread at a time may use a station. Different stations may be used by different threads.
class Station {
 public:
  // Makes the instrument without sending anything. `prepared` is called with the instrument before it is connected.
  static Result<std::unique_ptr<Station>> Make(const PlannedInstrument& planned, const std::string& folder,
                                               DriverServices services, Clock& clock, Language language,
                                               const std::function<void(Instrument&)>& prepared);

  // Connects to the instrument, identifies it, sends the settings of the plan, and starts it if the plan says so.
  // Returns the identification. The error says what failed, or that the serial number is another one.
  Result<std::string> Open();
  // The first part of Open: no settings are sent and nothing is started. For a source that must be made safe.
  Result<std::string> Reach();
  // Asks for the identification again, after the instrument was lost.
  Result<std::string> Identify();
  void Close();
  bool open() const { return open_; }

  StationReading Read(ChannelId channel);
  HRESULT Set(ChannelId channel, double value);
  std::string UnitOf(ChannelId channel);  // UTF-8

  Instrument& instrument() { return *instrument_; }
  const PlannedInstrument& planned() const { return planned_; }
  // Instruments with the same text are on one line.
  std::string line() const;
  std::string ErrorText(HRESULT code) { return ErrorTextOf(*instrument_, code); }

 private:
  struct Received;
  explicit Station(const PlannedInstrument& planned) : planned_(planned) {}
  tl::unexpected<Problem> FailedAt(TextId doing, HRESULT code);

  PlannedInstrument planned_;
  std::shared_ptr<Received> received_;
  std::unique_ptr<Instrument> instrument_;
  bool open_ = false;
};

}  // namespace ulix::calibration
