// One instrument of a run: connected, identified, read channel by channel with the bytes that it answered.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "calibration/instruments.h"
#include "calibration/plan.h"
#include "core/instrument.h"

namespace ulix::calibration {

struct StationReading {
  std::optional<double> value;  // none: it failed
  HRESULT code = S_OK;
  std::string error;  // UTF-8; empty for a success
  std::string raw;    // what the instrument sent, its last bytes if that was much
};

// Two stations may be used by two threads; one by one thread at a time.
class Station {
 public:
  // Makes the instrument, without a word to it. `prepared` is given it before it is connected.
  static Outcome<std::unique_ptr<Station>> Make(const PlannedInstrument& planned, const std::string& folder,
                                                DriverServices services, Clock& clock, Language language,
                                                const std::function<void(Instrument&)>& prepared);

  // Connects, identifies, sends the settings of the plan and starts it where it is to run. The identification; a
  // sentence where something failed or another serial number answered.
  Outcome<std::string> Open();
  // The identification of now, as an instrument that was lost and is back is asked for it.
  Outcome<std::string> Identify();
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
  Outcome<std::uint32_t> GroupOf(ChannelId channel);
  tl::unexpected<std::string> FailedAt(const std::string& doing, HRESULT code);

  PlannedInstrument planned_;
  std::shared_ptr<Received> received_;
  std::unique_ptr<Instrument> instrument_;
  std::map<ChannelId, std::uint32_t> groups_;  // one a channel, so that each is read alone
  bool open_ = false;
};

}  // namespace ulix::calibration
