// What every client of the MQTT library does.
#pragma once

#include <memory>
#include <string>

#include "fleet/publish_config.h"

struct mosquitto;

namespace ulix::fleet {

using MqttClient = std::unique_ptr<mosquitto, void (*)(mosquitto*)>;

// A client whose callbacks get `owner`; its functions may be called from several threads. An empty id: the library
// makes one. Null without memory.
MqttClient MakeMqttClient(const std::string& id, void* owner);

// User, password and TLS with certificate check as the settings say; `folder` is where their files are. A code of the
// library.
int SetUpSecurity(mosquitto* client, const BrokerSettings& settings, const std::string& password,
                  const std::string& folder);

}  // namespace ulix::fleet
