#include "fleet/topic.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "fleet/shown_text.h"

namespace ulix::fleet {
namespace {

constexpr std::string_view kNamespace = "spBv1.0";

constexpr std::array<std::pair<std::string_view, MessageType>, 8> kTypes = {{{"NBIRTH", MessageType::kNodeBirth},
                                                                             {"NDEATH", MessageType::kNodeDeath},
                                                                             {"NDATA", MessageType::kNodeData},
                                                                             {"NCMD", MessageType::kNodeCommand},
                                                                             {"DBIRTH", MessageType::kDeviceBirth},
                                                                             {"DDEATH", MessageType::kDeviceDeath},
                                                                             {"DDATA", MessageType::kDeviceData},
                                                                             {"DCMD", MessageType::kDeviceCommand}}};

bool IsForbidden(char c) { return c == '+' || c == '#' || c == '/'; }

bool IsOfDevice(MessageType type) { return type >= MessageType::kDeviceBirth; }

std::vector<std::string_view> Levels(std::string_view text) {
  std::vector<std::string_view> levels;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find('/', at), text.size());
    levels.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return levels;
}

}  // namespace

std::string TextOf(const Topic& topic) {
  const auto type = std::find_if(kTypes.begin(), kTypes.end(), [&](const auto& t) { return t.second == topic.type; });
  std::string text(kNamespace);
  text += "/" + topic.group + "/" + std::string(type->first) + "/" + topic.node;
  return IsOfDevice(topic.type) ? text + "/" + topic.device : text;
}

std::optional<Topic> ParseTopic(std::string_view text) {
  const auto levels = Levels(text);
  if (levels.size() < 4 || levels.size() > 5 || levels[0] != kNamespace) return std::nullopt;
  const auto type = std::find_if(kTypes.begin(), kTypes.end(), [&](const auto& t) { return t.first == levels[2]; });
  if (type == kTypes.end() || IsOfDevice(type->second) != (levels.size() == 5)) return std::nullopt;
  Topic topic{std::string(levels[1]), type->second, std::string(levels[3]), ""};
  if (levels.size() == 5) topic.device = levels[4];
  const bool valid = IsTopicId(topic.group) && IsTopicId(topic.node) && (levels.size() == 4 || IsTopicId(topic.device));
  return valid ? std::optional(topic) : std::nullopt;
}

bool IsTopicId(std::string_view text) {
  return !text.empty() && text.size() <= kMaxShownBytes && std::none_of(text.begin(), text.end(), IsForbidden) &&
         IsShowable(text);
}

std::string TopicIdOf(std::string_view text) {
  std::string id = ShownText(text, '-');
  std::replace_if(id.begin(), id.end(), IsForbidden, '-');
  return id.empty() ? "-" : id;
}

}  // namespace ulix::fleet
