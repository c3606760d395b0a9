// What ulix-publish is told by its file: the node, the broker, the instruments with their groups, and what may be
// written. Texts are UTF-8.
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
  std::string ca_file;      // certificates of authorities; empty: those of the system
  std::string certificate;  // of this program, where the broker asks for one
  std::string key;
};

struct BrokerSettings {
  std::string host;
  int port = 0;
  std::optional<TlsSettings> tls;  // none: plain TCP
  std::string user;
  std::string password_file;  // mode 0600; its first line is the password
  int keep_alive = 10;        // seconds
  std::string client_id;      // empty: made from group and node
};

struct PublishedGroup {
  std::vector<std::string> channels;  // names or ids
  GroupSettings settings;
  int line = 0;
};

// An output that commands may write, between `min` and `max` in channel units.
struct WritableOutput {
  std::string channel;
  double min = 0;
  double max = 0;
  int line = 0;
};

// The certificate of the instrument's last calibration, as hosts are told of it.
struct CertificateNote {
  std::string identifier;
  std::string valid_until;  // YYYY-MM-DD; empty: not said
};

struct PublishedInstrument {
  calibration::PlannedInstrument planned;
  std::string device;  // its id on the broker; empty: MODEL-SERIAL
  std::vector<PublishedGroup> groups;
  std::vector<WritableOutput> writable;
  std::optional<CertificateNote> certificate;
  double lost_after = 10;  // seconds without one good reading until it counts as lost
};

struct StoreSettings {
  std::string folder;  // empty: the folder of the service or of the user
  double max_megabytes = 64;
};

struct PublishConfig {
  std::string group;
  std::string node;
  BrokerSettings broker;
  StoreSettings store;
  std::string json_mirror;  // prefix of the mirror's topics; empty: none
  std::vector<PublishedInstrument> instruments;
  std::string folder;  // of the file; files that it names are relative to it
};

struct LoadedConfig {
  PublishConfig config;                            // usable only where no problem is an error
  std::vector<calibration::PlanProblem> problems;  // in the order of their lines

  bool usable() const;
};

// Checks syntax, keys, values, whether they fit the catalogue of models, and the password file. No instrument and no
// broker is asked.
LoadedConfig LoadConfig(std::string_view text, const std::string& folder);

// Whether the host is this machine: localhost, 127.x.x.x or ::1.
bool IsLoopback(std::string_view host);

// What is wrong with a file that the TLS settings name, in a sentence; empty: nothing.
std::string TlsFileProblem(const BrokerSettings& broker, const std::string& folder);

// The password of the broker; empty where no file is named. The error is a sentence that does not hold the password.
tl::expected<std::string, std::string> ReadPassword(const BrokerSettings& broker, const std::string& folder);

}  // namespace ulix::fleet
