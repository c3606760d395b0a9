// ulix-publish: publishes the instruments of a bench to an MQTT broker.
#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "calibration/plan_loader.h"
#include "core/version.h"
#include "fleet/publisher.h"
#include "platform/files.h"
#include "platform/service_manager.h"
#include "tools/ulix/interrupt.h"

namespace ulix::fleet {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

// Writes the level before each line, as the journal of a service expects.
void LogToStandardError(LogLevel level, const std::string& text) {
  static std::mutex mutex;
  static const bool in_journal = std::getenv("JOURNAL_STREAM") != nullptr;
  const std::lock_guard lock(mutex);
  if (in_journal)
    std::cerr << '<' << static_cast<int>(level) << '>';
  else
    std::cerr << "ulix-publish: ";
  std::cerr << text << std::endl;
}

// Loads the configuration. If it cannot be read, prints a message and returns none.
std::optional<LoadedConfig> Load(const std::string& path) {
  std::ifstream file(platform::PathOf(path), std::ios::binary);
  if (!file || platform::IsNoFile(platform::PathOf(path))) {
    std::cerr << "ulix-publish: " << path << " cannot be read\n";
    return std::nullopt;
  }
  const std::string text(std::istreambuf_iterator<char>(file), {});
  auto loaded = LoadConfig(text, platform::PathOf(path).parent_path().string());
  for (const auto& problem : loaded.problems) {
    std::cerr << path << ":" << (problem.line > 0 ? "" : " ") << (problem.warning ? "warning: " : "")
              << calibration::Described(problem) << '\n';
  }
  return loaded;
}

void PrintSummary(const PublishConfig& config) {
  std::cout << config.group << "/" << config.node << " to " << config.broker.host << ":" << config.broker.port
            << (config.broker.tls ? " with TLS" : "") << ", store " << StoreFolderOf(config) << '\n';
  for (const PublishedInstrument& instrument : config.instruments) {
    std::size_t channels = 0;
    for (const PublishedGroup& group : instrument.groups) channels += group.channels.size();
    std::cout << instrument.planned.name << ": " << instrument.planned.model << " on "
              << (instrument.planned.port.empty() ? instrument.planned.host : instrument.planned.port) << ", "
              << channels << " channels";
    for (const WritableOutput& output : instrument.writable) std::cout << ", " << output.channel << " may be written";
    std::cout << '\n';
  }
}

int Check(const std::string& path) {
  const auto loaded = Load(path);
  if (!loaded) return kFailed;
  if (!loaded->usable()) return kWrongUsage;
  PrintSummary(loaded->config);
  return 0;
}

// Runs until Ctrl-C or until the service is stopped.
void Serve(Publisher& publisher, const std::atomic<bool>& interrupted) {
  using Clock = std::chrono::steady_clock;
  const auto watchdog = platform::ServiceWatchdog();
  auto next_sign = Clock::now();
  while (!interrupted) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (!watchdog || Clock::now() < next_sign || !publisher.IsMoving()) continue;
    platform::TellServiceManager("WATCHDOG=1");
    next_sign = Clock::now() + *watchdog / 3;
  }
}

int Run(const std::string& path) {
  const auto loaded = Load(path);
  if (!loaded) return kFailed;
  if (!loaded->usable()) return kWrongUsage;
  const std::atomic<bool>& interrupted = cli::CatchInterrupts();
  auto publisher = Publisher::Make(loaded->config, LogToStandardError);
  if (!publisher) return LogToStandardError(LogLevel::kError, publisher.error()), kFailed;
  (*publisher)->Start();
  platform::TellServiceManager("READY=1");
  Serve(**publisher, interrupted);
  platform::TellServiceManager("STOPPING=1");
  (*publisher)->Stop();
  return 0;
}

int Main(int argc, char** argv) {
  CLI::App app("Publishes the instruments of a bench to an MQTT broker, as Sparkplug B payloads.", "ulix-publish");
  std::string file;
  app.set_version_flag("-V,--version", "ulix-publish " + VersionText());
  app.require_subcommand(1);
  CLI::App* run = app.add_subcommand("run", "Publish until Ctrl-C or the end of the service");
  CLI::App* check = app.add_subcommand("check", "Say what is wrong with a configuration file, with its lines");
  for (CLI::App* verb : {run, check}) verb->add_option("FILE", file, "The configuration file")->required();
  app.footer("Exit status: 0 done; 1 a file or the store cannot be used; 2 wrong usage or configuration.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUsage;
  }
  return check->parsed() ? Check(file) : Run(file);
}

}  // namespace
}  // namespace ulix::fleet

int main(int argc, char** argv) {
  try {
    return ulix::fleet::Main(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ulix-publish: %s\n", error.what());
    return 1;
  }
}
