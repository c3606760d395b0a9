#include "links/telnet.h"

namespace ulix::telnet {
namespace {

constexpr std::size_t kMaxSubnegotiation = 256;

}  // namespace

void Decoder::Take(std::string_view bytes, std::string& data, Listener& listener) {
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    switch (state_) {
      case State::kData:
        if (byte == kIac) {
          state_ = State::kCommand;
        } else {
          data += c;
        }
        break;
      case State::kCommand:
        TakeCommand(byte, data, listener);
        break;
      case State::kOption:
        state_ = State::kData;
        listener.OnOption(verb_, byte);
        break;
      case State::kSubnegotiation:
        if (byte == kIac) {
          state_ = State::kSubnegotiationCommand;
        } else {
          Keep(c);
        }
        break;
      case State::kSubnegotiationCommand:
        state_ = State::kSubnegotiation;
        if (byte == kIac) {
          Keep(c);
        } else if (byte == kSe) {
          state_ = State::kData;
          EndSubnegotiation(listener);
        } else {
          TakeCommand(byte, data, listener);
        }
        break;
    }
  }
}

// Takes the byte after an IAC.
void Decoder::TakeCommand(std::uint8_t byte, std::string& data, Listener&) {
  state_ = State::kData;
  if (byte == kIac) data += static_cast<char>(kIac);
  if (byte == kSb) {
    subnegotiation_.clear();
    state_ = State::kSubnegotiation;
  } else if (byte >= kWill && byte <= kDont) {
    verb_ = byte;
    state_ = State::kOption;
  }
}

void Decoder::Keep(char byte) {
  if (subnegotiation_.size() < kMaxSubnegotiation) subnegotiation_ += byte;
}

void Decoder::EndSubnegotiation(Listener& listener) const {
  const std::string_view all = subnegotiation_;
  if (all.size() < 2 || static_cast<std::uint8_t>(all[0]) != kComPort) return;
  listener.OnComPort(static_cast<std::uint8_t>(all[1]), all.substr(2));
}

std::string Escaped(std::string_view data) {
  std::string escaped;
  escaped.reserve(data.size());
  for (const char c : data) {
    escaped += c;
    if (static_cast<std::uint8_t>(c) == kIac) escaped += c;
  }
  return escaped;
}

std::string OptionCommand(Verb verb, Option option) {
  return {static_cast<char>(kIac), static_cast<char>(verb), static_cast<char>(option)};
}

std::string ComPortCommand(std::uint8_t code, std::string_view value) {
  const std::string start{static_cast<char>(kIac), static_cast<char>(kSb), static_cast<char>(kComPort),
                          static_cast<char>(code)};
  return start + Escaped(value) + std::string{static_cast<char>(kIac), static_cast<char>(kSe)};
}

std::string ComPortCommand(std::uint8_t code, std::uint8_t value) {
  const char byte = static_cast<char>(value);
  return ComPortCommand(code, std::string_view(&byte, 1));
}

std::string RateValue(std::uint32_t rate) {
  std::string value;
  for (int shift = 24; shift >= 0; shift -= 8) value += static_cast<char>(rate >> shift & 0xFF);
  return value;
}

std::uint32_t RateOf(std::string_view value) {
  if (value.size() != 4) return 0;
  std::uint32_t rate = 0;
  for (const char c : value) rate = rate << 8 | static_cast<std::uint8_t>(c);
  return rate;
}

}  // namespace ulix::telnet
