// The settings of a serial link, their texts, and their form in a configuration stream.
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
  std::int32_t port = 1;           // the 1 in COM1
  std::uint32_t baudRate = 9600;   // bits per second, one of kBaudRates
  std::int32_t dataBitsCode = 1;   // 1: 8 data bits; any other code: 7
  std::int32_t stopBitsCode = 0;   // 1: two stop bits; any other code: one
  std::int32_t parityCode = 2;     // 0: even; 1: odd; any other code: none
  std::int32_t handshakeCode = 1;  // 0: DTR/DSR; 2: XON/XOFF; any other code: none
  // A device path or a URL, which is opened instead of the device of the number. Empty: the number counts. Not stored
  // in a configuration stream; loading one empties it.
  std::string location;

  bool operator==(const SerialParams&) const = default;
};

// Whether a configuration stream can hold every number. A number that does not fit would be loaded as another port or
// code.
bool CanBeKept(const SerialParams& params);

inline constexpr std::array<std::uint32_t, 11> kBaudRates = {300,   600,   1200,  2400,   4800,  9600,
                                                             19200, 38400, 57600, 115200, 128000};

// The rate at a position in kBaudRates, and the position of a rate. An unknown position gives 9600; an unknown rate
// gives the position of 9600. BaudText is the rate as decimal text; an unknown rate gives "9600".
std::uint32_t BaudFromPosition(int position);
int PositionOfBaud(std::uint32_t rate);
std::string BaudText(std::uint32_t rate);

// One code of a field: its name on the command line, its text for people, and its text in the published summary
// (CommInfoText). In both texts '%c' stands for the name.
struct LineCode {
  constexpr LineCode(const char* code_name, TextId both) : LineCode(code_name, both, both) {}
  constexpr LineCode(const char* code_name, TextId shown, TextId of_hosts)
      : name(code_name), text(shown), published(of_hosts) {}

  const char* name;
  TextId text;
  TextId published;
};

// One field of the serial settings.
struct LineField {
  const char* key;  // identifies it in forms, in the setup object, and after "--" on the command line
  TextId label;
  std::variant<std::int32_t SerialParams::*, std::uint32_t SerialParams::*> number;
  std::span<const LineCode> codes = {};  // the row at index k is for code k; empty for a plain number
  std::int32_t otherwise = 0;            // a number without a row counts as this code
};

// All fields, in the order of SerialParams.
std::span<const LineField> LineFields();

// Read and write one field.
std::int64_t NumberIn(const SerialParams& params, const LineField& field);
void SetNumber(SerialParams& params, const LineField& field, std::int64_t number);
// The text of a code for people, in Windows-1252. For a number that is not a code: "?", or a text with '?' in place of
// the name. The field must have codes.
std::string TextOf(const LineField& field, std::int64_t code, Language language);

// The settings of the line for people: "9600 bds , 8 Data Bits , ...".
std::string LineText(const SerialParams& params, Language language);

// The one-line summary of a link: "COM 1:CMX310 (9600 bds , 8 Data Bits , ...)". "CMX310" is a fixed part of the
// published text, whatever the instrument is; hosts show the text as it is. Its texts of the codes are the published
// ones. In French, for example, one stop bit is written in the plural.
std::string CommInfoText(const SerialParams& params, Language language);

// The address of the port: number and location.
platform::PortAddress PortAddressOf(const SerialParams& params);

// The same settings in the form that platform::SerialPort::Configure takes.
platform::LineSettings LineSettingsOf(const SerialParams& params);

// Six values in the order of the fields. Loading stops at the first value of another type (E_INVALIDARG) or at the
// stream's failure, and keeps the fields read before it.
void SaveParams(VariantWriter& writer, const SerialParams& params);
HRESULT LoadParams(VariantReader& reader, SerialParams& params);

}  // namespace ulix
