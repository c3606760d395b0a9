#include "fleet/broker_link.h"

#include <mosquitto.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "fleet/mqtt_client.h"
#include "fleet/shown_text.h"

namespace ulix::fleet {
namespace {

using calibration::Bilingual;
using calibration::BilingualText;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kMaxHandshake{10};
constexpr seconds kMaxFarewell{2};
constexpr seconds kSteadySession{30};
constexpr int kManyShortSessions = 3;
constexpr int kLoopMs = 100;
constexpr milliseconds kTickInterval{100};
constexpr int kSubscriptionRefused = 0x80;  // in SUBACK, instead of a quality of service

// The reasons of a broker that refuses a connection: the codes of CONNACK from 1 on.
constexpr std::array kRefusals = {TextId::kBrokerProtocol, TextId::kBrokerClientId, TextId::kBrokerUnavailable,
                                  TextId::kBrokerPassword, TextId::kBrokerNotAuthorised};

BilingualText RefusalText(int code) {
  const bool known = code >= 1 && code <= static_cast<int>(kRefusals.size());
  return known ? Bilingual(kRefusals[static_cast<std::size_t>(code - 1)]) : mosquitto_connack_string(code);
}

}  // namespace

// Functions that the MQTT library calls on the link's thread. No exception may leave them.
struct BrokerLink::Callbacks {
  static void OnConnect(mosquitto* client, void* link, int code) {
    auto& self = *static_cast<BrokerLink*>(link);
    if (code != 0) {
      self.reason_ = Bilingual(TextId::kFleetBrokerRefuses, {RefusalText(code)});
      self.failed_ = true;
      return;
    }
    self.accepted_ = true;
    for (const std::string& topic : self.user_.topics()) {
      mosquitto_subscribe(client, nullptr, topic.c_str(), 1);
    }
  }
  static void OnSubscribe(mosquitto*, void* link, int, int count, const int* granted) {
    auto& self = *static_cast<BrokerLink*>(link);
    if (count > 0 && granted[0] >= kSubscriptionRefused) {
      self.Say(LogLevel::kWarning, Bilingual(TextId::kFleetSubscriptionRefused));
    }
    if (++self.subscriptions_ != static_cast<int>(self.user_.topics().size())) return;
    self.said_ = {};
    self.online_ = true;
    self.Say(LogLevel::kInfo, Bilingual(TextId::kFleetConnectedTo, {self.settings_.host}));
    self.user_.Online(self);
  }
  static void OnUnsubscribe(mosquitto*, void* link, int) { static_cast<BrokerLink*>(link)->user_.Confirmed(); }
  static void OnDisconnect(mosquitto*, void* link, int) { static_cast<BrokerLink*>(link)->failed_ = true; }
  static void OnPublish(mosquitto*, void* link, int message) {
    auto& self = *static_cast<BrokerLink*>(link);
    if (message == self.acknowledged_message_) self.acknowledged_message_ = 0;
  }
  static void OnLog(mosquitto*, void* link, int level, const char* text) {
    auto& self = *static_cast<BrokerLink*>(link);
    const std::lock_guard lock(self.error_mutex_);
    if (level == MOSQ_LOG_ERR && self.library_error_.empty()) self.library_error_ = text;
  }
  static void OnMessage(mosquitto*, void* link, const mosquitto_message* message) {
    const std::string_view bytes(static_cast<const char*>(message->payload),
                                 static_cast<std::size_t>(message->payloadlen));
    static_cast<BrokerLink*>(link)->user_.Received(message->topic, bytes, message->retain);
  }
};

BrokerLink::BrokerLink(BrokerSettings settings, std::string password, std::string folder, BrokerClient& user, Log log)
    : settings_(std::move(settings)),
      password_(std::move(password)),
      folder_(std::move(folder)),
      user_(user),
      log_(std::move(log)),
      client_(nullptr, mosquitto_destroy) {}

void BrokerLink::Say(LogLevel level, const BilingualText& text) const {
  if (log_) log_(level, text);
}

void BrokerLink::SayOnce(LogLevel level, const BilingualText& text) {
  if (text == said_) return;
  said_ = text;
  Say(level, text);
}

void BrokerLink::Start() {
  thread_ = std::thread([this] { Run(); });
}

void BrokerLink::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool BrokerLink::IsMoving() {
  using Clock = std::chrono::steady_clock;
  const std::uint64_t turns = turns_;
  if (std::exchange(last_turns_, turns) != turns) return true;
  const Clock::time_point begun{Clock::duration(lookup_)};
  return begun != Clock::time_point() && Clock::now() - begun < kMaxNameLookup;
}

bool BrokerLink::Publish(const std::string& topic, const std::string& payload, int qos) {
  int message = 0;
  const int result = mosquitto_publish(client_.get(), &message, topic.c_str(), static_cast<int>(payload.size()),
                                       payload.data(), qos, false);
  if (qos > 0) acknowledged_message_ = message;
  return result == MOSQ_ERR_SUCCESS;
}

// A broker handles the packets of a client in order, so its answer to this packet says that it has received all earlier
// ones. The packet unsubscribes from a topic that is never subscribed to, so it changes nothing.
bool BrokerLink::RequestConfirmation() {
  const std::string topic = user_.topics().front() + "/confirmation";
  return mosquitto_unsubscribe(client_.get(), nullptr, topic.c_str()) == MOSQ_ERR_SUCCESS;
}

void BrokerLink::Run() {
  do {
    RunSession();
  } while (PauseBeforeRetry());
}

bool BrokerLink::PauseBeforeRetry() {
  const int doublings = std::min(failures_++, 5);
  const auto until = std::chrono::steady_clock::now() + std::min<seconds>(seconds(1 << doublings), seconds(30));
  std::unique_lock lock(mutex_);
  // Waits in short pieces, so that the watchdog sees that the thread is alive.
  while (!stopping_ && std::chrono::steady_clock::now() < until) {
    changed_.wait_for(lock, milliseconds(500));
    ++turns_;
  }
  return !stopping_;
}

bool BrokerLink::Prepare() {
  client_ = MakeMqttClient(settings_.client_id, this);
  mosquitto* client = client_.get();
  if (!client) return false;
  mosquitto_log_callback_set(client, Callbacks::OnLog);
  mosquitto_connect_callback_set(client, Callbacks::OnConnect);
  mosquitto_subscribe_callback_set(client, Callbacks::OnSubscribe);
  mosquitto_unsubscribe_callback_set(client, Callbacks::OnUnsubscribe);
  mosquitto_disconnect_callback_set(client, Callbacks::OnDisconnect);
  mosquitto_publish_callback_set(client, Callbacks::OnPublish);
  mosquitto_message_callback_set(client, Callbacks::OnMessage);
  return SetUp();
}

bool BrokerLink::SetUp() {
  mosquitto* client = client_.get();
  // The library has the same code for every problem of a TLS file, so the file is checked here.
  BilingualText cause = TlsFileProblem(settings_, folder_);
  int result = MOSQ_ERR_SUCCESS;
  if (const auto will = user_.will()) {
    result = mosquitto_will_set(client, will->topic.c_str(), static_cast<int>(will->payload.size()),
                                will->payload.data(), 1, false);
  }
  if (result == MOSQ_ERR_SUCCESS && cause.empty()) result = SetUpSecurity(client, settings_, password_, folder_);
  if (result != MOSQ_ERR_SUCCESS) cause = mosquitto_strerror(result);
  if (cause.empty()) return true;
  SayOnce(LogLevel::kError, Bilingual(TextId::kFleetNoSetup, {cause}));
  return false;
}

// The library looks up the host's name before it returns, which takes up to a minute without a name server.
int BrokerLink::Connect() {
  lookup_ = std::chrono::steady_clock::now().time_since_epoch().count();
  const int result =
      mosquitto_connect_async(client_.get(), settings_.host.c_str(), settings_.port, settings_.keep_alive);
  lookup_ = 0;
  return result;
}

void BrokerLink::RunSession() {
  subscriptions_ = 0;
  failed_ = false;
  reason_ = Bilingual(TextId::kFleetNotReached, {settings_.host});
  acknowledged_message_ = 0;
  {
    const std::lock_guard lock(error_mutex_);
    library_error_.clear();
  }
  // An attempt that no broker accepted does not count as a session.
  if (!begun_ || accepted_) user_.BeginSession();
  begun_ = true;
  accepted_ = false;
  if (!Prepare()) return;
  const int result = Connect();
  if (result != MOSQ_ERR_SUCCESS) {
    NoteCause(result);
    return SayOnce(LogLevel::kWarning, reason_);
  }
  const auto begun = std::chrono::steady_clock::now();
  Loop();
  if (online_ && stopping_) Farewell();
  user_.Offline();
  if (online_.exchange(false)) {
    reason_ = Bilingual(TextId::kFleetConnectionLost);
    NoteLength(std::chrono::steady_clock::now() - begun);
  }
  if (!stopping_) SayOnce(LogLevel::kWarning, reason_);
}

// The TLS handshake may also fail after the connection was made: a broker that requires a certificate ends it later.
void BrokerLink::NoteCause(int result) {
  if (result == MOSQ_ERR_EAI) reason_ = Bilingual(TextId::kFleetNoSuchHost, {settings_.host});
  if (!settings_.tls || accepted_) return;
  const std::lock_guard lock(error_mutex_);
  const bool is_handshake = result == MOSQ_ERR_TLS || result == MOSQ_ERR_TLS_HANDSHAKE;
  if (library_error_.empty() && !is_handshake) return;
  const bool is_theirs = library_error_.empty() || library_error_.find("verif") != std::string::npos;
  reason_ = Bilingual(TextId::kFleetTlsFails, {is_theirs ? Bilingual(TextId::kFleetCertificateInvalid, {settings_.host})
                                                         : BilingualText(ShownText(library_error_))});
}

// Warns after several short sessions: two clients with the same id end each other's sessions.
void BrokerLink::NoteLength(std::chrono::steady_clock::duration session) {
  if (session >= kSteadySession) {
    failures_ = short_sessions_ = 0;
  } else if (++short_sessions_ >= kManyShortSessions && !settings_.client_id.empty()) {
    reason_ = Bilingual(TextId::kFleetShortSessions, {settings_.client_id});
  }
}

void BrokerLink::Loop() {
  const auto begun = std::chrono::steady_clock::now();
  auto next_tick = begun;
  while (!stopping_ && !failed_) {
    ++turns_;
    const int result = mosquitto_loop(client_.get(), kLoopMs, 1);
    if (result != MOSQ_ERR_SUCCESS) return NoteCause(result);
    const auto now = std::chrono::steady_clock::now();
    if (!online_ && now - begun > kMaxHandshake) return;
    // Each published message also ends a turn of the loop, so the time of the next tick is checked.
    if (now < next_tick) continue;
    next_tick = now + kTickInterval;
    if (user_.Tick(now) == BrokerClient::Health::kStuck) return;
  }
}

void BrokerLink::Farewell() {
  const auto until = std::chrono::steady_clock::now() + kMaxFarewell;
  const auto loop = [&] { return mosquitto_loop(client_.get(), kLoopMs, 1) == MOSQ_ERR_SUCCESS; };
  while (user_.HasUnconfirmed() && std::chrono::steady_clock::now() < until && loop()) {
    user_.Tick(std::chrono::steady_clock::now());
  }
  user_.SayDeath();
  while (acknowledged_message_ != 0 && std::chrono::steady_clock::now() < until && loop()) {
  }
  mosquitto_disconnect(client_.get());
  loop();
}

}  // namespace ulix::fleet
