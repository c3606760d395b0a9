// Functions that every client of the MQTT library needs.
#pragma once

#include <memory>
#include <string>

#include "fleet/publish_config.h"

struct mosquitto;

namespace ulix::fleet {

using MqttClient = std::unique_ptr<mosquitto, void (*)(mosquitto*)>;

// Makes a client whose callbacks get `owner`. Its functions may be called from several threads. With an empty id the
// library makes one. Null when there is no memory.
MqttClient MakeMqttClient(const std::string& id, void* owner);

// Sets user, password, and TLS with certificate check as the settings say. `folder` is the folder of their files.
// Returns a code of the library.
int SetUpSecurity(mosquitto* client, const BrokerSettings& settings, const std::string& password,
                  const std::string& folder);

}  // namespace ulix::fleet
