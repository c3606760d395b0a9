#include "fleet/publisher.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "calibration/instruments.h"
#include "core/version.h"
#include "platform/files.h"

namespace ulix::fleet {
namespace {

namespace fs = std::filesystem;

constexpr char kBdSeqFile[] = "bdseq";
constexpr char kLockFile[] = "lock";

std::string Environment(const char* name) {
  const char* text = std::getenv(name);
  return text ? text : "";
}

std::uint8_t KeptBdSeq(const fs::path& folder) {
  std::ifstream file(folder / kBdSeqFile);
  int number = 0;
  return file >> number && number >= 0 && number <= 255 ? static_cast<std::uint8_t>(number) : std::uint8_t{255};
}

void KeepBdSeq(const fs::path& folder, std::uint8_t bd_seq) {
  platform::NewFile file((folder / kBdSeqFile).string());
  file.Write(std::to_string(bd_seq) + "\n");
  file.Commit();
}

// One publisher a store: two would be one client of the broker, each ending the other's connection.
std::unique_ptr<platform::AppendFile> LockFolder(const fs::path& folder) {
  const std::string path = (folder / kLockFile).string();
  auto opened = platform::OpenForAppending(path, platform::AppendMode::kNew);
  if (!opened.file && opened.failure == platform::AppendFailure::kExists) {
    opened = platform::OpenForAppending(path, platform::AppendMode::kExisting);
  }
  return std::move(opened.file);
}

}  // namespace

std::string StoreFolderOf(const PublishConfig& config) {
  if (!config.store.folder.empty()) return calibration::PathInPlan(config.folder, config.store.folder);
  fs::path base = Environment("STATE_DIRECTORY");
  if (base.empty() && !Environment("XDG_STATE_HOME").empty())
    base = fs::path(Environment("XDG_STATE_HOME")) / "ulix-publish";
  if (base.empty()) base = fs::path(Environment("HOME")) / ".local" / "state" / "ulix-publish";
  return (base / (config.group + "." + config.node)).string();
}

tl::expected<std::unique_ptr<Publisher>, std::string> Publisher::Make(const PublishConfig& config, Log log) {
  const auto password = ReadPassword(config.broker, config.folder);
  if (!password) return tl::unexpected(password.error());
  const fs::path folder = platform::PathOf(StoreFolderOf(config));
  std::error_code failed;
  fs::create_directories(folder, failed);
  if (failed) return tl::unexpected("the folder " + folder.string() + " cannot be made: " + failed.message());
  std::unique_ptr<Publisher> made(new Publisher);
  made->lock_ = LockFolder(folder);
  if (!made->lock_) return tl::unexpected("the store " + folder.string() + " is in use by another publisher");

  const auto share = static_cast<std::uint64_t>(config.store.max_megabytes * 1e6) / config.instruments.size();
  made->node_ = std::make_unique<Node>(Node::Options{
      .group = config.group,
      .node = config.node,
      .last_bd_seq = KeptBdSeq(folder),
      .keep_bd_seq = [folder](std::uint8_t bd_seq) { KeepBdSeq(folder, bd_seq); },
      .metrics = {{.name = "Properties/Program", .type = DataType::kString, .value = std::string("ulix-publish")},
                  {.name = "Properties/Version", .type = DataType::kString, .value = VersionText()}},
      .open_store = [folder, share, log](const std::string& device) -> std::unique_ptr<MessageStore> {
        auto store = MessageStore::Open((folder / device).string(), share);
        if (!store) return log(LogLevel::kError, store.error()), nullptr;
        return std::move(*store);
      },
      .mirror_prefix = config.json_mirror,
      .log = log});
  for (const PublishedInstrument& instrument : config.instruments) {
    made->devices_.push_back(std::make_unique<BenchDevice>(instrument, config.folder, *made->node_, log));
  }
  made->node_->HandleCommandsWith(
      [publisher = made.get()](const std::string& device, const Metric& command) -> std::string {
        for (const auto& known : publisher->devices_) {
          if (const auto answer = known->Command(device, command)) return *answer;
        }
        return "there is no such device";
      });
  BrokerSettings broker = config.broker;
  if (broker.client_id.empty()) broker.client_id = config.group + "." + config.node;
  made->link_ = std::make_unique<BrokerLink>(broker, *password, config.folder, *made->node_, log);
  return made;
}

void Publisher::Start() {
  link_->Start();
  for (const auto& device : devices_) device->Start();
}

void Publisher::Stop() {
  for (const auto& device : devices_) device->RequestStop();
  for (const auto& device : devices_) device->Stop();
  if (link_) link_->Stop();
}

}  // namespace ulix::fleet
