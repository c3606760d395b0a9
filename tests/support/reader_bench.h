// Every driver that reads, at its simulated instrument. The instrument tells the number of the query as its value, so
// that a value that belongs to another query shows.
#pragma once

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "tests/support/line_bench.h"

namespace ulix {

struct Property {
  const char* key;
  const char* value;
};

struct Reader {
  const char* name;
  const char* model;
  std::vector<Property> settings;
  std::vector<Property> bench;  // a world that stands still
  std::vector<ChannelId> channels;
  std::vector<const char*> worlds;  // by channel: the bench's property that its value follows
  int patience_ms;                  // from a query to the end of the wait for its reply
};

inline void PrintTo(const Reader& reader, std::ostream* out) { *out << reader.name; }
inline std::string NameOf(const testing::TestParamInfo<Reader>& instance) { return instance.param.name; }

inline const std::vector<Property> kStillBlock = {{"noise", "0"}, {"time-constant", "0"}};
inline const std::vector<Property> kStillCtc = {{"noise", "0"}, {"time-constant", "0"}, {"model", "CTC"}};
inline const Reader kReaders[] = {
    {"Kelvo10", "kelvo10", {}, {}, {0}, {"measure-text"}, 1000},
    {"Cmx310", "cmx310", {}, {}, {0}, {"measure-text"}, 1000},
    {"Microk", "microk", {}, {}, {0, 2}, {"measure-text", "measure-text"}, 12'000},
    {"Millik", "microk", {{"model", "1"}}, {{"model", "1"}}, {0}, {"measure-text"}, 6000},
    {"FlukeHydra", "flukehydra", {}, {{"period", "0"}}, {0, 3}, {"value.0", "value.3"}, 50'000},
    {"JofraRtc", "jofrartcptc", {}, kStillBlock, {2}, {"set-point"}, 1000},
    {"JofraCtc", "jofrartcptc", {{"model", "1"}}, kStillCtc, {2}, {"set-point"}, 1000},
    {"Kambic", "kambic", {}, kStillBlock, {0, 1}, {"set-point", "set-point"}, 3000},
    {"Adt761", "adt761", {}, {{"item", "V"}}, {0}, {"value"}, 1000},
    {"Hart", "hart", {}, kStillBlock, {0, 1}, {"set-point", "set-point"}, 1000},
};

class ReaderBench : public LineBench, public testing::WithParamInterface<Reader> {
 protected:
  ReaderBench() : LineBench(GetParam().model) {
    for (const auto& [key, value] : reader.settings) Set(key, value);
    for (const auto& [key, value] : reader.bench) SetBench(key, value);
    EXPECT_EQ(device->Connect(), S_OK);
  }

  int Within(int low, int high) { return std::uniform_int_distribution(low, high)(random); }

  // Asks for a value that was not told for a long time; S_OK when that value came, or one that counts as wrong.
  HRESULT AskOnce() {
    const auto which = static_cast<std::size_t>(Within(0, static_cast<int>(reader.channels.size()) - 1));
    number = number % kNumbers + 1;
    const double told = number / 4.0;
    SetBench(reader.worlds[which], FormatFixed(told, 2));
    const MonotonicTime before = clock.Now();
    const Reading reading = driver->ReadChannel(reader.channels[which]);
    longest = std::max(longest, std::chrono::duration_cast<Milliseconds>(clock.Now() - before));
    if (reading.code == S_OK) ++values;
    if (reading.code == S_OK && reading.value != static_cast<float>(told)) ++wrong;
    return reading.code;
  }

  // Quarters below a thousand, which all instruments tell without rounding.
  static constexpr int kNumbers = 3990;
  const Reader& reader = GetParam();
  std::mt19937 random{20260131};
  int number = 0;
  int values = 0;
  int wrong = 0;
  Milliseconds longest{0};
};

}  // namespace ulix
