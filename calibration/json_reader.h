// Takes an object of a JSON text apart by its keys, and keeps what is wrong with it for a person to read.
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
// Beyond it no quantity of a plan makes sense, and sums and products of such numbers would not be finite.
inline constexpr double kMaxNumber = 1e9;

// A duration: a number of seconds, or a text such as "90s", "10m", "2h", "1d". None for anything else.
std::optional<double> ParseDuration(const JsonNode& node);

// One object. Each member function takes the key as known, whether the object has it or not, and leaves its argument
// alone where it has not or where the value is wrong. Keys that nobody took are problems.
class JsonReader {
 public:
  JsonReader(const JsonNode& node, std::string path, PlanProblems& problems);
  // Notes the keys that nobody took.
  ~JsonReader();
  JsonReader(const JsonReader&) = delete;
  JsonReader& operator=(const JsonReader&) = delete;

  // Null where the key is not there. A comment key begins with '$' or is "comment" and is never asked for.
  const JsonNode* Find(const std::string& key);
  const JsonNode* Require(const std::string& key);  // a problem where it is not there

  bool Text(const std::string& key, std::string& value);
  bool Texts(const std::string& key, std::vector<std::string>& values);  // one text or a list
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
  // Runs `read` with a reader of the object under the key, or with one for each object of a list.
  bool Object(const std::string& key, const std::function<void(JsonReader&)>& read);
  bool Objects(const std::string& key, const std::function<void(JsonReader&)>& read);
  // Every member, as an object of names.
  bool Named(const std::string& key, const std::function<void(const std::string& name, const JsonNode& node)>& read);

  void Note(const JsonNode& at, const std::string& key, const BilingualText& message);
  void Note(const BilingualText& message);  // about the object as a whole
  int line() const { return node_.line; }
  const std::string& path() const { return path_; }
  PlanProblems& problems() { return problems_; }
  std::string PathOf(const std::string& key) const { return path_.empty() ? key : path_ + "." + key; }

 private:
  void NoteChoice(const std::string& key, const std::string& word, const std::vector<std::string>& known);
  bool InRange(const JsonNode& node, const std::string& key, double value, double min, double max);

  const JsonNode& node_;
  std::string path_;
  PlanProblems& problems_;
  std::set<std::string> known_;
};

// What a message adds to a word that is not known: "; did you mean ...?", or nothing where no other is near.
BilingualText DidYouMean(const std::string& meant);

// A number as messages have it.
std::string NumberText(double value);

}  // namespace ulix::calibration
