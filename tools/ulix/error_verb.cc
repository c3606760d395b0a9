// error: explains a result code.
#include <CLI/CLI.hpp>

#include <memory>
#include <nlohmann/json.hpp>

#include "drivers/catalogue.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

struct ErrorOptions {
  ConnectionOptions connection;
  std::string code;
  bool short_text = false;
  bool json = false;
};

std::string TextFrom(const ErrorOptions& options, const std::string& model, HRESULT code) {
  ConnectionOptions connection = options.connection;
  connection.model = model;
  return Session(connection).ErrorText(code, options.short_text);
}

// The text of the first model that has one, else the system's, else the code's own name.
std::string TextFromAny(const ErrorOptions& options, HRESULT code) {
  for (const CatalogueEntry& entry : Catalogue()) {
    std::string text = TextFrom(options, entry.card->model_id, code);
    if (!text.empty()) return text;
  }
  const std::string text = SystemText(code, LanguageOf(options.connection));
  return text.empty() ? std::string(ErrorCodeName(code)) : text;
}

int Explain(const ErrorOptions& options) {
  const HRESULT code = ParseCode(options.code);
  const std::string& model = options.connection.model;
  const std::string text = model.empty() ? TextFromAny(options, code) : TextFrom(options, model, code);
  if (text.empty()) {
    throw OperationFailed(code, model.empty() ? Shown(TextId::kNoCode) : Shown(TextId::kNoCodeOf, {model}));
  }
  const Json json = {{"code", JsonError(code)}, {"name", ErrorCodeName(code)}, {"text", text}};
  options.json ? PrintJson(json) : PrintLine(text);
  return 0;
}

}  // namespace

Action DefineError(CLI::App& verb) {
  const auto options = std::make_shared<ErrorOptions>();
  verb.add_option("CODE", options->code, Shown(TextId::kHelpCode))->required()->type_name("");
  AddModelOption(verb, options->connection);
  verb.add_flag("--short", options->short_text, Shown(TextId::kHelpShort));
  verb.add_flag("--json", options->json, Shown(TextId::kHelpJsonObject));
  AddLanguage(verb, options->connection);
  return [=] { return Explain(*options); };
}

}  // namespace ulix::cli
