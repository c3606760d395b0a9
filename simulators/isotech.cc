#include "simulators/isotech.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/numbers.h"

namespace ulix {
namespace {

constexpr char kStx = 2, kEtx = 3, kEot = 4, kAck = 6, kNak = 0x15;
constexpr std::size_t kLongestFrame = 64;
constexpr double kLowestLine = -100, kHighestLine = 40;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string Line(std::string_view text) { return kStx + std::string(text) + "\r\n"; }

// The address in "EOT t t u u STX": tens and units digit twice each; address 7 is 0077.
std::optional<int> AddressOf(std::string_view frame) {
  if (frame.size() < 6 || !std::all_of(frame.begin() + 1, frame.begin() + 5, IsDigit)) return std::nullopt;
  if (frame[1] != frame[2] || frame[3] != frame[4] || frame[5] != kStx) return std::nullopt;
  return (frame[1] - '0') * 10 + frame[3] - '0';
}

// The value of "SL" up to ETX. None unless the byte after ETX makes the block's exclusive-or zero.
std::optional<double> CheckedValue(std::string_view block) {
  int check = 0;
  for (const char byte : block) check ^= static_cast<unsigned char>(byte);
  const std::size_t end = block.find(kEtx);
  if (check != 0 || !block.starts_with("SL") || end + 2 != block.size()) return std::nullopt;
  const std::string_view field = block.substr(2, end - 2);
  const auto value = ParseDecimal(field);
  if (!value || field.size() < 5 || (field[0] != ' ' && field[0] != '-')) return std::nullopt;
  // One decimal below 1000, none from 1000 on. A value below 1000 that rounds to 1000.0 keeps its decimal.
  const std::size_t point = field.find('.');
  const bool fits = point == field.npos ? *value >= 1000 : point + 2 == field.size() && *value <= 1000;
  return fits ? value : std::nullopt;
}

// A value with sign, five digits, point and six digits.
std::optional<double> SignedValue(std::string_view text) {
  if (text.size() != 13 || (text[0] != '+' && text[0] != '-') || text[6] != '.') return std::nullopt;
  const auto outside = [](char c) { return !IsDigit(c); };
  if (std::count_if(text.begin() + 1, text.end(), outside) != 1) return std::nullopt;
  return ParseDecimal(text);
}

}  // namespace

IsotechSimulator::IsotechSimulator(Clock&)
    : properties_{{"address", &address_},
                  {"set-point", &set_point_},
                  {"output", &output_on_},
                  {"stop-answer", &stop_answer_}} {}

std::vector<SimulatedReply> IsotechSimulator::Receive(std::string_view bytes) {
  std::vector<SimulatedReply> replies;
  for (const char byte : bytes) {
    pending_ += byte;
    if (FrameIsWhole()) replies.push_back(Answer(std::exchange(pending_, {})));
  }
  return replies;
}

// A byte that begins no frame counts as a frame of its own, and so does a frame that is too long.
bool IsotechSimulator::FrameIsWhole() const {
  if (pending_.size() >= kLongestFrame) return true;
  if (pending_[0] == kStx) return pending_.back() == '\n';
  if (pending_[0] != kEot) return true;
  const std::size_t end = pending_.find(kEtx);
  return end != pending_.npos && end + 1 < pending_.size();
}

SimulatedReply IsotechSimulator::Answer(std::string_view frame) {
  last_is_line_ = frame[0] == kStx;
  if (frame[0] == kEot) return AnswerAddressed(frame);
  if (last_is_line_) return AnswerLine(frame);
  NoteUnknown(frame);
  return {};
}

SimulatedReply IsotechSimulator::AnswerAddressed(std::string_view frame) {
  const auto address = AddressOf(frame);
  const auto value = address ? CheckedValue(frame.substr(6)) : std::nullopt;
  if (!value) return Refuse(frame);
  if (address_ >= 0 && *address != address_) return {};
  set_point_ = *value;
  if (place_) place_->SetPoint(*value);
  return {std::string(1, kAck), true};
}

SimulatedReply IsotechSimulator::AnswerLine(std::string_view frame) {
  if (!frame.ends_with("\r\n")) return Refuse(frame);
  const std::string_view command = frame.substr(1, frame.size() - 3);
  if (command == "OC" || command == "CP") {
    output_on_ = command == "OC";
    return {Line(output_on_ ? command : stop_answer_), true};
  }
  const auto value = command.starts_with("ST0") ? SignedValue(command.substr(3)) : std::nullopt;
  if (!value) return Refuse(frame);
  if (*value < kLowestLine || *value > kHighestLine) return {Refusal(), true};
  set_point_ = *value;
  if (place_) place_->SetPoint(*value);
  return {Line("ST"), true};
}

SimulatedReply IsotechSimulator::Refuse(std::string_view frame) {
  NoteUnknown(frame);
  return {Refusal(), true};
}

std::string IsotechSimulator::Refusal() const { return last_is_line_ ? Line("NG") : std::string(1, kNak); }

std::unique_ptr<Simulator> isotech::MakeSimulator(Clock& clock) { return std::make_unique<IsotechSimulator>(clock); }

}  // namespace ulix
