// What every instrument on a serial line shares: the link, its settings, and the exchange of lines.
#pragma once

#include <string>
#include <string_view>

#include "drivers/driver.h"
#include "links/serial_link.h"

namespace ulix {

// How a model ends its lines, and the longest reply it reads (the terminator's place included).
struct LineFormat {
  char terminator;
  int reply_size;
};

class SerialDriver : public Driver {
 public:
  SerialDriver(const ModelCard& card, LineFormat format, DriverServices services);
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
  // The words exchanged once the link is open; a failure closes it again.
  virtual HRESULT Greet() = 0;
  // The last words before the link is closed.
  virtual void TakeLeave() {}

  HRESULT Send(std::string_view command);
  // Discards what came unasked, sends the query and reads one line. No line is serialCommErrUnableToReadComm, and so is
  // an empty one.
  Expected<std::string> Query(std::string_view query);
  Clock& clock() const { return *services_.clock; }

 private:
  LineFormat format_;
  DriverServices services_;
  SerialLink link_;
};

}  // namespace ulix
