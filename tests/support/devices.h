// Every model with its simulated instrument. A model that can be set to several instruments has a device for each.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivers/driver.h"

namespace ulix {

struct Property {
  const char* key;
  const char* value;
};

// The codes that exchanges give.
struct DeviceCodes {
  HRESULT closed;  // While no host is connected.
  HRESULT gone;    // While the device is unplugged.
  HRESULT unread;
  HRESULT unwritten;
};
inline constexpr DeviceCodes kSerialCodes = {serialCommErrCommClosed, serialCommErrCommClosed,
                                             serialCommErrUnableToReadComm, serialCommErrUnableToWriteComm};
inline constexpr DeviceCodes kUsbCodes = {winUsbCommErrUnableToWriteComm, winUsbCommErrGuidNotFound,
                                          winUsbCommErrUnableToReadComm, winUsbCommErrUnableToWriteComm};
inline constexpr DeviceCodes kNetworkCodes = {networkCommErrConnexClosed, networkCommErrUnableToConnect,
                                              networkCommErrUnableToReadComm, networkCommErrUnableToWriteComm};

// The time of the longest query on a line at 9600 bits per second. Timeouts start after it.
inline constexpr int kWireMs = 50;

struct Device {
  const char* name;
  const char* model;
  std::vector<Property> settings;
  std::vector<Property> bench;  // Properties that make the simulated quantities constant.
  std::vector<ChannelId> channels;
  // For each channel the simulator's property that sets its value; empty: none does.
  std::vector<const char*> quantities;
  int patience_ms;  // How long a query for a value waits for its reply.
  ChannelId written = 0;
  DeviceCodes codes = kSerialCodes;
  bool on_network = false;
  HRESULT mute_return = 0;  // Code of a reconnection to a mute device; 0: the link's code.

  // Whether a test can set the value that is read.
  bool has_quantities() const { return !quantities.empty(); }
};

inline void PrintTo(const Device& device, std::ostream* out) { *out << device.name; }

inline const std::vector<Property> kStillBlock = {{"noise", "0"}, {"time-constant", "0"}};
inline const std::vector<Property> kStillCtc = {{"noise", "0"}, {"time-constant", "0"}, {"model", "CTC"}};
// A Jofra that is mute after a reconnection is taken for another instrument.
inline Device Jofra(const char* name, std::vector<Property> settings, std::vector<Property> bench) {
  Device device{name, "jofrartcptc", std::move(settings), std::move(bench), {2}, {"set-point"}, 1000, 2};
  device.mute_return = jofrartcptcCtlErrNotJofraRtcPtc;
  return device;
}

inline const Device kDevices[] = {
    {"Kelvo10", "kelvo10", {}, {}, {0}, {"measure-text"}, 1000, 1},
    {"Cmx310", "cmx310", {}, {}, {0}, {"measure-text"}, 1000, 1},
    {"Isotech", "isotech", {}, {}, {}, {}, 100},
    {"IsotechLine", "isotech", {{"model", "line"}, {"start-mode", "output-on"}}, {}, {}, {}, 1000},
    {"Microk", "microk", {}, {}, {0, 2}, {"measure-text", "measure-text"}, 12'000},
    {"Millik", "microk", {{"model", "1"}}, {{"model", "1"}}, {0}, {"measure-text"}, 6000},
    {"FlukeHydra", "flukehydra", {}, {{"period", "0"}}, {0, 3}, {"value.0", "value.3"}, 50'000},
    Jofra("JofraRtc", {}, kStillBlock),
    Jofra("JofraCtc", {{"model", "1"}}, kStillCtc),
    {"Kambic", "kambic", {}, kStillBlock, {0, 1}, {"set-point", "set-point"}, 3000, 1},
    {"Adt761", "adt761", {}, {{"item", "V"}}, {0}, {"value"}, 1000, 7},
    {"Hart", "hart", {}, kStillBlock, {0, 1}, {"set-point", "set-point"}, 1000, 1},
    {"Adt760", "adt760", {}, {}, {0}, {"reading-text"}, 5001, 7, kUsbCodes},  // One millisecond of draining included.
    {"Memolog", "memolog", {}, {}, {0, 1, 2}, {}, 1000},
    {"MemologNetwork", "memolog", {}, {}, {0, 1, 2}, {}, 1000, 0, kNetworkCodes, true},
};

// The devices with a text protocol whose values a test can set. Their late replies must not be taken for later ones.
inline std::vector<Device> Readers() {
  std::vector<Device> readers;
  for (const Device& device : kDevices) {
    if (device.has_quantities()) readers.push_back(device);
  }
  return readers;
}

}  // namespace ulix
