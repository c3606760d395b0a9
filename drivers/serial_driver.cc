#include "drivers/serial_driver.h"

#include <utility>

#include "links/serial_errors.h"

namespace ulix {

SerialDriver::SerialDriver(const ModelCard& card, LineFormat format, DriverServices services)
    : Driver(card),
      format_(format),
      services_(std::move(services)),
      link_({.open = services_.open_serial_port, .trace = services_.trace}) {}

SerialDriver::~SerialDriver() { link_.Close(); }

HRESULT SerialDriver::OpenLink() {
  const std::lock_guard exchange(exchange_mutex_);
  if (link_.IsOpen()) return S_OK;
  const HRESULT result = link_.Open();
  if (Failed(result) || services_.timeout_ms == 0) return result;
  return link_.SetTimeouts(services_.timeout_ms, services_.timeout_ms);
}

HRESULT SerialDriver::Connect() {
  const std::lock_guard exchange(exchange_mutex_);
  HRESULT result = OpenLink();
  if (Succeeded(result)) result = Greet();
  if (Failed(result)) link_.Close();
  return result;
}

void SerialDriver::Disconnect() {
  const std::lock_guard exchange(exchange_mutex_);
  TakeLeave();
  link_.Close();
}

std::string SerialDriver::CommInfo(Language language) const { return CommInfoText(link_.params(), language); }

void SerialDriver::ResetCommParams() { link_.SetParams(SerialParams()); }

void SerialDriver::SaveCommParams(VariantWriter& writer) const { SaveParams(writer, link_.params()); }

HRESULT SerialDriver::LoadCommParams(VariantReader& reader) {
  SerialParams params = link_.params();
  const HRESULT result = LoadParams(reader, params);
  link_.SetParams(params);
  return result;
}

HRESULT SerialDriver::SetSerialParams(const SerialParams& params) {
  link_.SetParams(params);
  return S_OK;
}

std::span<const ErrorRow> SerialDriver::LinkErrors() const { return SerialErrorTexts(); }

HRESULT SerialDriver::Send(std::string_view command) { return link_.WriteLine(command, format_.terminator, 0); }

Expected<std::string> SerialDriver::Query(std::string_view query) {
  const std::lock_guard exchange(exchange_mutex_);
  link_.Purge(true, false);
  if (const HRESULT result = Send(query); Failed(result)) return Failure(result);
  std::string reply = link_.ReadLineText(format_.reply_size, format_.terminator, 0);
  if (reply.empty()) return Failure(serialCommErrUnableToReadComm);
  return reply;
}

}  // namespace ulix
