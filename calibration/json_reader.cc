#include "calibration/json_reader.h"

#include <array>
#include <cmath>

#include "base/nearest_word.h"
#include "base/numbers.h"

namespace ulix::calibration {
namespace {

// Whether a key is that of a comment, which is ignored.
bool IsComment(const std::string& key) { return key.starts_with('$') || key == "comment"; }

std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : ", ") + word;
  return joined;
}

}  // namespace

std::string NumberText(double value) { return FormatGeneral(value, 10); }

std::optional<double> ParseDuration(const JsonNode& node) {
  if (const double* number = node.number()) return *number;
  const std::string* text = node.text();
  if (!text) return std::nullopt;
  const auto prefix = ParseDecimalPrefix(*text);
  if (!prefix) return std::nullopt;
  std::string_view unit = Trimmed(std::string_view(*text).substr(prefix->length));
  constexpr std::array<std::pair<std::string_view, double>, 6> kUnits = {
      {{"s", 1}, {"m", 60}, {"min", 60}, {"h", 3600}, {"d", 86400}, {"", 1}}};
  for (const auto& [name, seconds] : kUnits) {
    if (unit == name) return prefix->value * seconds;
  }
  return std::nullopt;
}

JsonReader::JsonReader(const JsonNode& node, std::string path, PlanProblems& problems)
    : node_(node), path_(std::move(path)), problems_(problems) {
  if (!node.object()) Note(Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAnObject)}));
}

JsonReader::~JsonReader() {
  if (!node_.object()) return;
  for (const JsonNode& member : *node_.object()) {
    if (member.again) Note(member, member.key, Bilingual(TextId::kPlanTwice));
    if (known_.contains(member.key) || IsComment(member.key)) continue;
    const std::vector<std::string> known(known_.begin(), known_.end());
    const std::string meant = NearestWord(member.key, known);
    Note(member, member.key,
         meant.empty() ? Bilingual(TextId::kPlanUnknownKey, {Joined(known)})
                       : Bilingual(TextId::kPlanKeyMeant, {meant}));
  }
}

void JsonReader::Note(const JsonNode& at, const std::string& key, const BilingualText& message) {
  problems_.push_back({at.line, PathOf(key), message, false});
}

void JsonReader::Note(const BilingualText& message) { problems_.push_back({node_.line, path_, message, false}); }

const JsonNode* JsonReader::Find(const std::string& key) {
  known_.insert(key);
  if (!node_.object()) return nullptr;
  for (const JsonNode& member : *node_.object()) {
    if (member.key == key) return &member;
  }
  return nullptr;
}

const JsonNode* JsonReader::Require(const std::string& key) {
  const JsonNode* found = Find(key);
  if (!found && node_.object()) problems_.push_back({node_.line, PathOf(key), Bilingual(TextId::kPlanMissing), false});
  return found;
}

bool JsonReader::Text(const std::string& key, std::string& value) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  if (!node->text()) return Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAText)})), false;
  value = *node->text();
  return true;
}

bool JsonReader::Texts(const std::string& key, std::vector<std::string>& values) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  if (node->text()) return values = {*node->text()}, true;
  if (!node->array()) return Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanTexts)})), false;
  values.clear();
  for (const JsonNode& element : *node->array()) {
    if (!element.text())
      return Note(element, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanTexts)})), false;
    values.push_back(*element.text());
  }
  return true;
}

bool JsonReader::InRange(const JsonNode& node, const std::string& key, double value, double min, double max) {
  if (value >= min && value <= max) return true;
  BilingualText range = Bilingual(TextId::kPlanFromTo, {NumberText(min), NumberText(max)});
  if (max >= kMaxNumber && value < min) range = Bilingual(TextId::kPlanAtLeast, {NumberText(min)});
  if (min <= -kMaxNumber && value > max) range = Bilingual(TextId::kPlanAtMost, {NumberText(max)});
  Note(node, key, Bilingual(TextId::kPlanOutOfRange, {NumberText(value), range}));
  return false;
}

bool JsonReader::Number(const std::string& key, double& value, double min, double max) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  if (!node->number())
    return Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanANumber)})), false;
  if (!InRange(*node, key, *node->number(), min, max)) return false;
  value = *node->number();
  return true;
}

bool JsonReader::Number(const std::string& key, std::optional<double>& value, double min, double max) {
  double number = 0;
  if (!Number(key, number, min, max)) return false;
  value = number;
  return true;
}

bool JsonReader::Whole(const std::string& key, int& value, int min, int max) {
  double number = 0;
  if (!Number(key, number, min, max)) return false;
  if (number != std::floor(number))
    return Note(*Find(key), key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAWholeNumber)})), false;
  value = static_cast<int>(number);
  return true;
}

bool JsonReader::Seconds(const std::string& key, double& value, double min, double max) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  const auto seconds = ParseDuration(*node);
  if (!seconds) return Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanADuration)})), false;
  if (!InRange(*node, key, *seconds, min, max)) return false;
  value = *seconds;
  return true;
}

bool JsonReader::Flag(const std::string& key, bool& value) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  const bool* flag = node->flag();
  if (!flag) return Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAFlag)})), false;
  value = *flag;
  return true;
}

void JsonReader::NoteChoice(const std::string& key, const std::string& word, const std::vector<std::string>& known) {
  const std::string meant = NearestWord(word, known);
  Note(*Find(key), key,
       Bilingual(TextId::kPlanUnknownWord,
                 {word, meant.empty() ? BilingualText() : Bilingual(TextId::kPlanWordMeant, {meant}), Joined(known)}));
}

BilingualText DidYouMean(const std::string& meant) {
  return meant.empty() ? BilingualText() : Bilingual(TextId::kPlanDidYouMean, {meant});
}

bool JsonReader::Object(const std::string& key, const std::function<void(JsonReader&)>& read) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  JsonReader reader(*node, PathOf(key), problems_);
  if (node->object()) read(reader);
  return node->object() != nullptr;
}

bool JsonReader::Objects(const std::string& key, const std::function<void(JsonReader&)>& read) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  if (!node->array()) return Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAList)})), false;
  std::size_t number = 0;
  for (const JsonNode& element : *node->array()) {
    JsonReader reader(element, PathOf(key) + "[" + std::to_string(number++) + "]", problems_);
    if (element.object()) read(reader);
  }
  return true;
}

bool JsonReader::Named(const std::string& key,
                       const std::function<void(const std::string& name, const JsonNode& node)>& read) {
  const JsonNode* node = Find(key);
  if (!node) return false;
  if (!node->object())
    return Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAnObject)})), false;
  for (const JsonNode& member : *node->object()) {
    if (member.again) Note(member, key + "." + member.key, Bilingual(TextId::kPlanTwice));
    if (!IsComment(member.key)) read(member.key, member);
  }
  return true;
}

}  // namespace ulix::calibration
