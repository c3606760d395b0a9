// A JSON text as a tree that knows where in the text each part stands, for messages to people.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tl/expected.hpp>

namespace ulix::calibration {

struct JsonNode {
  using Nodes = std::vector<JsonNode>;  // in the text's order
  enum class Kind { kNull, kFlag, kNumber, kText, kObject, kArray };

  // Null when it is another kind.
  const Nodes* object() const { return kind == Kind::kObject ? &nodes : nullptr; }
  const Nodes* array() const { return kind == Kind::kArray ? &nodes : nullptr; }
  const std::string* text() const { return kind == Kind::kText ? &text_value : nullptr; }
  const double* number() const { return kind == Kind::kNumber ? &number_value : nullptr; }
  const bool* flag() const { return kind == Kind::kFlag ? &flag_value : nullptr; }

  Kind kind = Kind::kNull;
  int line = 0;        // from 1, where the value begins; of a member, where its key stands
  std::string key;     // of a member of an object
  bool again = false;  // a member whose key the object had already

  // One of them has a meaning, as `kind` says.
  bool flag_value = false;
  double number_value = 0;
  std::string text_value;
  Nodes nodes;
};

struct JsonMistake {
  int line = 0;
  int column = 0;
  std::string message;
};

// Texts are UTF-8. Nesting deeper than 64 and texts above 8 MiB are refused.
tl::expected<JsonNode, JsonMistake> ParseJson(std::string_view text);

// The one of `words` that is most like `typed`, if any is like it: what a person may have meant.
std::string Closest(std::string_view typed, const std::vector<std::string>& words);

}  // namespace ulix::calibration
