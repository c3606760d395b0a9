// What is asked of a person: the questions of a dialog, shown in windows on a desktop or line by line on a terminal.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/file_question.h"

namespace ulix {

enum class FieldKind {
  kText,      // anything
  kNumber,    // with the user's decimal separator
  kChoice,    // one of `choices`
  kFile,      // the path of a file, as `file` asks for it
  kOpenList,  // one of `choices`, or something else typed
  kCheckBox,  // "1" or ""
  kShown,     // nothing to enter
};

// Texts are Windows-1252, in the language that the form was made in.
struct Field {
  std::string key;  // for programs: a setting's key, "channel.3", "period"
  std::string label;
  FieldKind kind = FieldKind::kText;
  std::string value;
  std::vector<std::string> choices;
  std::string unit;   // shown behind the field
  FileQuestion file;  // of a file's path
};

struct Page {
  std::string title;
  std::vector<Field> fields;
};

// What is wrong with an entry.
struct Refusal {
  std::size_t page = 0;
  std::size_t field = 0;
  std::string reason;
};

// A form takes all that was entered or nothing of it.
struct Form {
  std::string title;
  std::vector<Page> pages;  // one at least
  // Checks the entries and gives them to the instrument; without refusal they are taken. A form that has none shows
  // only.
  std::function<std::optional<Refusal>(const Form& entered)> apply = {};
  // The same check alone, as far as it can be made without giving anything; may be missing.
  std::function<std::optional<Refusal>(const Form& entered)> check = {};
};

// A question that a form asks; null when it has none of that key.
Field* FindField(Form& form, const std::string& key);

}  // namespace ulix
