#include "fleet/publish_config.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <set>

#include "base/date.h"
#include "base/text.h"
#include "calibration/json_document.h"
#include "calibration/json_reader.h"
#include "calibration/planned_instrument.h"
#include "fleet/message_store.h"
#include "fleet/topic.h"
#include "platform/clock.h"
#include "platform/files.h"

namespace ulix::fleet {
namespace {

using calibration::Bilingual;
using calibration::BilingualText;
using calibration::JsonNode;
using calibration::JsonReader;
using calibration::PlanProblem;
using calibration::PlanProblems;
using calibration::Refused;

constexpr double kMaxPeriod = 24 * 3600;
// The MQTT library supports no file descriptors above 1023, and an instrument may have four: its line, a lock, its
// store and a socket.
constexpr std::size_t kMaxInstruments = 200;

void ReadTopicId(JsonReader& from, const std::string& key, std::string& id) {
  const JsonNode* node = from.Require(key);
  if (!node || !from.Text(key, id)) return;
  if (!IsTopicId(id)) from.Note(*node, key, Bilingual(TextId::kFleetTopicId));
  // The name is also that of a folder of the store.
  if (id == "." || id == "..") from.Note(*node, key, Bilingual(TextId::kFleetIsToBeName));
}

// "tls": true, false or an object.
void ReadTls(JsonReader& from, BrokerSettings& broker) {
  const JsonNode* node = from.Find("tls");
  const bool local = IsLoopback(broker.host);
  if (!node) {
    if (!local) broker.tls.emplace();
    return;
  }
  if (const bool* wanted = node->flag()) {
    if (*wanted) broker.tls.emplace();
    if (!*wanted && !local) {
      from.problems().push_back({node->line, from.PathOf("tls"), Bilingual(TextId::kFleetUnprotected), true});
    }
    return;
  }
  from.Object("tls", [&](JsonReader& tls) {
    broker.tls.emplace();
    tls.Text("ca-file", broker.tls->ca_file);
    tls.Text("certificate", broker.tls->certificate);
    tls.Text("key", broker.tls->key);
    if (broker.tls->certificate.empty() != broker.tls->key.empty())
      tls.Note(Bilingual(TextId::kFleetCertificateAndKey));
  });
}

void ReadBroker(JsonReader& from, BrokerSettings& broker) {
  if (from.Require("host")) from.Text("host", broker.host);
  ReadTls(from, broker);
  broker.port = broker.tls ? kMqttOverTlsPort : kMqttPort;
  from.Whole("port", broker.port, 1, 65535);
  from.Text("user", broker.user);
  from.Text("password-file", broker.password_file);
  from.Whole("keep-alive", broker.keep_alive, 5, 3600);
  from.Text("client-id", broker.client_id);
  if (const JsonNode* password = from.Find("password")) {
    from.Note(*password, "password", Bilingual(TextId::kFleetPasswordHere));
  }
  if (!broker.password_file.empty() && broker.user.empty()) from.Note(Bilingual(TextId::kFleetPasswordNoUser));
}

void ReadGroup(JsonReader& from, PublishedGroup& group) {
  group.line = from.line();
  if (from.Require("channels")) from.Texts("channels", group.channels);
  double period_s = 1;
  if (from.Seconds("period", period_s, kShortestPeriodMs / 1000.0, kMaxPeriod)) {
    group.settings.period_ms = static_cast<std::uint32_t>(period_s * 1000 + 0.5);
  }
  double number = 0;
  if (from.Number("dead-band", number, 0)) group.settings.dead_band_abs = static_cast<float>(number);
  if (from.Number("dead-band-percent", number, 0, 1000)) {
    group.settings.dead_band_percent = static_cast<float>(number);
  }
  // Without the key only the dead bands decide on reports.
  group.settings.dead_time_max_s = std::numeric_limits<std::uint32_t>::max();
  double interval_s = 1;
  if (from.Seconds("max-report-interval", interval_s, 1, kMaxPeriod)) {
    group.settings.dead_time_max_s = static_cast<std::uint32_t>(interval_s);
  }
}

void ReadWritable(JsonReader& from, std::vector<WritableOutput>& writable) {
  from.Named("allow-writes", [&](const std::string& name, const JsonNode& node) {
    WritableOutput output{.channel = name, .line = node.line};
    JsonReader limits(node, from.PathOf("allow-writes." + name), from.problems());
    if (limits.Require("min")) limits.Number("min", output.min);
    if (limits.Require("max")) limits.Number("max", output.max);
    if (output.min > output.max) limits.Note(Bilingual(TextId::kPlanMinAboveMax));
    writable.push_back(output);
  });
}

// Whether a text is a day of the calendar, YYYY-MM-DD.
bool IsDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  const auto number = [&](std::size_t from, std::size_t count) {
    const std::string_view digits = text.substr(from, count);
    return digits.find_first_not_of("0123456789") == digits.npos ? std::stoi(std::string(digits)) : 0;
  };
  const std::chrono::year_month_day day{std::chrono::year(number(0, 4)),
                                        std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                        std::chrono::day(static_cast<unsigned>(number(8, 2)))};
  return day.ok();
}

void ReadCertificate(JsonReader& from, CertificateNote& certificate) {
  if (from.Require("identifier")) from.Text("identifier", certificate.identifier);
  const JsonNode* node = from.Find("valid-until");
  if (!node || !from.Text("valid-until", certificate.valid_until)) return;
  if (!IsDay(certificate.valid_until)) {
    return from.Note(*node, "valid-until", Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kFleetADay)}));
  }
  const std::string today = IsoTime(SystemClock().LocalTime()).substr(0, certificate.valid_until.size());
  if (certificate.valid_until < today) {
    const BilingualText over = Bilingual(TextId::kFleetCertificateOver);
    from.problems().push_back({node->line, from.PathOf("valid-until"), over, true});
  }
}

void ReadPublished(JsonReader& from, PublishedInstrument& instrument) {
  calibration::ReadInstrument(from, instrument.planned);
  if (from.Find("device")) ReadTopicId(from, "device", instrument.device);
  if (from.Require("groups")) {
    from.Objects("groups", [&](JsonReader& spec) { ReadGroup(spec, instrument.groups.emplace_back()); });
  }
  ReadWritable(from, instrument.writable);
  from.Object("certificate", [&](JsonReader& spec) { ReadCertificate(spec, instrument.certificate.emplace()); });
  from.Seconds("lost-after", instrument.lost_after, 1, 3600);
}

void ReadConfig(JsonReader& from, PublishConfig& config) {
  ReadTopicId(from, "group", config.group);
  ReadTopicId(from, "node", config.node);
  if (from.Require("broker")) {
    from.Object("broker", [&](JsonReader& spec) { ReadBroker(spec, config.broker); });
  }
  from.Object("store", [&](JsonReader& spec) {
    spec.Text("folder", config.store.folder);
    spec.Number("max-megabytes", config.store.max_megabytes, 1, 1e6);
  });
  if (const JsonNode* node = from.Find("json-mirror"); node && from.Text("json-mirror", config.json_mirror)) {
    const bool good = !config.json_mirror.empty() && config.json_mirror.find_first_of("+#") == std::string::npos &&
                      !config.json_mirror.starts_with("spBv1.0") && !config.json_mirror.starts_with('$');
    if (!good) from.Note(*node, "json-mirror", Bilingual(TextId::kFleetMirrorTopic));
  }
  if (!from.Require("instruments")) return;
  from.Named("instruments", [&](const std::string& name, const JsonNode& node) {
    PublishedInstrument& instrument = config.instruments.emplace_back();
    instrument.planned.name = name;
    JsonReader spec(node, from.PathOf("instruments." + name), from.problems());
    if (node.object()) ReadPublished(spec, instrument);
  });
}

// Checks whether the parts of a configuration fit each other and the models.
class ConfigChecker {
 public:
  ConfigChecker(const PublishConfig& config, PlanProblems& problems) : config_(config), problems_(problems) {}

  void Check() {
    if (config_.instruments.empty()) Refuse(0, "instruments", Bilingual(TextId::kPlanNoInstruments));
    if (config_.instruments.size() > kMaxInstruments)
      Refuse(0, "instruments", Bilingual(TextId::kFleetTooMany, {std::to_string(kMaxInstruments)}));
    std::vector<calibration::PlannedInstrument> planned;
    for (const PublishedInstrument& instrument : config_.instruments) {
      CheckOne(instrument);
      planned.push_back(instrument.planned);
    }
    calibration::CheckPorts(planned, problems_);
    if (config_.store.max_megabytes * 1e6 < static_cast<double>(MessageStore::kMinBytes * config_.instruments.size()))
      Refuse(0, "store.max-megabytes", Bilingual(TextId::kFleetStoreTooSmall));
    const auto password = ReadPassword(config_.broker, config_.folder);
    if (!password) Refuse(0, "broker.password-file", password.error());
    const BilingualText problem = TlsFileProblem(config_.broker, config_.folder);
    if (!problem.empty()) Refuse(0, "broker.tls", problem);
  }

 private:
  void Refuse(int line, const std::string& path, const BilingualText& message) {
    problems_.push_back({line, path, message, false});
  }

  void CheckOne(const PublishedInstrument& instrument) {
    const std::string path = "instruments." + instrument.planned.name;
    if (instrument.groups.empty()) Refuse(instrument.planned.line, path, Bilingual(TextId::kFleetNoGroup));
    if (!instrument.device.empty() && !devices_.insert(instrument.device).second) {
      Refuse(instrument.planned.line, path + ".device", Bilingual(TextId::kFleetTwice, {instrument.device}));
    }
    const auto made = calibration::CheckInstrument(instrument.planned, config_.folder, problems_);
    if (!made) return;
    CheckGroups(*made, instrument, path);
    CheckWritable(*made, instrument, path + ".allow-writes.");
  }

  // An output can be named by name or by id. Limits for both would contradict each other.
  void CheckWritable(Instrument& made, const PublishedInstrument& instrument, const std::string& path) {
    std::set<ChannelId> taken;
    for (const WritableOutput& output : instrument.writable) {
      const std::string place = path + output.channel;
      const auto id = calibration::CheckChannel(made, output.channel, calibration::ChannelUse::kWrite, output.line,
                                                place, problems_);
      if (id && !taken.insert(*id).second) Refuse(output.line, place, Bilingual(TextId::kPlanTwice));
    }
  }

  void CheckGroups(Instrument& made, const PublishedInstrument& instrument, const std::string& path) {
    std::set<ChannelId> taken;
    for (std::size_t k = 0; k < instrument.groups.size(); ++k) {
      const PublishedGroup& group = instrument.groups[k];
      const std::string place = path + ".groups[" + std::to_string(k) + "].channels";
      if (group.channels.empty()) Refuse(group.line, place, Bilingual(TextId::kFleetNoChannel));
      for (const std::string& channel : group.channels) {
        const auto id =
            calibration::CheckChannel(made, channel, calibration::ChannelUse::kRead, group.line, place, problems_);
        if (id && !taken.insert(*id).second) Refuse(group.line, place, Bilingual(TextId::kFleetTwice, {channel}));
      }
    }
  }

  const PublishConfig& config_;
  PlanProblems& problems_;
  std::set<std::string> devices_;
};

// Whether a host is four decimal numbers up to 255, the first one 127. A host name may also begin with "127.".
bool IsLoopbackAddress(std::string_view host) {
  int numbers[4] = {};
  for (int k = 0; k < 4; ++k) {
    if (k > 0 && !host.starts_with('.')) return false;
    if (k > 0) host.remove_prefix(1);
    const auto [end, error] = std::from_chars(host.data(), host.data() + host.size(), numbers[k]);
    if (error != std::errc() || numbers[k] < 0 || numbers[k] > 255) return false;
    host.remove_prefix(static_cast<std::size_t>(end - host.data()));
  }
  return host.empty() && numbers[0] == 127;
}

}  // namespace

bool IsLoopback(std::string_view host) {
  return EqualIgnoringCase(host, "localhost") || IsLoopbackAddress(host) || host == "::1";
}

BilingualText TlsFileProblem(const BrokerSettings& broker, const std::string& folder) {
  if (!broker.tls) return {};
  for (const std::string& file : {broker.tls->ca_file, broker.tls->certificate, broker.tls->key}) {
    if (file.empty()) continue;
    const std::string name = calibration::PathInPlan(folder, file);
    std::ifstream opened(platform::PathOf(name), std::ios::binary);
    if (!opened || opened.peek() == std::ifstream::traits_type::eof()) {
      return Bilingual(TextId::kFleetFileEmpty, {name});
    }
  }
  return {};
}

calibration::Result<std::string> ReadPassword(const BrokerSettings& broker, const std::string& folder) {
  if (broker.password_file.empty()) return std::string();
  const std::string name = calibration::PathInPlan(folder, broker.password_file);
  const std::filesystem::path path = platform::PathOf(name);
  std::error_code failed;
  const auto status = std::filesystem::status(path, failed);
  if (failed || !std::filesystem::is_regular_file(status)) return Refused(TextId::kReferenceNoFile, {name});
  using std::filesystem::perms;
  if ((status.permissions() & (perms::group_all | perms::others_all)) != perms::none) {
    return Refused(TextId::kFleetFileReadable, {name});
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) return Refused(TextId::kFleetFileOfOther, {name});
  std::string password;
  if (!std::getline(file, password) || password.empty()) return Refused(TextId::kFleetNoPassword, {name});
  if (password.ends_with('\r')) password.pop_back();
  return password;
}

bool LoadedConfig::usable() const {
  return std::all_of(problems.begin(), problems.end(), [](const PlanProblem& problem) { return problem.warning; });
}

LoadedConfig LoadConfig(std::string_view text, const std::string& folder) {
  LoadedConfig loaded;
  loaded.config.folder = folder;
  const auto document = calibration::ParseJson(text);
  if (!document) return loaded.problems.push_back(calibration::ProblemOf(document.error())), loaded;
  {
    JsonReader reader(*document, "", loaded.problems);
    if (document->object()) ReadConfig(reader, loaded.config);
  }
  if (loaded.usable()) ConfigChecker(loaded.config, loaded.problems).Check();
  std::stable_sort(loaded.problems.begin(), loaded.problems.end(),
                   [](const PlanProblem& a, const PlanProblem& b) { return a.line < b.line; });
  return loaded;
}

}  // namespace ulix::fleet
