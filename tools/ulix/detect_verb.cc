// detect: finds the model that answers on a line.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>
#include <optional>
#include <variant>

#include "base/identification.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/measurement_notes.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

constexpr std::uint32_t kProbeTimeoutMs = 500;

struct DetectOptions {
  ConnectionOptions connection;
  bool json = false;
};

struct Answer {
  const ModelCard* card = nullptr;
  std::string identification;
};

// The queries of other models may leave a part of a request in the instrument. Then it does not understand the first
// query that it should know, so each model is tried twice.
constexpr int kAttempts = 2;

// The identity of the instrument when it answers as this model; else none.
std::optional<Answer> AnswerAs(const ConnectionOptions& options, const ModelCard& card) {
  ConnectionOptions connection = options;
  connection.model = card.model_id;
  Session session(connection);
  const HRESULT connected = session.TryConnect();
  std::int32_t is_connected = 0;
  session.instrument().IsConnected(&is_connected);
  std::string identification;
  if (Failed(connected) || !is_connected) return std::nullopt;
  if (Failed(session.instrument().Identify(&identification)) || identification.empty()) return std::nullopt;
  return Answer{&card, Shown(identification)};
}

std::optional<Answer> Detect(const ConnectionOptions& options) {
  const std::atomic<bool>& interrupted = CatchInterrupts();
  for (const CatalogueEntry& entry : Catalogue()) {
    if (entry.card->link == LinkKind::kUsb || !entry.card->has_identification) continue;
    if (OnTerminal()) std::cout << "\r" << PaddedTo(Shown(TextId::kTrying, {entry.card->model_id}), 40) << std::flush;
    std::optional<Answer> answer;
    for (int attempt = 0; attempt < kAttempts && !answer && !interrupted; ++attempt)
      answer = AnswerAs(options, *entry.card);
    if (OnTerminal()) std::cout << "\r" << std::string(40, ' ') << "\r" << std::flush;
    if (answer) return answer;
  }
  return std::nullopt;
}

int Run(const DetectOptions& options) {
  if (std::holds_alternative<SimulatedPort>(ParsePort(options.connection.port)))
    throw UsageError("--port", Shown(TextId::kDetectNeedsLine));
  const auto answer = Detect(options.connection);
  if (!answer) throw OperationFailed(E_FAIL, Shown(TextId::kNobodyAnswers, {options.connection.port}));
  const Json json = {{"model", answer->card->model_id},
                     {"identification", answer->identification},
                     {"serial", SerialNumberIn(answer->identification)}};
  options.json ? PrintJson(json) : PrintLine(std::string(answer->card->model_id) + "  " + answer->identification);
  return 0;
}

}  // namespace

Action DefineDetect(CLI::App& verb) {
  const auto options = std::make_shared<DetectOptions>();
  verb.add_flag("--json", options->json, Shown(TextId::kHelpJsonObject));
  options->connection.timeout_ms = kProbeTimeoutMs;
  AddConnection(verb, options->connection);
  verb.get_option("--port")->required();
  verb.footer(Shown(TextId::kHelpDetectNotes));
  return [=] { return Run(*options); };
}

}  // namespace ulix::cli
