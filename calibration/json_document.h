// A JSON text as a tree. Each node knows its line in the text, for messages to people.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tl/expected.hpp>

#include "calibration/problem.h"

namespace ulix::calibration {

struct JsonNode {
  using Nodes = std::vector<JsonNode>;  // in the order of the text
  enum class Kind { kNull, kFlag, kNumber, kText, kObject, kArray };

  // Null if the node is of another kind.
  const Nodes* object() const { return kind == Kind::kObject ? &nodes : nullptr; }
  const Nodes* array() const { return kind == Kind::kArray ? &nodes : nullptr; }
  const std::string* text() const { return kind == Kind::kText ? &text_value : nullptr; }
  const double* number() const { return kind == Kind::kNumber ? &number_value : nullptr; }
  const bool* flag() const { return kind == Kind::kFlag ? &flag_value : nullptr; }

  Kind kind = Kind::kNull;
  int line = 0;        // counted from 1; the line of the value, or of the key of a member
  std::string key;     // key of a member of an object
  bool again = false;  // the object already has a member with this key

  // Of these four values, only the one that `kind` names has a meaning.
  bool flag_value = false;
  double number_value = 0;
  std::string text_value;
  Nodes nodes;
};

struct JsonMistake {
  int line = 0;
  int column = 0;
  BilingualText message;
};

// Parses a UTF-8 text. Fails for nesting deeper than 64 and for texts above 8 MiB.
tl::expected<JsonNode, JsonMistake> ParseJson(std::string_view text);

}  // namespace ulix::calibration
