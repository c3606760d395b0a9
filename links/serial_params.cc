#include "links/serial_params.h"

#include <algorithm>
#include <limits>

namespace ulix {
namespace {

constexpr int kFallbackPosition = 5;  // 9600

constexpr std::array kDataBitsCodes = {LineCode{"7", TextId::kDataBitsCount}, LineCode{"8", TextId::kDataBitsCount}};
constexpr std::array kStopBitsCodes = {LineCode{"1", TextId::kOneStopBit, TextId::kStopBitsCount},
                                       LineCode{"2", TextId::kStopBitsCount}};
constexpr std::array kParities = {LineCode{"even", TextId::kParityEven}, LineCode{"odd", TextId::kParityOdd},
                                  LineCode{"ignore", TextId::kParityIgnore}, LineCode{"none", TextId::kParityNone}};
constexpr std::array kHandshakes = {LineCode{"hardware", TextId::kFlowHardware}, LineCode{"none", TextId::kFlowNone},
                                    LineCode{"xonxoff", TextId::kFlowXonXoff}};

constexpr std::array kFields = {
    LineField{"port", TextId::kPort, &SerialParams::port},
    LineField{"baud", TextId::kSpeed, &SerialParams::baudRate},
    LineField{"data-bits", TextId::kDataBits, &SerialParams::dataBitsCode, kDataBitsCodes, 0},
    LineField{"stop-bits", TextId::kStopBits, &SerialParams::stopBitsCode, kStopBitsCodes, 0},
    LineField{"parity", TextId::kParity, &SerialParams::parityCode, kParities, 3},
    LineField{"handshake", TextId::kFlow, &SerialParams::handshakeCode, kHandshakes, 1},
};

bool IsCode(const LineField& field, std::int64_t code) {
  return code >= 0 && code < static_cast<std::int64_t>(field.codes.size());
}

// The text of a number, which is a code of the field or is unknown.
std::string TextOf(const LineField& field, std::int64_t code, TextId LineCode::*kind, Language language) {
  const bool known = IsCode(field, code);
  const LineCode& shown = field.codes[known ? static_cast<std::size_t>(code) : 0];
  std::string text = Localized(known ? shown.*kind : shown.published, language);
  const std::size_t place = text.find("%c");
  if (place != std::string::npos) return text.replace(place, 2, known ? shown.name : "?");
  return known ? text : "?";
}

// Whether a code has a published text. XON/XOFF has none.
bool HasPublishedText(const LineField& field, std::int64_t code) {
  const TextId text = field.codes[IsCode(field, code) ? static_cast<std::size_t>(code) : 0].published;
  return AllTexts()[static_cast<std::size_t>(text)].string_number != 0;
}

std::string LineText(const SerialParams& params, TextId LineCode::*kind, Language language) {
  std::string text = std::to_string(params.baudRate) + " bds";
  for (const LineField& field : kFields) {
    if (field.codes.empty()) continue;
    const auto code = NumberIn(params, field);
    text += " , " + (HasPublishedText(field, code) ? TextOf(field, code, kind, language) : "?");
  }
  return text;
}

template <typename Field, typename Stored>
HRESULT Take(Field& field, const Expected<Stored>& value) {
  if (value) field = static_cast<Field>(*value);
  return CodeOf(value);
}

}  // namespace

bool CanBeKept(const SerialParams& params) {
  const auto is_code = [](std::int32_t code) { return 0 <= code && code <= std::numeric_limits<std::uint8_t>::max(); };
  return 1 <= params.port && params.port <= std::numeric_limits<std::int16_t>::max() && is_code(params.dataBitsCode) &&
         is_code(params.stopBitsCode) && is_code(params.parityCode) && is_code(params.handshakeCode);
}

int PositionOfBaud(std::uint32_t rate) {
  const auto found = std::find(kBaudRates.begin(), kBaudRates.end(), rate);
  return found == kBaudRates.end() ? kFallbackPosition : static_cast<int>(found - kBaudRates.begin());
}

std::uint32_t BaudFromPosition(int position) {
  const bool listed = position >= 0 && position < static_cast<int>(kBaudRates.size());
  return kBaudRates[static_cast<std::size_t>(listed ? position : kFallbackPosition)];
}

std::string BaudText(std::uint32_t rate) { return std::to_string(BaudFromPosition(PositionOfBaud(rate))); }

std::span<const LineField> LineFields() { return kFields; }

std::int64_t NumberIn(const SerialParams& params, const LineField& field) {
  return std::visit([&](auto number) { return static_cast<std::int64_t>(params.*number); }, field.number);
}

void SetNumber(SerialParams& params, const LineField& field, std::int64_t number) {
  std::visit([&](auto place) { params.*place = static_cast<std::decay_t<decltype(params.*place)>>(number); },
             field.number);
}

std::string TextOf(const LineField& field, std::int64_t code, Language language) {
  return TextOf(field, code, &LineCode::text, language);
}

std::string LineText(const SerialParams& params, Language language) {
  return LineText(params, &LineCode::text, language);
}

std::string CommInfoText(const SerialParams& params, Language language) {
  return "COM " + std::to_string(params.port) + ":CMX310 (" + LineText(params, &LineCode::published, language) + ")";
}

platform::PortAddress PortAddressOf(const SerialParams& params) { return {params.port, params.location}; }

platform::LineSettings LineSettingsOf(const SerialParams& params) {
  platform::LineSettings line;
  line.baud_rate = params.baudRate;
  line.data_bits = params.dataBitsCode == 1 ? 8 : 7;
  line.stop_bits = params.stopBitsCode == 1 ? 2 : 1;
  line.parity = params.parityCode == 0   ? platform::Parity::kEven
                : params.parityCode == 1 ? platform::Parity::kOdd
                                         : platform::Parity::kNone;
  line.flow_control = params.handshakeCode == 0   ? platform::FlowControl::kDtrDsr
                      : params.handshakeCode == 2 ? platform::FlowControl::kXonXoff
                                                  : platform::FlowControl::kNone;
  return line;
}

void SaveParams(VariantWriter& writer, const SerialParams& params) {
  writer.I2(static_cast<std::int16_t>(params.port));
  writer.Ui4(params.baudRate);
  for (const std::int32_t code : {params.dataBitsCode, params.stopBitsCode, params.parityCode, params.handshakeCode}) {
    writer.Ui1(static_cast<std::uint8_t>(code));
  }
}

HRESULT LoadParams(VariantReader& reader, SerialParams& params) {
  if (const HRESULT result = Take(params.port, reader.I2()); Failed(result)) return result;
  params.location.clear();
  if (const HRESULT result = Take(params.baudRate, reader.Ui4()); Failed(result)) return result;
  for (std::int32_t* code : {&params.dataBitsCode, &params.stopBitsCode, &params.parityCode, &params.handshakeCode}) {
    if (const HRESULT result = Take(*code, reader.Ui1()); Failed(result)) return result;
  }
  return S_OK;
}

}  // namespace ulix
