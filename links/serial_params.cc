#include "links/serial_params.h"

#include <algorithm>
#include <limits>

#include "resources/texts.h"

namespace ulix {
namespace {

constexpr int kFallbackPosition = 5;  // 9600

std::string TextWithDigit(TextId id, char digit, Language language) {
  std::string text = Localized(id, language);
  text.replace(text.find("%c"), 2, 1, digit);
  return text;
}

// The digit of code 0 or 1, '?' for any other code.
char DigitOf(std::int32_t code, char zero, char one) { return code == 0 ? zero : code == 1 ? one : '?'; }

// The text that stands at `code` in a run of string-table numbers.
std::string TextInRun(std::int32_t code, TextId first, std::int32_t count, Language language) {
  if (code < 0 || code >= count) return "?";
  return Localized(static_cast<TextId>(static_cast<int>(first) + code), language);
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

std::string DataBitsText(std::int32_t code, Language language) {
  return TextWithDigit(TextId::kDataBitsCount, DigitOf(code, '7', '8'), language);
}

std::string StopBitsText(std::int32_t code, Language language) {
  return TextWithDigit(TextId::kStopBitsCount, DigitOf(code, '1', '2'), language);
}

std::string ParityText(std::int32_t code, Language language) {
  return TextInRun(code, TextId::kParityEven, 4, language);
}

// XON/XOFF has no text and shows as "?".
std::string FlowText(std::int32_t code, Language language) {
  return TextInRun(code, TextId::kFlowHardware, 2, language);
}

std::string CommInfoText(const SerialParams& params, Language language) {
  std::string text = "COM " + std::to_string(params.port) + ":CMX310 (" + std::to_string(params.baudRate) + " bds";
  for (const std::string& part :
       {DataBitsText(params.dataBitsCode, language), StopBitsText(params.stopBitsCode, language),
        ParityText(params.parityCode, language), FlowText(params.handshakeCode, language)}) {
    text += " , " + part;
  }
  return text + ")";
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
