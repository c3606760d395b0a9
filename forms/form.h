// The contents of a dialog: pages of fields. A desktop shows them in windows, a terminal line by line.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/file_question.h"

namespace ulix {

enum class FieldKind {
  kText,      // Any text.
  kNumber,    // A number with the user's decimal separator.
  kChoice,    // One of `choices`.
  kFile,      // The path of a file; `file` has the question for it.
  kOpenList,  // One of `choices`, or a typed text.
  kCheckBox,  // "1" or "".
  kShown,     // Read only.
};

// One entry. Texts are Windows-1252, in the language of the form.
struct Field {
  std::string key;  // The name for programs: a setting's key, "channel.3", "period".
  std::string label;
  FieldKind kind = FieldKind::kText;
  std::string value;
  std::vector<std::string> choices;
  std::string beside;  // The value of the field that the choices depend on. Empty when they depend on none.
  std::string unit;    // Shown after the field.
  FileQuestion file;   // The question of a kFile field.
};

struct Page {
  std::string title;
  std::vector<Field> fields;
};

// Why an entry is refused. `page` and `field` are positions in the form.
struct Refusal {
  std::size_t page = 0;
  std::size_t field = 0;
  std::string reason;
};

// A form. Either all entries are accepted or none. It refers to the instrument that it was made for.
struct Form {
  std::string title;
  std::vector<Page> pages;  // At least one.
  // Checks all entries and then sets them in the instrument. None: they are set. A form without this function is read
  // only.
  std::function<std::optional<Refusal>(const Form& entered)> apply = {};
  // Updates the choices that depend on another field. True when any were updated. May be missing.
  std::function<bool(Form& entered)> adapt = {};
  // Checks the entries without setting them, as far as that is possible. May be missing.
  std::function<std::optional<Refusal>(const Form& entered)> check = {};
};

// The field of a form with this key; null when there is none.
Field* FindField(Form& form, const std::string& key);

}  // namespace ulix
