// Shared by the measuring programs: statistics, output, child processes.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/result.h"

namespace ulix::bench {

// Ends the program with the reason: a figure of work that failed would say nothing.
[[noreturn]] inline void Leave(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  std::exit(2);
}

// Ends the program when a step that comes before the measured work failed.
inline void Require(const char* step, HRESULT code) {
  if (Succeeded(code)) return;
  char hexadecimal[16];
  std::snprintf(hexadecimal, sizeof hexadecimal, "0x%08" PRIX32, static_cast<std::uint32_t>(code));
  Leave(std::string(step) + " failed with " + hexadecimal);
}

// The value below which `share` (0 to 1) of the values lie.
inline double Percentile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const auto last = static_cast<double>(values.size() - 1);
  return values.empty() ? 0.0 : values[static_cast<std::size_t>(share * last)];
}

// A row of the table that scripts/bench prints: what, figure, unit, bound, whether it held, details, separated by tabs.
struct Figure {
  std::string what;
  double value;
  const char* unit = "";
  double bound = 0;  // 0: no bound.
  bool bound_is_least = false;
  std::string details = {};

  bool Holds() const { return bound == 0 || (bound_is_least ? value >= bound : value <= bound); }
};

// Prints the row and returns whether its bound held.
inline bool Show(const Figure& figure) {
  const char* verdict = figure.Holds() ? "held" : "not held";
  std::printf("%s\t%.4g\t%s\t", figure.what.c_str(), figure.value, figure.unit);
  if (figure.bound != 0) std::printf("%s%.4g\t%s", figure.bound_is_least ? ">= " : "<= ", figure.bound, verdict);
  if (figure.bound == 0) std::printf("\t");
  std::printf("\t%s\n", figure.details.c_str());
  std::fflush(stdout);
  return figure.Holds();
}

// Formats as printf does.
template <typename... Arguments>
std::string Text(const char* format, Arguments... arguments) {
  std::string text(300, '\0');
  const int length = std::snprintf(text.data(), text.size(), format, arguments...);
  text.resize(std::min(static_cast<std::size_t>(length), text.size()));
  return text;
}

// The median times of two kinds of work. They take turns, so that other load of the machine affects both.
struct Comparison {
  double ratio, ratio_10th, ratio_90th, time, bare_time;
};
template <typename Work, typename Bare>
Comparison Compare(int rounds, Work&& work, Bare&& bare) {
  std::vector<double> ratios, times, bare_times;
  for (int i = 0; i < rounds; ++i) {
    double bare_time = i % 2 == 0 ? bare() : 0;
    const double time = work();
    if (i % 2 != 0) bare_time = bare();
    times.push_back(time);
    bare_times.push_back(bare_time);
    ratios.push_back(time / bare_time);
  }
  return {Percentile(ratios, 0.5), Percentile(ratios, 0.1), Percentile(ratios, 0.9), Percentile(times, 0.5),
          Percentile(bare_times, 0.5)};
}

// Rounds of the same comparison, one after the other: the median of the rounds is what counts, since something else may
// run during one of them.
inline constexpr int kRounds = 5;
class ComparedRounds {
 public:
  void Add(const Comparison& round) { rounds_.push_back(round); }
  double ratio() const { return Median(&Comparison::ratio); }
  double time() const { return Median(&Comparison::time); }
  double bare_time() const { return Median(&Comparison::bare_time); }
  // "8.90 us over 9.80 us; rounds 0.90 0.91 0.92 0.92 0.95"
  std::string Details() const {
    std::string details = Text("%.2f us over %.2f us; rounds", time(), bare_time());
    for (const double ratio : Sorted(&Comparison::ratio)) details += Text(" %.3f", ratio);
    return details;
  }

 private:
  std::vector<double> Sorted(double Comparison::*part) const {
    std::vector<double> values;
    for (const Comparison& round : rounds_) values.push_back(round.*part);
    std::sort(values.begin(), values.end());
    return values;
  }
  double Median(double Comparison::*part) const { return Percentile(Sorted(part), 0.5); }

  std::vector<Comparison> rounds_;
};

// A child process that is ended with this object, or with this process.
class ChildProcess {
 public:
  // Fork before any thread is started.
  template <typename Body>
  explicit ChildProcess(Body&& body) : pid_(fork()) {
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    body();
    _exit(0);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  pid_t id() const { return pid_; }
  ~ChildProcess() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

 private:
  pid_t pid_;
};

// The seconds from the command line, or `otherwise`.
inline int SecondsFrom(int argc, char** argv, int otherwise) {
  const int asked = argc > 1 ? std::atoi(argv[1]) : otherwise;
  return std::max(asked, 1);
}

}  // namespace ulix::bench
