#include "fleet/publisher.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "calibration/instruments.h"
#include "core/version.h"
#include "fleet/shown_text.h"
#include "platform/files.h"

namespace ulix::fleet {
namespace {

namespace fs = std::filesystem;
using calibration::Bilingual;
using calibration::BilingualText;
using calibration::Refused;

constexpr char kBdSeqFile[] = "bdseq";
constexpr char kLockFile[] = "lock";
constexpr char kDevicesFolder[] = "devices";

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

// Locks the store for one publisher. Two would be the same client of the broker, and each would end the other's
// connection.
std::unique_ptr<platform::AppendFile> LockFolder(const fs::path& folder) {
  const std::string path = (folder / kLockFile).string();
  auto opened = platform::OpenForAppending(path, platform::AppendMode::kNew);
  if (!opened.file && opened.failure == platform::AppendFailure::kExists) {
    opened = platform::OpenForAppending(path, platform::AppendMode::kExisting);
  }
  return std::move(opened.file);
}

// A name that is unique for each node, although group and node may contain dots.
std::string NodeNameOf(const PublishConfig& config) {
  std::string group;
  for (const char c : config.group) group += c == '.' ? "%2E" : c == '%' ? "%25" : std::string(1, c);
  return group + "." + config.node;
}

// Whether an instrument of the configuration has this id, or may get it after its identification.
bool CanBeOf(const PublishConfig& config, const std::string& device) {
  return std::any_of(config.instruments.begin(), config.instruments.end(), [&](const PublishedInstrument& instrument) {
    return instrument.device.empty() ? device.starts_with(TopicIdOf(instrument.planned.model + "-"))
                                     : device == instrument.device;
  });
}

std::uint64_t BytesIn(const fs::path& folder) {
  std::uint64_t sum = 0;
  std::error_code failed;
  for (const fs::directory_entry& file : fs::directory_iterator(folder, failed)) {
    const std::uint64_t bytes = file.file_size(failed);
    if (!failed) sum += bytes;
  }
  return sum;
}

// The size of stored messages for devices that are not in the configuration. Logs a warning about them.
std::uint64_t NoteOtherStores(const PublishConfig& config, const fs::path& folder, const Log& log) {
  std::uint64_t sum = 0;
  std::string names;
  std::error_code failed;
  for (const fs::directory_entry& store : fs::directory_iterator(folder, failed)) {
    const std::string device = store.path().filename().string();
    const std::uint64_t bytes = CanBeOf(config, device) ? 0 : BytesIn(store.path());
    sum += bytes;
    if (bytes > 0) names += (names.empty() ? "" : ", ") + device;
  }
  if (sum > 0) {
    log(LogLevel::kWarning,
        Bilingual(TextId::kFleetOtherStores, {std::to_string(sum), folder.string(), ShownText(names)}));
  }
  return sum;
}

Node::Options NodeOptionsOf(const PublishConfig& config, const fs::path& folder, const Log& log) {
  const fs::path devices = folder / kDevicesFolder;
  const auto room = static_cast<std::uint64_t>(config.store.max_megabytes * 1e6);
  const std::uint64_t share =
      (room - std::min(room, NoteOtherStores(config, devices, log))) / config.instruments.size();
  return {.group = config.group,
          .node = config.node,
          .last_bd_seq = KeptBdSeq(folder),
          .keep_bd_seq = [folder](std::uint8_t bd_seq) { KeepBdSeq(folder, bd_seq); },
          .metrics = {{.name = "Properties/Program", .type = DataType::kString, .value = std::string("ulix-publish")},
                      {.name = "Properties/Version", .type = DataType::kString, .value = VersionText()}},
          .open_store = [devices, share, log](const std::string& device) -> std::unique_ptr<MessageStore> {
            auto store = MessageStore::Open((devices / device).string(), share);
            if (!store) return log(LogLevel::kError, store.error()), nullptr;
            return std::move(*store);
          },
          .mirror_prefix = config.json_mirror,
          .log = log};
}

}  // namespace

std::string StoreFolderOf(const PublishConfig& config) {
  if (!config.store.folder.empty()) return calibration::PathInPlan(config.folder, config.store.folder);
  fs::path base = Environment("STATE_DIRECTORY");
  if (base.empty() && !Environment("XDG_STATE_HOME").empty())
    base = fs::path(Environment("XDG_STATE_HOME")) / "ulix-publish";
  if (base.empty()) base = fs::path(Environment("HOME")) / ".local" / "state" / "ulix-publish";
  return (base / NodeNameOf(config)).string();
}

calibration::Result<std::unique_ptr<Publisher>> Publisher::Make(const PublishConfig& config, const Log& log) {
  const auto password = ReadPassword(config.broker, config.folder);
  if (!password) return tl::unexpected(password.error());
  const fs::path folder = platform::PathOf(StoreFolderOf(config));
  std::error_code failed;
  fs::create_directories(folder, failed);
  if (failed) return Refused(TextId::kJournalNoFolder, {folder.string(), failed.message()});
  std::unique_ptr<Publisher> made(new Publisher);
  made->lock_ = LockFolder(folder);
  if (!made->lock_) return Refused(TextId::kFleetStoreInUse, {folder.string()});

  made->node_ = std::make_unique<Node>(NodeOptionsOf(config, folder, log));
  for (const PublishedInstrument& instrument : config.instruments) {
    made->devices_.push_back(std::make_unique<BenchDevice>(instrument, config.folder, *made->node_, log));
  }
  made->node_->HandleCommandsWith(
      [publisher = made.get()](const std::string& device, const Metric& command) -> BilingualText {
        for (const auto& known : publisher->devices_) {
          if (const auto answer = known->Command(device, command)) return *answer;
        }
        return Bilingual(TextId::kFleetNoSuchDevice);
      });
  BrokerSettings broker = config.broker;
  if (broker.client_id.empty()) broker.client_id = NodeNameOf(config);
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
