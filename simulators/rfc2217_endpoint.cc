#include "simulators/rfc2217_endpoint.h"

#include <array>
#include <utility>

#include "links/telnet.h"

namespace ulix {
namespace {

using platform::FlowControl;
using platform::LineSettings;
using platform::Parity;

// The line settings of the protocol.
struct LineValues {
  std::uint32_t rate = 9600;
  std::uint8_t data_bits = 8;
  std::uint8_t parity = 1;
  std::uint8_t stop_bits = 1;
  std::uint8_t flow = 1;
};

bool IsKnown(const LineValues& values) {
  return values.rate != 0 && (values.data_bits == 7 || values.data_bits == 8) && values.parity >= 1 &&
         values.parity <= 3 && (values.stop_bits == 1 || values.stop_bits == 2);
}

LineSettings SettingsOf(const LineValues& values) {
  return {.baud_rate = values.rate,
          .data_bits = values.data_bits,
          .stop_bits = values.stop_bits,
          .parity = values.parity == 2   ? Parity::kOdd
                    : values.parity == 3 ? Parity::kEven
                                         : Parity::kNone,
          .flow_control = values.flow == 2   ? FlowControl::kXonXoff
                          : values.flow == 3 ? FlowControl::kDtrDsr
                                             : FlowControl::kNone};
}

class Rfc2217Endpoint final : public platform::ByteEndpoint, private telnet::Listener {
 public:
  Rfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream, LineControl control)
      : stream_(std::move(stream)), control_(std::move(control)) {}

  const std::string& address() const override { return stream_->address(); }

  std::size_t Read(std::span<char> bytes, std::chrono::milliseconds wait) override {
    if (received_.empty()) {
      std::array<char, 1024> buffer;
      const std::size_t count = stream_->Read(buffer, wait);
      decoder_.Take({buffer.data(), count}, received_, *this);
    }
    const std::size_t count = received_.copy(bytes.data(), bytes.size());
    received_.erase(0, count);
    return count;
  }

  void Write(std::string_view bytes) override { stream_->Write(telnet::Escaped(bytes)); }

 private:
  void OnOption(std::uint8_t verb, std::uint8_t option) override {
    using namespace telnet;
    const bool known = option == kBinary || option == kSuppressGoAhead || option == kComPort;
    if (verb == kWill) stream_->Write(OptionCommand(known ? kDo : kDont, static_cast<Option>(option)));
    if (verb == kDo) stream_->Write(OptionCommand(known ? kWill : kWont, static_cast<Option>(option)));
  }

  void OnComPort(std::uint8_t code, std::string_view value) override {
    using namespace telnet;
    if (value.empty()) return;
    const auto byte = static_cast<std::uint8_t>(value[0]);
    switch (code) {
      case kBaudRate:
        Change([&](LineValues& line) { line.rate = RateOf(value) != 0 ? RateOf(value) : line.rate; });
        return Answer(code, RateValue(line_.rate));
      case kDataBits:
        return AnswerChange(code, &LineValues::data_bits, byte);
      case kParity:
        return AnswerChange(code, &LineValues::parity, byte);
      case kStopBits:
        return AnswerChange(code, &LineValues::stop_bits, byte);
      case kControl:
        if (byte >= 1 && byte <= 3) return AnswerChange(code, &LineValues::flow, byte);
        return Answer(code, value);
      case kPurge:
        if (control_.purge) control_.purge((byte & 1) != 0, (byte & 2) != 0);
        return Answer(code, value);
      default:
        return;
    }
  }

  template <typename Set>
  void Change(Set&& set) {
    LineValues wanted = line_;
    set(wanted);
    if (IsKnown(wanted) && (!control_.configure || control_.configure(SettingsOf(wanted)))) line_ = wanted;
  }
  // A value of zero queries the present setting.
  void AnswerChange(std::uint8_t code, std::uint8_t LineValues::*field, std::uint8_t value) {
    if (value != 0) Change([&](LineValues& line) { line.*field = value; });
    const char byte = static_cast<char>(line_.*field);
    Answer(code, {&byte, 1});
  }
  void Answer(std::uint8_t code, std::string_view value) {
    stream_->Write(telnet::ComPortCommand(static_cast<std::uint8_t>(code + telnet::kAnswer), value));
  }

  std::unique_ptr<platform::ByteEndpoint> stream_;
  LineControl control_;
  telnet::Decoder decoder_;
  std::string received_;
  LineValues line_;
};

}  // namespace

std::unique_ptr<platform::ByteEndpoint> MakeRfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream,
                                                            LineControl control) {
  return std::make_unique<Rfc2217Endpoint>(std::move(stream), std::move(control));
}

}  // namespace ulix
