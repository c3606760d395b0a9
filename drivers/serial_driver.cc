#include "drivers/serial_driver.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "links/serial_errors.h"

namespace ulix {

namespace {

constexpr Milliseconds kOpenPause{1000};

}  // namespace

SerialDriver::SerialDriver(const ModelCard& card, LineProfile profile, DriverServices services)
    : Driver(card),
      profile_(profile),
      services_(std::move(services)),
      link_({.open = services_.open_serial_port, .trace = services_.trace}) {}

SerialDriver::~SerialDriver() { link_.Close(); }

HRESULT SerialDriver::OpenLink() {
  const std::lock_guard exchange(exchange_mutex_);
  if (link_.IsOpen()) return S_OK;
  HRESULT result = OpenPort();
  if (Succeeded(result)) result = ApplyTimeouts();
  if (Failed(result)) link_.Close();
  return result;
}

// The machine-wide mutex is free between the attempts.
HRESULT SerialDriver::OpenPort() {
  for (int attempt = 1;; ++attempt) {
    const HRESULT result = link_.Open();
    if (Succeeded(result) && attempt > 1) OpenedLate(attempt);
    if (Succeeded(result) || attempt == profile_.open_attempts) return result;
    clock().SleepFor(kOpenPause);
  }
}

HRESULT SerialDriver::ApplyTimeouts() {
  std::uint32_t read_ms = 0;
  std::uint32_t write_ms = 0;
  const HRESULT result = link_.GetTimeouts(&read_ms, &write_ms);
  if (Failed(result)) return result;
  if (profile_.read_ms != 0) read_ms = profile_.read_ms;
  if (profile_.write_ms != 0) write_ms = profile_.write_ms;
  if (services_.timeout_ms != 0) read_ms = write_ms = services_.timeout_ms;
  return link_.SetTimeouts(read_ms, write_ms);
}

HRESULT SerialDriver::Connect() {
  const std::lock_guard exchange(exchange_mutex_);
  HRESULT result = OpenLink();
  if (Succeeded(result)) result = Greet();
  if (result != S_OK) link_.Close();
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

HRESULT SerialDriver::Send(std::string_view command) { return link_.WriteLine(command, profile_.terminator, 0); }

Expected<std::string> SerialDriver::ReadReply(ReplyPlan plan) {
  std::vector<char> line(static_cast<std::size_t>(plan.size));
  std::size_t filled = 0;
  for (int attempt = 1; attempt <= plan.attempts; ++attempt) {
    // The start of a line that stopped midway is kept: its rest alone would read as another value.
    const auto rest = std::span(line).subspan(filled);
    std::fill(rest.begin(), rest.end(), '\0');
    const HRESULT result = link_.ReadLine(rest, profile_.terminator, 0);
    filled = std::string_view(line.data()).size();
    if (Succeeded(result) && filled > 0) return std::string(line.data());
  }
  return Failure(serialCommErrUnableToReadComm);
}

Expected<std::string> SerialDriver::Query(std::string_view query, ReplyPlan plan) {
  const std::lock_guard exchange(exchange_mutex_);
  link_.Purge(true, false);
  if (const HRESULT result = Send(query); Failed(result)) return Failure(result);
  return ReadReply(plan);
}

}  // namespace ulix
