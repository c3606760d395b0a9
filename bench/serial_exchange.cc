// The cost of the serial link: a query and its reply through SerialLink. For comparison a bare loop makes the same two
// writes and reads one byte at a time, on the same pseudo terminal with the same peer. The exit code is 1 above the
// bound. With --serve, for programs in other languages: prints the path of a terminal with the same peer. Then prints,
// for each line of its input, the microseconds of its own bare exchange.
#include <chrono>
#include <cstdio>
#include <string_view>

#include "bench/exchange.h"

namespace ulix::bench {
namespace {

constexpr double kLinkBound = 1.15;
constexpr double kDriverBound = 1.0;
constexpr int kBatches = 401;  // of a round
constexpr int kExchangesInBatch = 20;
constexpr int kServedExchanges = 1000;

bool ShowRatio(const char* what, const ComparedRounds& found, double bound) {
  return Show({what, found.ratio(), "of bare", bound, false, found.Details()});
}

int Run() {
  BenchLine line;
  const auto bare = [&] { return Batch(kExchangesInBatch, [&] { return line.ExchangeBare(); }); };
  const auto by_link = [&] { return Batch(kExchangesInBatch, [&] { return line.ExchangeByLink(); }); };
  const auto by_driver = [&] { return Batch(kExchangesInBatch, [&] { return line.ExchangeByDriver(); }); };
  bare();
  ComparedRounds link, driver;
  for (int round = 0; round < kRounds; ++round) {
    link.Add(Compare(kBatches, by_link, bare));
    driver.Add(Compare(kBatches, by_driver, bare));
  }
  const bool link_held = ShowRatio("exchange through the link", link, kLinkBound);
  const bool driver_held = ShowRatio("exchange through a session", driver, kDriverBound);
  return link_held && driver_held ? 0 : 1;
}

int Serve() {
  BenchLine line;
  BenchLine theirs;  // The other program opens and configures the terminal.
  theirs.link.Close();
  std::printf("%s\n", theirs.path().c_str());
  std::fflush(stdout);
  while (std::getchar() != EOF) {
    std::printf("%.4f\n", Batch(kServedExchanges, [&] { return line.ExchangeBare(); }));
    std::fflush(stdout);
  }
  return 0;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) {
  ulix::bench::StayOnThisProcessor();
  const bool serves = argc > 1 && std::string_view(argv[1]) == "--serve";
  return serves ? ulix::bench::Serve() : ulix::bench::Run();
}
