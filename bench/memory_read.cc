// The cost of reading a logger's memory. 100 000 records are read through the instrument and decoded. For comparison a
// bare loop makes the same register requests with an independent library. Both use the same simulated logger in another
// process, over the loopback interface. The exit code is 1 above the bound.
#include <modbus/modbus.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "platform/byte_endpoint.h"
#include "simulators/server.h"

namespace ulix::bench {
namespace {

constexpr double kBound = 1.1;
constexpr int kRounds = 11;
constexpr int kRecordsHeld = 50'000;
constexpr int kReads = 2;
constexpr int kBlock = 1;

void ServeLogger(platform::ByteEndpoint& endpoint) {
  auto simulator = FindSimulator("memolog")(SystemClock());
  simulator->Set("records", std::to_string(kRecordsHeld));
  simulator->OnNetwork();
  FaultyInstrument instrument(std::move(simulator));
  const std::atomic<bool> never = false;
  Serve(instrument, endpoint, SystemClock(), never);
}

[[noreturn]] void GiveUp(const char* what) {
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(2);
}

class BareReader {
 public:
  explicit BareReader(int port) : context_(modbus_new_tcp("127.0.0.1", port)) {
    if (!context_ || modbus_set_slave(context_, 1) != 0 || modbus_connect(context_) != 0) GiveUp("libmodbus");
  }
  ~BareReader() {
    modbus_close(context_);
    modbus_free(context_);
  }
  BareReader(const BareReader&) = delete;
  BareReader& operator=(const BareReader&) = delete;

  void ReadBlock() {
    Write({10, 3, 20, kBlock + 1, 2});
    for (int first = 1; first <= kRecordsHeld;) {
      const int count = std::min(48, kRecordsHeld - first + 1);
      Write({10, 4, 21, kBlock + 1, static_cast<std::uint16_t>(first), static_cast<std::uint16_t>(count)});
      const int words = (8 * count + 9) / 2 + 2;
      Read(0, std::min(words, 125));
      if (words > 125) Read(125, words - 125);
      first += count;
    }
    Write({10, 3, 20, kBlock + 1, 0});
  }

 private:
  void Write(const std::vector<std::uint16_t>& frame) {
    const int count = static_cast<int>(frame.size());
    if (modbus_write_registers(context_, 44000, count, frame.data()) != count) GiveUp("a bare write");
  }
  void Read(int first, int count) {
    std::uint16_t registers[125];
    if (modbus_read_registers(context_, 44000 + first, count, registers) != count) GiveUp("a bare read");
  }
  modbus_t* context_;
};

class CountingSink final : public RecordSink {
 public:
  HRESULT Take(const ChannelArrays& records) override {
    count += records.size();
    return S_OK;
  }
  HRESULT Complete() override { return S_OK; }
  std::size_t count = 0;
};

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kReads; ++i) work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double ReadByInstrument(int port) {
  Instrument instrument(FindModel("memolog")->create({}));
  if (Failed(instrument.SetNetworkAddress(NetworkAddress{"127.0.0.1", port})) || Failed(instrument.Connect())) {
    GiveUp("connecting");
  }
  return Seconds([&] {
    CountingSink sink;
    std::uint32_t read = 0;
    if (Failed(instrument.StreamMemBlock(kBlock, 0, false, sink, &read)) || sink.count == 0) GiveUp("a read");
  });
}

double ReadBare(int port) {
  BareReader reader(port);
  return Seconds([&] { reader.ReadBlock(); });
}

double ResidentMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

int Run() {
  auto endpoint = platform::ListenOnTcp(0);
  if (!endpoint) return 2;
  const std::string address = (*endpoint)->address();
  const int port = std::stoi(address.substr(address.find(':') + 1));
  const ChildProcess logger([&] { ServeLogger(**endpoint); });
  endpoint->reset();
  ReadBare(port);
  const double before = ResidentMegabytes();
  const Comparison found = Compare(
      kRounds, [&] { return ReadByInstrument(port); }, [&] { return ReadBare(port); });
  const bool held = Show({"memory read and decoded, over libmodbus", found.ratio, "of bare", kBound, false,
                          Text("%d records: %.0f ms over %.0f ms; ratio 10th %.3f, 90th %.3f", kReads * kRecordsHeld,
                               1e3 * found.time, 1e3 * found.bare_time, found.ratio_10th, found.ratio_90th)});
  Show({"its memory", ResidentMegabytes() - before, "MB", 0, false,
        Text("greatest resident %.1f MB, %.1f MB before the first read", ResidentMegabytes(), before)});
  return held ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main() { return ulix::bench::Run(); }
