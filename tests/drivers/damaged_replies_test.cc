// A damaged reply gives an error or the true value. Each reply of each reading gets each kind of damage and goes
// through the whole driver. Where a protocol prescribes a value for a damaged reply, the table of allowances says which
// and why.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "simulators/memolog.h"
#include "tests/support/devices.h"
#include "tests/support/line_bench.h"

namespace ulix {
namespace {

using Replies = std::vector<std::string>;

// A simulated instrument with one reply replaced on the line. `said` holds the original replies.
class DamagingSimulator final : public Simulator {
 public:
  explicit DamagingSimulator(std::unique_ptr<Simulator> inner) : inner_(std::move(inner)) {}

  std::vector<SimulatedReply> Receive(std::string_view bytes) override {
    auto replies = inner_->Receive(bytes);
    for (SimulatedReply& reply : replies) {
      if (reply.bytes.empty()) continue;
      said.push_back(reply.bytes);
      if (replacement_ && turns_-- == 0) reply.bytes = *std::exchange(replacement_, std::nullopt);
    }
    return replies;
  }
  void OnNetwork() override { inner_->OnNetwork(); }
  std::string Refusal() const override { return inner_->Refusal(); }
  HRESULT Set(std::string_view key, std::string_view value) override { return inner_->Set(key, value); }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return inner_->Properties(); }

  // Replaces the reply that comes after `turns` others.
  void Replace(std::size_t turns, std::string bytes) {
    turns_ = turns;
    replacement_ = std::move(bytes);
    said.clear();
  }
  Simulator& inner() { return *inner_; }

  Replies said;

 private:
  std::unique_ptr<Simulator> inner_;
  std::size_t turns_ = 0;
  std::optional<std::string> replacement_;
};

// One reading of a device. A device whose replies can hold a value in several ways has several subjects.
struct Subject {
  Device device;
  std::size_t limit;  // Longest line, in bytes, that the driver reads for the value.
  std::string name;
};

void PrintTo(const Subject& subject, std::ostream* out) { *out << subject.name; }

Subject Of(const char* name, std::size_t limit, std::vector<Property> bench = {}, std::vector<ChannelId> channels = {},
           std::string suffix = "") {
  for (const Device& device : kDevices) {
    if (std::string_view(device.name) != name) continue;
    Subject subject{device, limit, name + suffix};
    subject.device.bench.insert(subject.device.bench.end(), bench.begin(), bench.end());
    if (!channels.empty()) subject.device.channels = channels;
    return subject;
  }
  throw std::logic_error(name);
}

// The values have several digits, so that a part of a value differs from the whole.
std::vector<Subject> Subjects() {
  return {
      Of("Kelvo10", 49, {{"measure-text", "124.75"}}),
      Of("Kelvo10", 49, {{"measure-text", "124.75 V"}}, {0}, "Unit"),
      Of("Cmx310", 49, {{"measure-text", "-124.75"}}),
      Of("Microk", 79, {{"measure-text", "107.3945125"}}, {0}),
      Of("Millik", 79, {{"measure-text", "+2.47512E+01"}}, {0}),
      Of("FlukeHydra", 511, {{"value.0", "123.45"}, {"value.3", "-12.345"}}),
      Of("FlukeHydra", 511, {{"last-text", "+023.45E+0,VDC"}}, {0}, "Unit"),
      Of("JofraRtc", 2047, {{"set-point", "124.75"}, {"temperature", "124.5"}}, {0, 2}),
      Of("JofraCtc", 2047, {{"set-point", "124.75"}, {"temperature", "124.5"}}, {0, 1, 2, 3}),
      Of("Kambic", 149, {{"set-point", "124.75"}, {"temperature", "124.5"}}),
      Of("Adt761", 255, {{"value", "12.475"}}),
      Of("Adt761", 255, {{"item", "HPM"}, {"noise", "0"}, {"pressure-unit", "INHG"}}, {3, 4, 5, 9}, "Pressure"),
      Of("Hart", 19, {{"set-point", "124.75"}, {"temperature", "124.75"}}),
      Of("Adt760", 80, {{"reading-text", "1013.25"}}, {0, 6, 7}),
      Of("Adt760", 80, {{"venting", "1"}}, {9}, "Vent"),
      Of("Memolog", 255),
      Of("MemologNetwork", 255),
  };
}

struct Damage {
  std::string kind;
  std::string bytes;
};

// A damaged reply from which a protocol makes a value.
struct Allowance {
  std::vector<std::string> devices;
  std::vector<std::string> kinds;  // Kinds of damage; empty: any.
  const char* reason;
  std::function<bool(const Reading& reading, const std::string& bytes)> fits;
};

bool IsAnything(const Reading&, const std::string&) { return true; }

// Whether the value is a whole number of the damaged reply, not a part of one.
bool IsWhatIsLeft(const Reading& reading, const std::string& bytes) {
  constexpr std::string_view kOfNumbers = "0123456789+-.";
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at > 0 && kOfNumbers.find(bytes[at - 1]) != std::string_view::npos) continue;
    const auto number = ParseDecimalPrefix(std::string_view(bytes).substr(at));
    if (number && static_cast<float>(number->value) == reading.value) return true;
  }
  return false;
}

const std::vector<Allowance>& Allowances() {
  static const std::vector<Allowance> rows = {
      {{"Kelvo10", "Kelvo10Unit", "Cmx310"},
       {},
       "a reply without a number gives 0 and is marked so",
       [](const Reading& reading, const std::string&) {
         return reading.doubt == Doubt::kNoNumber && reading.value == 0.0F;
       }},
      {{"Kelvo10", "Kelvo10Unit", "Cmx310", "Microk", "Millik", "FlukeHydra", "FlukeHydraUnit", "Kambic", "Hart",
        "Adt760", "Adt761Pressure"},
       {"cut and ended"},
       "a line has neither length nor checksum: with fewer digits it is still a whole reply",
       IsWhatIsLeft},
      {{"Adt760Vent"},
       {},
       "a mode without the word VENT is not venting, whatever it is",
       [](const Reading& reading, const std::string&) { return reading.value == 0.0F; }},
      {{"Memolog"},
       {"glued"},
       "a whole frame with a valid checksum and the expected length may be the reply",
       IsAnything},
      {{"MemologNetwork"},
       {"zero", "control"},
       "Modbus over TCP has no checksum of its own: TCP protects the bytes",
       IsAnything},
  };
  return rows;
}

bool IsAllowed(const Subject& subject, const Damage& damage, const Reading& reading) {
  const auto has = [](const std::vector<std::string>& list, const std::string& word) {
    return std::find(list.begin(), list.end(), word) != list.end();
  };
  return std::any_of(Allowances().begin(), Allowances().end(), [&](const Allowance& row) {
    return has(row.devices, subject.name) && (row.kinds.empty() || has(row.kinds, damage.kind)) &&
           row.fits(reading, damage.bytes);
  });
}

// Every damage to one reply. "glued" joins it to other replies of the instrument.
class Damages {
 public:
  Damages(const std::string& reply, std::size_t limit, const Replies& others) : reply_(reply), limit_(limit) {
    const std::size_t end = reply.find_last_not_of(std::string_view("\r\n\0", 3));
    body_ = reply.substr(0, end + 1);
    ending_ = reply.substr(end + 1);
    Cut();
    Repeat(others);
    Separators();
    Characters();
    Endings();
    Pad();
    Units();
  }
  std::vector<Damage> list;

 private:
  void Add(const char* kind, std::string bytes) {
    if (bytes != reply_) list.push_back({kind, std::move(bytes)});
  }
  void Cut() {
    for (std::size_t size = 0; size < reply_.size(); ++size) Add("cut", reply_.substr(0, size));
    for (std::size_t size = 0; size < body_.size(); ++size) Add("cut and ended", body_.substr(0, size) + ending_);
  }
  void Repeat(const Replies& others) {
    Add("doubled", body_ + body_ + ending_);
    Add("doubled", reply_ + reply_);
    Add("stray line", "xyz" + ending_ + reply_);
    Add("stray line", ending_ + reply_);
    for (const std::string& other : others) {
      const std::string body = other.substr(0, other.find_last_not_of(std::string_view("\r\n\0", 3)) + 1);
      Add("glued", body + reply_);
      Add("glued", body_ + other);
    }
  }
  void Separators() {
    for (std::size_t at = 0; at < body_.size(); ++at) {
      if (std::string_view(" \t\r,;:=").find(body_[at]) == std::string_view::npos) continue;
      Add("separator lost", std::string(body_).erase(at, 1) + ending_);
    }
  }
  void Characters() {
    std::string commas = body_;
    std::replace(commas.begin(), commas.end(), '.', ',');
    Add("comma", commas + ending_);
    std::string turned = body_;
    for (char& c : turned)
      c = std::islower(static_cast<unsigned char>(c)) ? static_cast<char>(std::toupper(c))
                                                      : static_cast<char>(std::tolower(c));
    Add("case", turned + ending_);
    for (const auto& [kind, c] :
         {std::pair{"zero", '\0'}, {"control", '\a'}, {"control", '\x1B'}, {"control", '\x7F'}}) {
      if (ending_.find(c) != ending_.npos) continue;  // This character would end the reply, as "cut" does.
      for (std::size_t at = 0; at <= body_.size(); ++at) {
        Add(kind, std::string(body_).insert(at, 1, c) + ending_);
        if (at < body_.size()) Add(kind, std::string(body_).replace(at, 1, 1, c) + ending_);
      }
    }
  }
  void Endings() {
    for (const char* ending : {"", "\r", "\n", "\r\n", "\n\r", "\r\r\n"}) Add("ending", body_ + ending);
    Add("ending", "\r\n" + reply_);
  }
  void Pad() {
    for (std::size_t size = limit_ - 3; size <= limit_ + body_.size() + 2; ++size) {
      const std::string blanks(size - std::min(size, body_.size()), ' ');
      Add("padded", blanks + reply_);
      Add("padded", body_ + blanks + ending_);
    }
  }
  // The unit of another quantity.
  void Units() {
    for (const char* unit : {"VDC", "CEL", "INHG", "KPA", "MA", "V", "C"}) {
      const std::size_t at = body_.rfind(unit);
      const bool whole = at != body_.npos && at > 0 && !std::isalnum(static_cast<unsigned char>(body_[at - 1]));
      if (whole) Add("unit", std::string(body_).replace(at, std::string_view(unit).size(), "OHM") + ending_);
    }
  }

  std::string reply_, body_, ending_;
  std::size_t limit_;
};

class DamagedReplies : public LineBench, public testing::WithParamInterface<Subject> {
 protected:
  DamagedReplies()
      : LineBench(GetParam().device.model, ManualClock::Mode::kAutomatic, [](std::unique_ptr<Simulator> inner) {
          return std::make_unique<DamagingSimulator>(std::move(inner));
        }) {
    simulator = bench->WithSimulator([](Simulator& s) { return dynamic_cast<DamagingSimulator*>(&s); });
    const Device& model = GetParam().device;
    if (model.on_network) {
      simulator->OnNetwork();
      EXPECT_EQ(device->SetNetworkAddress(NetworkAddress{"127.0.0.1", 502}), S_OK);
    }
    for (const auto& [key, value] : model.settings) Set(key, value);
    for (const auto& [key, value] : model.bench) SetBench(key, value);
  }

  // The instrument's replies to other queries than the channel's.
  Replies OtherReplies(ChannelId channel) {
    device->ReadCfg();
    for (const ChannelId other : GetParam().device.channels) {
      if (other != channel) driver->ReadChannel(other);
    }
    Replies others = std::exchange(simulator->said, {});
    std::sort(others.begin(), others.end());
    others.erase(std::unique(others.begin(), others.end()), others.end());
    return others;
  }

  // A logger's value changes with time; any other instrument still measures `truth`.
  bool IsPresent(ChannelId channel, float value) {
    auto* logger = dynamic_cast<MemologSimulator*>(&simulator->inner());
    return logger ? std::abs(value - logger->PresentValue(channel + 1)) < 0.3 : value == truth;
  }

  void Check(ChannelId channel, std::size_t turn, const Damage& damage) {
    simulator->Replace(turn, damage.bytes);
    const Reading reading = driver->ReadChannel(channel);
    if (Succeeded(reading.code) && reading.value != truth) {
      EXPECT_TRUE(reading.code == S_OK && IsAllowed(GetParam(), damage, reading))
          << damage.kind << ": " << testing::PrintToString(damage.bytes) << " read as " << reading.value;
    }
    const Reading next = driver->ReadChannel(channel);
    EXPECT_EQ(next.code, S_OK) << "after " << damage.kind << ": " << testing::PrintToString(damage.bytes);
    EXPECT_TRUE(IsPresent(channel, next.value))
        << next.value << " after " << damage.kind << ": " << testing::PrintToString(damage.bytes);
  }

  DamagingSimulator* simulator = nullptr;
  float truth = 0;
};

TEST_P(DamagedReplies, EachDamage_GivesAnErrorOrTheTrueValue) {
  std::size_t cases = 0;
  for (const ChannelId channel : GetParam().device.channels) {
    SCOPED_TRACE(testing::Message() << "channel " << channel);
    ASSERT_EQ(device->Connect(), S_OK);
    ASSERT_EQ(driver->ReadChannel(channel).code, S_OK);
    const Replies others = OtherReplies(channel);
    const Reading right = driver->ReadChannel(channel);
    ASSERT_EQ(right.code, S_OK);
    truth = right.value;
    const Replies whole = std::exchange(simulator->said, {});
    for (std::size_t turn = 0; turn < whole.size(); ++turn) {
      SCOPED_TRACE(testing::Message() << "reply " << turn);
      for (const Damage& damage : Damages(whole[turn], GetParam().limit, others).list) {
        Check(channel, turn, damage);
        ++cases;
      }
    }
  }
  RecordProperty("cases", static_cast<int>(cases));
}

INSTANTIATE_TEST_SUITE_P(Drivers, DamagedReplies, testing::ValuesIn(Subjects()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace ulix
