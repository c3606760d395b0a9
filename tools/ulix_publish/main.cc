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
#include "tools/ulix/help_format.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/usage.h"

namespace ulix::fleet {
namespace {

using cli::Shown;

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

// Writes the level before each line, as the journal of a service expects.
void LogToStandardError(LogLevel level, const calibration::BilingualText& text) {
  static std::mutex mutex;
  static const bool in_journal = std::getenv("JOURNAL_STREAM") != nullptr;
  const std::lock_guard lock(mutex);
  if (in_journal)
    std::cerr << '<' << static_cast<int>(level) << '>';
  else
    std::cerr << "ulix-publish: ";
  std::cerr << text.In(cli::ShownLanguage()) << std::endl;
}

// Loads the configuration. If it cannot be read, prints a message and returns none.
std::optional<LoadedConfig> Load(const std::string& path) {
  std::ifstream file(platform::PathOf(path), std::ios::binary);
  if (!file || platform::IsNoFile(platform::PathOf(path))) {
    std::cerr << "ulix-publish: " << Shown(TextId::kReferenceUnreadable, {path}) << '\n';
    return std::nullopt;
  }
  const std::string text(std::istreambuf_iterator<char>(file), {});
  auto loaded = LoadConfig(text, platform::PathOf(path).parent_path().string());
  for (const auto& problem : loaded.problems) {
    std::cerr << path << ":" << (problem.line > 0 ? "" : " ")
              << (problem.warning ? Shown(TextId::kRunWarning) : std::string())
              << calibration::Described(problem, cli::ShownLanguage()) << '\n';
  }
  return loaded;
}

void PrintSummary(const PublishConfig& config) {
  const std::string broker = config.broker.host + ":" + std::to_string(config.broker.port) +
                             (config.broker.tls ? Shown(TextId::kPublishWithTls) : std::string());
  std::cout << Shown(TextId::kPublishSummary, {config.group, config.node, broker, StoreFolderOf(config)}) << '\n';
  for (const PublishedInstrument& instrument : config.instruments) {
    std::size_t channels = 0;
    for (const PublishedGroup& group : instrument.groups) channels += group.channels.size();
    const calibration::PlannedInstrument& planned = instrument.planned;
    std::cout << Shown(
        TextId::kPublishInstrument,
        {planned.name, planned.model, planned.port.empty() ? planned.host : planned.port, std::to_string(channels)});
    for (const WritableOutput& output : instrument.writable) {
      std::cout << Shown(TextId::kPublishWritable, {output.channel});
    }
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
  CLI::App app(Shown(TextId::kPublishProgram), "ulix-publish");
  std::string file;
  app.set_help_flag("-h,--help", Shown(TextId::kHelpHelp));
  app.set_version_flag("-V,--version", "ulix-publish " + VersionText(), Shown(TextId::kHelpVersion));
  app.formatter(std::make_shared<cli::HelpFormat>());
  app.require_subcommand(1);
  CLI::App* run = app.add_subcommand("run", Shown(TextId::kPublishRun));
  CLI::App* check = app.add_subcommand("check", Shown(TextId::kPublishCheck));
  for (CLI::App* verb : {run, check})
    verb->add_option("FILE", file, Shown(TextId::kPublishFile))->type_name("")->required();
  app.footer(Shown(TextId::kPublishNotes));
  try {
    cli::ParseArguments(app, cli::ArgumentsOf(argc, argv));
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const cli::UsageError& error) {
    std::cerr << "ulix-publish: " << error.what() << '\n';
    return kWrongUsage;
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
