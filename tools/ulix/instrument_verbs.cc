// identify, set, run, stop: verbs that call one member of an instrument.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "base/identification.h"
#include "base/numbers.h"
#include "drivers/progress.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/measurement_notes.h"
#include "tools/ulix/output.h"
#include "tools/ulix/question.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

struct IdentifyOptions {
  ConnectionOptions connection;
  bool json = false;
};

int Identify(const IdentifyOptions& options) {
  Session session(options.connection);
  session.Connect();
  std::string identification;
  const HRESULT result = session.instrument().Identify(&identification);
  if (result == E_NOTIMPL) {
    throw OperationFailed(result, Shown(TextId::kCannotIdentify, {session.instrument().card().model_id}));
  }
  session.Check(result);
  identification = Shown(identification);
  const Json json = {{"model", session.instrument().card().model_id},
                     {"identification", identification},
                     {"serial", SerialNumberIn(identification)}};
  options.json ? PrintJson(json) : PrintLine(identification);
  return 0;
}

struct SetOptions {
  ConnectionOptions connection;
  std::string channel;
  std::string value;
  std::optional<float> min;
  std::optional<float> max;
};

// Narrows the limits of the options to the model's limits of the channel.
void UseModelLimits(Session& session, ChannelId channel, SetOptions& options) {
  for (std::int16_t index = 0; index < 2; ++index) {
    float limit = 0;
    std::int16_t level = LimitNo;
    if (Failed(session.instrument().GetChanLim(channel, index, &limit, &level))) continue;
    if (level == LimitLow) options.min = std::max(limit, options.min.value_or(limit));
    if (level == LimitHigh) options.max = std::min(limit, options.max.value_or(limit));
  }
}

// A value beyond the limits is sent only when the user at the terminal confirms it.
void CheckLimits(const Channel& channel, float value, const SetOptions& options) {
  const bool below = options.min && value < *options.min;
  const bool above = options.max && value > *options.max;
  if (!below && !above) return;
  const std::string limit = ShownNumber(FormatWithUnit(channel, below ? *options.min : *options.max));
  const std::string what = Shown(below ? TextId::kBelowLimit : TextId::kAboveLimit,
                                 {channel.name, ShownNumber(FormatWithUnit(channel, value)), limit});
  if (!SomebodyIsThere()) throw UsageError("VALUE", what);
  if (!AskYesOrNo(what + ". " + Shown(TextId::kSetAnyway)))
    throw OperationFailed(kCancelled, Shown(TextId::kNothingWasChanged));
}

// Models whose set points can go to an object of a host fail like this where there is no host.
void CheckOutput(Session& session, HRESULT result) {
  if (result == E_NOTIMPL && Succeeded(session.instrument().SetSetPointObject({})))
    throw OperationFailed(result, Shown(TextId::kSetPointsGoToHost, {session.instrument().card().model_id}));
  session.Check(result);
}

int Set(SetOptions options) {
  if (options.min && options.max && *options.min > *options.max)
    throw UsageError("--min",
                     Shown(TextId::kMinAboveMax, {FormatShortest(*options.min), FormatShortest(*options.max)}));
  Session session(options.connection);
  // A wrong channel is refused before anything is sent to the instrument.
  if (!session.instrument().card().channels_in_instrument) SelectOutput(session.Channels(), options.channel);
  const float value = ParseValue(options.value);
  session.ConnectAndAsk();
  const Channel channel = SelectOutput(session.Channels(), options.channel);
  session.ReportUnknownUnits({&channel, 1});
  UseModelLimits(session, channel.id, options);
  CheckLimits(channel, value, options);
  CheckOutput(session, session.instrument().SetChanVal(channel.id, value));
  const std::string shown = ShownNumber(FormatShortest(value)) + (channel.unit.empty() ? "" : " " + channel.unit);
  Tell(Shown(TextId::kChannelSet, LanguageOf(options.connection), {channel.name, shown}));
  return 0;
}

// Defines a verb that starts or stops the instrument.
Action DefineOrder(CLI::App& verb, HRESULT (Instrument::*order)()) {
  const auto options = std::make_shared<ConnectionOptions>();
  AddModel(verb, *options);
  AddConnection(verb, *options);
  return [=] {
    Session session(*options);
    session.Connect();
    CheckOutput(session, (session.instrument().*order)());
    return 0;
  };
}

}  // namespace

Action DefineIdentify(CLI::App& verb) {
  const auto options = std::make_shared<IdentifyOptions>();
  AddModel(verb, options->connection);
  verb.add_flag("--json", options->json, Shown(TextId::kHelpJsonObject));
  AddConnection(verb, options->connection);
  return [=] { return Identify(*options); };
}

Action DefineSet(CLI::App& verb) {
  const auto options = std::make_shared<SetOptions>();
  AddModel(verb, options->connection);
  verb.add_option("CHANNEL", options->channel, Shown(TextId::kHelpOutput))->required()->type_name("");
  verb.add_option("VALUE", options->value, Shown(TextId::kHelpValue))->required()->type_name("");
  constexpr float kGreatest = std::numeric_limits<float>::max();
  verb.add_option("--min", options->min, Shown(TextId::kHelpMin))
      ->type_name("X")
      ->transform(Number(-kGreatest, kGreatest));
  verb.add_option("--max", options->max, Shown(TextId::kHelpMax))
      ->type_name("X")
      ->transform(Number(-kGreatest, kGreatest));
  AddConnection(verb, options->connection);
  return [=] { return Set(*options); };
}

Action DefineRun(CLI::App& verb) { return DefineOrder(verb, &Instrument::Run); }

Action DefineStop(CLI::App& verb) { return DefineOrder(verb, &Instrument::Stop); }

}  // namespace ulix::cli
