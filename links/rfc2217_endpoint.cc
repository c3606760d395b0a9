#include "links/rfc2217_endpoint.h"

#include <array>
#include <chrono>
#include <utility>

#include "links/telnet.h"

namespace ulix {
namespace {

using platform::FlowControl;
using platform::LineSettings;
using platform::LineSignal;
using platform::ModemInputs;
using platform::Parity;
using std::chrono::steady_clock;

// The period at which the line's inputs are polled.
constexpr std::chrono::milliseconds kModemPeriod{50};

// Line settings as values of the protocol.
struct LineValues {
  std::uint32_t rate = 9600;
  std::uint8_t data_bits = 8;
  std::uint8_t parity = 1;
  std::uint8_t stop_bits = 1;
  std::uint8_t flow = telnet::kNoFlow;
};

bool IsKnown(const LineValues& values) {
  const bool flow_known =
      values.flow == telnet::kNoFlow || values.flow == telnet::kXonXoffFlow || values.flow == telnet::kDsrFlow;
  return values.rate != 0 && (values.data_bits == 7 || values.data_bits == 8) && values.parity >= 1 &&
         values.parity <= 3 && (values.stop_bits == 1 || values.stop_bits == 2) && flow_known;
}

LineSettings SettingsOf(const LineValues& values) {
  return {.baud_rate = values.rate,
          .data_bits = values.data_bits,
          .stop_bits = values.stop_bits,
          .parity = values.parity == 2   ? Parity::kOdd
                    : values.parity == 3 ? Parity::kEven
                                         : Parity::kNone,
          .flow_control = values.flow == telnet::kXonXoffFlow ? FlowControl::kXonXoff
                          : values.flow == telnet::kDsrFlow   ? FlowControl::kDtrDsr
                                                              : FlowControl::kNone};
}

LineValues ValuesOf(const LineSettings& line) {
  return {.rate = line.baud_rate,
          .data_bits = static_cast<std::uint8_t>(line.data_bits),
          .parity = static_cast<std::uint8_t>(line.parity == Parity::kOdd    ? 2
                                              : line.parity == Parity::kEven ? 3
                                                                             : 1),
          .stop_bits = static_cast<std::uint8_t>(line.stop_bits),
          .flow = line.flow_control == FlowControl::kXonXoff  ? telnet::kXonXoffFlow
                  : line.flow_control == FlowControl::kDtrDsr ? telnet::kDsrFlow
                                                              : telnet::kNoFlow};
}

// The values of the three requests about an output.
struct SignalRow {
  std::uint8_t ask, on, off;
  LineSignal signal;
};
constexpr std::array kSignals = {SignalRow{telnet::kAskDtr, telnet::kDtrOn, telnet::kDtrOff, LineSignal::kDtr},
                                 SignalRow{telnet::kAskRts, telnet::kRtsOn, telnet::kRtsOff, LineSignal::kRts},
                                 SignalRow{telnet::kAskBreak, telnet::kBreakOn, telnet::kBreakOff, LineSignal::kBreak}};

// The upper half has the present inputs, the lower half those that have changed.
std::uint8_t ModemBits(const ModemInputs& now, const ModemInputs& before) {
  const auto half = [](bool carrier, bool ring, bool dsr, bool cts) {
    return (carrier ? 8 : 0) + (ring ? 4 : 0) + (dsr ? 2 : 0) + (cts ? 1 : 0);
  };
  const int changed =
      half(now.carrier != before.carrier, before.ring && !now.ring, now.dsr != before.dsr, now.cts != before.cts);
  return static_cast<std::uint8_t>(half(now.carrier, now.ring, now.dsr, now.cts) * 16 + changed);
}

class Rfc2217Endpoint final : public platform::ByteEndpoint, private telnet::Listener {
 public:
  Rfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream, LineControl control, const LineSettings& start)
      : stream_(std::move(stream)), control_(std::move(control)), start_(ValuesOf(start)), of_client_{.line = start_} {}

  const std::string& address() const override { return stream_->address(); }
  platform::EndpointClient client() const override { return stream_->client(); }
  void DropClient() override { stream_->DropClient(); }
  void SetRefusal(const platform::EndpointRefusal& refusal) override { stream_->SetRefusal(refusal); }
  void WakeOn(platform::InputHandle handle) override { stream_->WakeOn(handle); }

  std::size_t Read(std::span<char> bytes, std::chrono::milliseconds wait) override {
    if (of_client_.received.empty()) {
      std::array<char, 1024> buffer;
      const std::size_t count = stream_->Read(buffer, wait);
      NoteClient();
      of_client_.decoder.Take({buffer.data(), count}, of_client_.received, *this);
      TellModemState();
    }
    const std::size_t count = of_client_.received.copy(bytes.data(), bytes.size());
    of_client_.received.erase(0, count);
    return count;
  }

  void Write(std::string_view bytes) override {
    NoteClient();
    const bool damaged = control_.take_damage && control_.take_damage();
    // The line does not say whether the error was one of parity or of framing, so both bits are sent.
    const auto bits = static_cast<std::uint8_t>(of_client_.line_mask & (telnet::kParityError | telnet::kFramingError));
    if (damaged && bits != 0) AnswerByte(telnet::kLineState, bits);
    stream_->Write(telnet::Escaped(bytes));
  }

 private:
  // The state of one client.
  struct ClientState {
    telnet::Decoder decoder = {};
    std::string received = {};
    LineValues line = {};
    std::array<bool, kSignals.size()> on = {true, true, false};  // in the order of kSignals
    bool speaks_com_port = false;
    std::uint8_t line_mask = 0;
    std::uint8_t modem_mask = 0xFF;
    ModemInputs inputs = {};
    bool inputs_told = false;
  };

  // A new client gets a new state.
  void NoteClient() {
    const std::uint64_t number = stream_->client().number;
    if (number == 0 || number == client_number_) return;
    client_number_ = number;
    of_client_ = {.line = start_};
  }

  void OnOption(std::uint8_t verb, std::uint8_t option) override {
    using namespace telnet;
    const bool known = option == kBinary || option == kSuppressGoAhead || option == kComPort;
    if (verb == kWill) stream_->Write(OptionCommand(known ? kDo : kDont, static_cast<Option>(option)));
    if (verb == kDo) stream_->Write(OptionCommand(known ? kWill : kWont, static_cast<Option>(option)));
    if (verb == kWill && option == kComPort) of_client_.speaks_com_port = true;
  }

  void OnComPort(std::uint8_t code, std::string_view value) override {
    using namespace telnet;
    if (value.empty()) return;
    const auto byte = static_cast<std::uint8_t>(value[0]);
    switch (code) {
      case kBaudRate:
        Change([&](LineValues& line) { line.rate = RateOf(value) != 0 ? RateOf(value) : line.rate; });
        return Answer(code, RateValue(of_client_.line.rate));
      case kDataBits:
        return AnswerChange(code, &LineValues::data_bits, byte);
      case kParity:
        return AnswerChange(code, &LineValues::parity, byte);
      case kStopBits:
        return AnswerChange(code, &LineValues::stop_bits, byte);
      case kControl:
        return AnswerControl(byte);
      case kLineStateMask:
        of_client_.line_mask = byte;
        return AnswerByte(code, byte);
      case kModemStateMask:
        of_client_.modem_mask = byte;
        return AnswerByte(code, byte);
      case kPurge:
        if (control_.purge) control_.purge((byte & 1) != 0, (byte & 2) != 0);
        return Answer(code, value);
      default:
        return;
    }
  }

  template <typename Set>
  void Change(Set&& set) {
    LineValues wanted = of_client_.line;
    set(wanted);
    if (IsKnown(wanted) && (!control_.configure || control_.configure(SettingsOf(wanted)))) of_client_.line = wanted;
  }
  // A value of zero asks for the present setting.
  void AnswerChange(std::uint8_t code, std::uint8_t LineValues::*field, std::uint8_t value) {
    if (value != 0) Change([&](LineValues& line) { line.*field = value; });
    AnswerByte(code, of_client_.line.*field);
  }
  // A request about an output of the line, or else one about flow control.
  void AnswerControl(std::uint8_t value) {
    for (std::size_t k = 0; k < kSignals.size(); ++k) {
      const SignalRow& row = kSignals[k];
      if (value != row.ask && value != row.on && value != row.off) continue;
      const bool wanted = value == row.on;
      const bool done = value != row.ask && (!control_.set_signal || control_.set_signal(row.signal, wanted));
      if (done) of_client_.on[k] = wanted;
      return AnswerByte(telnet::kControl, of_client_.on[k] ? row.on : row.off);
    }
    AnswerChange(telnet::kControl, &LineValues::flow, value);
  }
  void AnswerByte(std::uint8_t code, std::uint8_t value) {
    const char byte = static_cast<char>(value);
    Answer(code, {&byte, 1});
  }
  void Answer(std::uint8_t code, std::string_view value) {
    stream_->Write(telnet::ComPortCommand(static_cast<std::uint8_t>(code + telnet::kAnswer), value));
  }

  void TellModemState() {
    const auto now = steady_clock::now();
    if (!of_client_.speaks_com_port || !control_.modem_inputs || now < next_modem_look_) return;
    next_modem_look_ = now + kModemPeriod;
    const auto inputs = control_.modem_inputs();
    if (!inputs || (of_client_.inputs_told && *inputs == of_client_.inputs)) return;
    const std::uint8_t bits =
        ModemBits(*inputs, of_client_.inputs_told ? of_client_.inputs : *inputs) & of_client_.modem_mask;
    of_client_.inputs = *inputs;
    of_client_.inputs_told = true;
    if (bits != 0) AnswerByte(telnet::kModemState, bits);
  }

  std::unique_ptr<platform::ByteEndpoint> stream_;
  LineControl control_;
  const LineValues start_;
  ClientState of_client_;
  std::uint64_t client_number_ = 0;
  steady_clock::time_point next_modem_look_{};
};

}  // namespace

std::unique_ptr<platform::ByteEndpoint> MakeRfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream,
                                                            LineControl control, LineSettings start) {
  return std::make_unique<Rfc2217Endpoint>(std::move(stream), std::move(control), start);
}

}  // namespace ulix
