// Reads the members of a JSON object by their keys, and collects the problems for a person to read.
#pragma once

#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "calibration/json_document.h"
#include "calibration/plan.h"

namespace ulix::calibration {

using PlanProblems = std::vector<PlanProblem>;

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
// No quantity of a plan is larger, and calculations with larger numbers might overflow.
inline constexpr double kMaxNumber = 1e9;

// A duration in seconds: from a number of seconds, or from a text such as "90s", "10m", "2h", "1d". None for anything
// else.
std::optional<double> ParseDuration(const JsonNode& node);

// Reads one object. Each function marks its key as known. If the object does not have the key, or the value is wrong,
// the argument stays unchanged; a wrong value is also a problem. Keys that no function has asked for are problems.
class JsonReader {
 public:
  JsonReader(const JsonNode& node, std::string path, PlanProblems& problems);
  // Reports the keys that no function has asked for.
  ~JsonReader();
  JsonReader(const JsonReader&) = delete;
  JsonReader& operator=(const JsonReader&) = delete;

  // The value of a key; null if the object does not have it. Keys of comments begin with '$' or are "comment"; they are
  // never asked for.
  const JsonNode* Find(const std::string& key);
  const JsonNode* Require(const std::string& key);  // a missing key is a problem

  bool Text(const std::string& key, std::string& value);
  bool Texts(const std::string& key, std::vector<std::string>& values);  // one text or a list of texts
  bool Number(const std::string& key, double& value, double min = -kMaxNumber, double max = kMaxNumber);
  bool Number(const std::string& key, std::optional<double>& value, double min = -kMaxNumber, double max = kMaxNumber);
  bool Whole(const std::string& key, int& value, int min, int max);
  bool Seconds(const std::string& key, double& value, double min = 0, double max = kInfinity);
  bool Flag(const std::string& key, bool& value);
  template <typename T>
  bool Choice(const std::string& key, std::initializer_list<std::pair<const char*, T>> words, T& value) {
    std::string word;
    if (!Text(key, word)) return false;
    std::vector<std::string> known;
    for (const auto& [name, code] : words) {
      if (word == name) return value = code, true;
      known.emplace_back(name);
    }
    return NoteChoice(key, word, known), false;
  }
  // Calls `read` with a reader of the object with this key, or with one reader for each object of a list.
  bool Object(const std::string& key, const std::function<void(JsonReader&)>& read);
  bool Objects(const std::string& key, const std::function<void(JsonReader&)>& read);
  // Calls `read` with the name and value of every member of the object with this key.
  bool Named(const std::string& key, const std::function<void(const std::string& name, const JsonNode& node)>& read);

  void Note(const JsonNode& at, const std::string& key, const BilingualText& message);
  void Note(const BilingualText& message);  // adds a problem of the object as a whole
  int line() const { return node_.line; }
  const std::string& path() const { return path_; }
  PlanProblems& problems() { return problems_; }
  std::string PathOf(const std::string& key) const { return path_.empty() ? key : path_ + "." + key; }
  // Adds a problem: `word` in the value is not in `known`.
  void NoteChoice(const std::string& key, const std::string& word, const std::vector<std::string>& known);

 private:
  bool InRange(const JsonNode& node, const std::string& key, double value, double min, double max);

  const JsonNode& node_;
  std::string path_;
  PlanProblems& problems_;
  std::set<std::string> known_;
};

// The end of a message about an unknown word: "; did you mean ...?". Empty if no known word is similar.
BilingualText DidYouMean(const std::string& meant);

// A number as text for messages.
std::string NumberText(double value);

}  // namespace ulix::calibration
