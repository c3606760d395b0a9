#include "fleet/mqtt_client.h"

#include <mosquitto.h>

#include "calibration/instruments.h"

namespace ulix::fleet {
namespace {

constexpr char kSystemAuthorities[] = "/etc/ssl/certs";
constexpr int kVerifyPeer = 1;

// An encrypted key cannot be used, because nobody is there to type its password.
int NoPassword(char*, int, int, void*) { return 0; }

const char* OrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

}  // namespace

MqttClient MakeMqttClient(const std::string& id, void* owner) {
  // The library is initialised once in a process.
  static const int done = mosquitto_lib_init();
  static_cast<void>(done);
  MqttClient client(mosquitto_new(OrNull(id), true, owner), mosquitto_destroy);
  if (!client) return client;
  mosquitto_threaded_set(client.get(), true);
  // Without it, a small message waits up to 40 ms for the acknowledgement of the one before.
  mosquitto_int_option(client.get(), MOSQ_OPT_TCP_NODELAY, 1);
  return client;
}

int SetUpSecurity(mosquitto* client, const BrokerSettings& settings, const std::string& password,
                  const std::string& folder) {
  if (!settings.user.empty()) {
    const int result = mosquitto_username_pw_set(client, settings.user.c_str(), OrNull(password));
    if (result != MOSQ_ERR_SUCCESS) return result;
  }
  if (!settings.tls) return MOSQ_ERR_SUCCESS;
  const auto path = [&](const std::string& file) {
    return file.empty() ? file : calibration::PathInPlan(folder, file);
  };
  const std::string ca = path(settings.tls->ca_file), certificate = path(settings.tls->certificate),
                    key = path(settings.tls->key);
  const int result = mosquitto_tls_set(client, OrNull(ca), ca.empty() ? kSystemAuthorities : nullptr,
                                       OrNull(certificate), OrNull(key), NoPassword);
  return result == MOSQ_ERR_SUCCESS ? mosquitto_tls_opts_set(client, kVerifyPeer, nullptr, nullptr) : result;
}

}  // namespace ulix::fleet
