// Settings of a serial link, their texts and their persisted form.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "base/result.h"
#include "base/text.h"
#include "base/variant_stream.h"
#include "platform/port_binding.h"
#include "platform/serial_port.h"
#include "resources/texts.h"

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

// Whether every number fits its place in the persisted form. A number that does not would be loaded as another port or
// parity.
bool CanBeKept(const SerialParams& params);

inline constexpr std::array<std::uint32_t, 11> kBaudRates = {300,   600,   1200,  2400,   4800,  9600,
                                                             19200, 38400, 57600, 115200, 128000};

// The rate at a position in kBaudRates, and the position of a rate; 9600 and its position for any other argument.
std::uint32_t BaudFromPosition(int position);
int PositionOfBaud(std::uint32_t rate);
std::string BaudText(std::uint32_t rate);

// One code of a field: its name on the command line, and its text in forms, in which '%c' stands for the name.
struct LineCode {
  const char* name;
  TextId text;
};

// One field of the line.
struct LineField {
  const char* key;  // its name in forms, in the setup object, and after "--" on the command line
  TextId label;
  std::variant<std::int32_t SerialParams::*, std::uint32_t SerialParams::*> number;
  std::span<const LineCode> codes = {};  // by code, from 0 on; empty for a plain number
  std::int32_t otherwise = 0;            // the code that any other number counts as
};

// In the order of SerialParams.
std::span<const LineField> LineFields();

std::int64_t NumberIn(const SerialParams& params, const LineField& field);
void SetNumber(SerialParams& params, const LineField& field, std::int64_t number);
// The text of a code, in Windows-1252. For a number that is no code it is "?", or a text with '?' in place of the name.
std::string TextOf(const LineField& field, std::int64_t code, Language language);

// The one-line summary of a link: "COM 1:CMX310 (9600 bds , 8 Data Bits , ...)". The word CMX310 stands there whatever
// the instrument is; hosts show the text as it is.
std::string CommInfoText(const SerialParams& params, Language language);

platform::PortAddress PortAddressOf(const SerialParams& params);

// The settings as the system's port takes them.
platform::LineSettings LineSettingsOf(const SerialParams& params);

// Six values in the order of the fields. Loading stops at the first value of another type (E_INVALIDARG) or at the
// stream's own failure, and keeps the fields read so far.
void SaveParams(VariantWriter& writer, const SerialParams& params);
HRESULT LoadParams(VariantReader& reader, SerialParams& params);

}  // namespace ulix
