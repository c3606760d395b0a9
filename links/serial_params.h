// Settings of a serial link, their texts and their persisted form.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/result.h"
#include "base/text.h"
#include "base/variant_stream.h"
#include "platform/port_binding.h"

namespace ulix {

// Field names and codes are the published ones. Changes take effect at the next open.
struct SerialParams {
  std::int32_t port = 1;           // the number in COM1
  std::uint32_t baudRate = 9600;   // bits per second, one of kBaudRates
  std::int32_t dataBitsCode = 1;   // 1: 8 data bits, any other: 7
  std::int32_t stopBitsCode = 0;   // 1: two stop bits, any other: one
  std::int32_t parityCode = 2;     // 0: even, 1: odd, any other: none
  std::int32_t handshakeCode = 1;  // 0: DTR/DSR, 2: XON/XOFF, any other: none
  // A device path or a URL that is opened in place of the port's number; empty: the number's device. Not part of the
  // persisted form: loading empties it.
  std::string location;

  bool operator==(const SerialParams&) const = default;
};

// Whether every number has its place in the persisted form. What is not kept would come back as another port or parity.
bool CanBeKept(const SerialParams& params);

inline constexpr std::array<std::uint32_t, 11> kBaudRates = {300,   600,   1200,  2400,   4800,  9600,
                                                             19200, 38400, 57600, 115200, 128000};

// The rate at a position of the list above, and the position of a rate; 9600 and its position for anything else.
std::uint32_t BaudFromPosition(int position);
int PositionOfBaud(std::uint32_t rate);
std::string BaudText(std::uint32_t rate);

// Display texts of the codes, in Windows-1252; "?" (or a '?' for the digit) for a code without a text.
std::string DataBitsText(std::int32_t code, Language language);
std::string StopBitsText(std::int32_t code, Language language);
std::string ParityText(std::int32_t code, Language language);
std::string FlowText(std::int32_t code, Language language);

// The one-line summary of a link: "COM 1:CMX310 (9600 bds , 8 Data Bits , ...)". The word CMX310 stands there whatever
// the instrument is; hosts show the text as it is.
std::string CommInfoText(const SerialParams& params, Language language);

platform::PortAddress PortAddressOf(const SerialParams& params);

// What a port is told of them.
platform::LineSettings LineSettingsOf(const SerialParams& params);

// Six values in the order of the fields. Loading stops at the first value of another type (E_INVALIDARG) or at the
// stream's own failure, and keeps the fields read so far.
void SaveParams(VariantWriter& writer, const SerialParams& params);
HRESULT LoadParams(VariantReader& reader, SerialParams& params);

}  // namespace ulix
