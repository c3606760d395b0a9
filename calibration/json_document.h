// A JSON text as a tree that knows where in the text each part stands, for messages to people.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <tl/expected.hpp>

namespace ulix::calibration {

struct JsonNode {
  using Object = std::vector<std::pair<std::string, JsonNode>>;  // in the text's order
  using Array = std::vector<JsonNode>;
  std::variant<std::monostate, bool, double, std::string, Object, Array> value;  // monostate: null
  int line = 0;        // from 1, where the value begins; of a member, where its key stands
  bool again = false;  // a member whose key the object had already

  // Null when it is another kind.
  const Object* object() const { return std::get_if<Object>(&value); }
  const Array* array() const { return std::get_if<Array>(&value); }
  const std::string* text() const { return std::get_if<std::string>(&value); }
  const double* number() const { return std::get_if<double>(&value); }
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
