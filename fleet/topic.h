// Topics of benches on a broker: spBv1.0/GROUP/TYPE/NODE and spBv1.0/GROUP/TYPE/NODE/DEVICE.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ulix::fleet {

enum class MessageType {
  kNodeBirth,
  kNodeDeath,
  kNodeData,
  kNodeCommand,
  kDeviceBirth,
  kDeviceDeath,
  kDeviceData,
  kDeviceCommand
};

struct Topic {
  std::string group;  // the laboratory
  MessageType type;
  std::string node;    // the bench
  std::string device;  // the instrument; empty for messages of the node

  bool operator==(const Topic&) const = default;
};

std::string TextOf(const Topic& topic);
// Parses a topic; none for a topic of another form.
std::optional<Topic> ParseTopic(std::string_view text);

// Whether a text can be a group, a node or a device: not empty, at most 200 bytes, no '+', '#' or '/', and showable
// (fleet/shown_text.h).
bool IsTopicId(std::string_view text);
// The text with '-' in place of characters that an id must not have; "-" for an empty text.
std::string TopicIdOf(std::string_view text);

}  // namespace ulix::fleet
