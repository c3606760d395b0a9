// What every instrument on a serial line shares: the link, its settings, and the exchange of lines.
#pragma once

#include <string>
#include <string_view>

#include "drivers/driver.h"
#include "links/serial_link.h"

namespace ulix {

// How a model's line is opened and spoken on.
struct LineProfile {
  char terminator;            // ends commands and replies
  int reply_size;             // longest reply read where nothing else is said, the terminator's place included
  int open_attempts = 1;      // a second apart
  std::uint32_t read_ms = 0;  // timeouts once open; 0 keeps the link's
  std::uint32_t write_ms = 0;
};

// How a reply is read.
struct ReplyPlan {
  int size;          // the terminator's place included
  int attempts = 1;  // at reading, until a line is whole that is not empty; the query is sent once
};

class SerialDriver : public Driver {
 public:
  SerialDriver(const ModelCard& card, LineProfile profile, DriverServices services);
  ~SerialDriver() override;

  HRESULT OpenLink() override;
  bool LinkIsOpen() const override { return link_.IsOpen(); }
  HRESULT Connect() override;
  void Disconnect() override;

  std::string CommInfo(Language language) const override;
  void ResetCommParams() override;
  void SaveCommParams(VariantWriter& writer) const override;
  HRESULT LoadCommParams(VariantReader& reader) override;
  std::span<const ErrorRow> LinkErrors() const override;
  Expected<SerialParams> GetSerialParams() const override { return link_.params(); }
  HRESULT SetSerialParams(const SerialParams& params) override;

 protected:
  // The words exchanged once the link is open; a failure closes it again, and so does kNotConnected.
  virtual HRESULT Greet() = 0;
  // The last words before the link is closed.
  virtual void TakeLeave() {}
  // The port opened at this attempt, after the ones before it had failed.
  virtual void OpenedLate(int /*attempt*/) {}

  HRESULT Send(std::string_view command);
  // One line. None is serialCommErrUnableToReadComm, and so is an empty one.
  Expected<std::string> ReadReply(ReplyPlan plan);
  // Discards what came unasked, sends the query and reads one line.
  Expected<std::string> Query(std::string_view query) { return Query(query, {profile_.reply_size}); }
  Expected<std::string> Query(std::string_view query, ReplyPlan plan);
  // The timeout of one operation on the link: the model's own, or 0, the link's, where whoever created the driver chose
  // that.
  std::uint32_t TimeoutOr(std::uint32_t own_ms) const { return services_.timeout_ms == 0 ? own_ms : 0; }
  SerialLink& link() { return link_; }
  Clock& clock() const { return *services_.clock; }

 private:
  HRESULT OpenPort();
  HRESULT ApplyTimeouts();
  LineProfile profile_;
  DriverServices services_;
  SerialLink link_;
};

}  // namespace ulix
