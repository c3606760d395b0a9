// The price of the serial link: a query and its reply through SerialLink over a bare loop that makes the same two
// writes and reads one byte at a time, on the same pseudo terminal with the same peer. Exit code 1 above the bound.
#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

#include "bench/measure.h"
#include "links/serial_link.h"
#include "platform/port_list.h"
#include "platform/posix/file_descriptor.h"

namespace ulix::bench {
namespace {

constexpr double kBound = 1.15;
constexpr int kBatches = 2001;
constexpr int kExchangesInBatch = 20;
constexpr int kReplySize = 50;
constexpr std::string_view kQuery = "MEAS?";
constexpr std::string_view kReply = "+12.3456\n";

// The instrument: answers each line at once, until its line is gone.
void AnswerLines(int fd) {
  char buffer[256];
  for (;;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) return;
    const auto lines = std::count(buffer, buffer + count, '\n');
    for (std::ptrdiff_t i = 0; i < lines; ++i) {
      if (write(fd, kReply.data(), kReply.size()) < 0) return;
    }
  }
}

bool ExchangeBare(int fd) {
  const char terminator = '\n';
  char line[kReplySize];
  if (write(fd, kQuery.data(), kQuery.size()) < 0 || write(fd, &terminator, 1) != 1) return false;
  for (int i = 0; i < kReplySize - 1; ++i) {
    if (read(fd, line + i, 1) != 1) return false;
    if (line[i] == terminator) return true;
  }
  return false;
}

bool ExchangeByLink(SerialLink& link) {
  return Succeeded(link.WriteLine(kQuery, '\n', 0)) && !link.ReadLineText(kReplySize, '\n', 0).empty();
}

// As the drivers do it: what came unasked is discarded first.
bool ExchangeByDriver(SerialLink& link) { return Succeeded(link.Purge(true, false)) && ExchangeByLink(link); }

// Microseconds of one exchange.
double Batch(const std::function<bool()>& exchange) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kExchangesInBatch; ++i) {
    if (!exchange()) {
      std::fprintf(stderr, "an exchange failed\n");
      std::exit(2);
    }
  }
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / kExchangesInBatch;
}

// Batches of both kinds take turns, so that what else the machine does meets both.
double PrintRatio(const char* name, const std::function<bool()>& exchange, const std::function<bool()>& bare) {
  std::vector<double> ratios, times, bare_times;
  for (int i = 0; i < kBatches; ++i) {
    double bare_time = i % 2 == 0 ? Batch(bare) : 0;
    const double time = Batch(exchange);
    if (i % 2 != 0) bare_time = Batch(bare);
    times.push_back(time);
    bare_times.push_back(bare_time);
    ratios.push_back(time / bare_time);
  }
  const double ratio = Percentile(ratios, 0.5);
  std::printf("%.3f  %s: %.2f us over %.2f us bare (ratio 10th %.3f, 90th %.3f)\n", ratio, name, Percentile(times, 0.5),
              Percentile(bare_times, 0.5), Percentile(ratios, 0.1), Percentile(ratios, 0.9));
  return ratio;
}

// On one processor the peer's wake-up costs the same every time; across two it swamps what is measured.
void StayOnThisProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &set);
  sched_setaffinity(0, sizeof set, &set);
}

int Run() {
  StayOnThisProcessor();
  platform::FileDescriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (grantpt(master.get()) != 0 || unlockpt(master.get()) != 0) return 2;
  const std::string path = ptsname(master.get());
  const platform::FileDescriptor bare(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  SerialLink link;
  link.SetParams({.port = platform::PortOfDevice(path), .baudRate = 115200});
  if (!bare.valid() || Failed(link.Open())) return 2;
  const ChildProcess instrument([&] { AnswerLines(master.get()); });
  const auto exchange_bare = [&] { return ExchangeBare(bare.get()); };
  Batch(exchange_bare);
  const double ratio = PrintRatio(
      "query and reply through SerialLink", [&] { return ExchangeByLink(link); }, exchange_bare);
  PrintRatio(
      "the same with the input purged first", [&] { return ExchangeByDriver(link); }, exchange_bare);
  std::printf("%s  bound %.2f\n", ratio <= kBound ? "held" : "exceeded", kBound);
  link.Close();
  return ratio <= kBound ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main() { return ulix::bench::Run(); }
