// The configuration file of ulix-publish: the node, the broker, the instruments with their groups, and the outputs that
// may be written. Texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calibration/plan.h"
#include "core/group_settings.h"

namespace ulix::fleet {

struct TlsSettings {
  std::string ca_file;      // certificates of trusted authorities; empty: those of the system
  std::string certificate;  // of this program, if the broker requires one
  std::string key;
};

// The ports that are registered for MQTT.
constexpr int kMqttPort = 1883;
constexpr int kMqttOverTlsPort = 8883;

struct BrokerSettings {
  std::string host;
  int port = 0;
  std::optional<TlsSettings> tls;  // none: plain TCP
  std::string user;
  std::string password_file;  // must have mode 0600; its first line is the password
  int keep_alive = 10;        // seconds
  std::string client_id;      // empty: made from group and node
};

struct PublishedGroup {
  std::vector<std::string> channels;  // names or ids
  GroupSettings settings;
  int line = 0;
};

// An output that commands may write, with values from `min` to `max` in channel units.
struct WritableOutput {
  std::string channel;
  double min = 0;
  double max = 0;
  int line = 0;
};

// Facts about the instrument's last calibration, for hosts.
struct CertificateNote {
  std::string identifier;
  std::string valid_until;  // YYYY-MM-DD; empty: not given
};

struct PublishedInstrument {
  calibration::PlannedInstrument planned;
  std::string device;  // id on the broker; empty: MODEL-SERIAL
  std::vector<PublishedGroup> groups;
  std::vector<WritableOutput> writable;
  std::optional<CertificateNote> certificate;
  double lost_after = 10;  // seconds without a good reading after which the instrument counts as lost
};

struct StoreSettings {
  std::string folder;  // empty: see StoreFolderOf
  double max_megabytes = 64;
};

struct PublishConfig {
  std::string group;
  std::string node;
  BrokerSettings broker;
  StoreSettings store;
  std::string json_mirror;  // prefix of the topics of the JSON mirror; empty: no mirror
  std::vector<PublishedInstrument> instruments;
  std::string folder;  // folder of the file; files that it names are relative to it
};

struct LoadedConfig {
  PublishConfig config;                            // usable only if no problem is an error
  std::vector<calibration::PlanProblem> problems;  // in the order of their lines

  bool usable() const;
};

// Loads a configuration. Checks syntax, keys, values, whether they fit the supported models, and the password file.
// Sends nothing to any instrument or broker.
LoadedConfig LoadConfig(std::string_view text, const std::string& folder);

// Whether the host is this machine: localhost, 127.x.x.x or ::1.
bool IsLoopback(std::string_view host);

// The problem of a file in the TLS settings, as a sentence; empty if there is none.
calibration::BilingualText TlsFileProblem(const BrokerSettings& broker, const std::string& folder);

// The password for the broker; empty if no file is named. The error is a sentence, which never contains the password.
calibration::Result<std::string> ReadPassword(const BrokerSettings& broker, const std::string& folder);

}  // namespace ulix::fleet
