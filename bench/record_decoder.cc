// How many records one processor decodes in a second, and how many bytes it copies in a second. The exit code is 1
// below the bound.
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "drivers/loggers/record_decoder.h"

namespace ulix::bench {
namespace {

constexpr double kBound = 50e6;
constexpr std::size_t kRecords = 100'000;
constexpr int kRounds = 101;

// Records with a time base before every twentieth measurement, and some failed measurements.
std::string Records() {
  std::string records;
  for (std::size_t k = 0; k < kRecords; ++k) {
    std::array<unsigned char, 8> record{static_cast<unsigned char>(1 + k % 40), 0, 27, 0, 0, 0, 0xC8, 0x41};
    if (k % 20 == 0) record = {0, 0x10, 0, 0, 0x80, 0xE2, static_cast<unsigned char>(k / 200 % 100), 3};
    if (k % 37 == 5) record[3] = 16;
    records.append(reinterpret_cast<const char*>(record.data()), record.size());
  }
  return records;
}

double MedianSeconds(const std::function<void()>& work) {
  std::vector<double> times;
  for (int i = 0; i < kRounds; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return Percentile(times, 0.5);
}

double Decoded(const std::string& records, std::size_t at_once) {
  ChannelArrays out;
  return kRecords / MedianSeconds([&] {
           RecordDecoder decoder;
           for (std::size_t at = 0; at < records.size(); at += at_once * RecordDecoder::kRecordBytes) {
             out.clear();
             decoder.Decode(std::string_view(records).substr(at, at_once * RecordDecoder::kRecordBytes), out);
           }
         });
}

int Run() {
  const std::string records = Records();
  const double as_read = Decoded(records, 48);
  const std::vector<char> from(64U << 20U, 'a');
  std::vector<char> to(from.size());
  const double copied =
      static_cast<double>(from.size()) / MedianSeconds([&] { std::memcpy(to.data(), from.data(), from.size()); });
  const bool held =
      Show({"memory decode", as_read / 1e6, "million records/s", kBound / 1e6, true,
            Text("48 at a time as they are read; %.1f at once; memcpy %.2f GB/s, a record is 8 bytes in, 20 out",
                 Decoded(records, kRecords) / 1e6, copied / 1e9)});
  return held ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main() { return ulix::bench::Run(); }
