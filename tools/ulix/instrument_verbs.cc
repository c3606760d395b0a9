// identify, set, run, stop: one thing asked of an instrument.
#include <CLI/CLI.hpp>

#include <memory>

#include "base/numbers.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

int Identify(const ConnectionOptions& connection) {
  Session session(connection);
  session.Connect();
  std::string identification;
  session.Check(session.instrument().Identify(&identification));
  PrintLine(Shown(identification));
  return 0;
}

struct SetOptions {
  ConnectionOptions connection;
  std::string channel;
  std::string value;
};

int Set(const SetOptions& options) {
  Session session(options.connection);
  const Channel channel = SelectOutput(session.Channels(), options.channel);
  const float value = ParseValue(options.value);
  session.Connect();
  session.Check(session.instrument().SetChanVal(channel.id, value));
  const std::string shown = ShownNumber(FormatShortest(value)) + " " + channel.unit;
  Tell(Shown(TextId::kChannelSet, LanguageOf(options.connection), {channel.name, shown}));
  return 0;
}

// An instrument-level start or stop.
Action DefineOrder(CLI::App& verb, HRESULT (Instrument::*order)()) {
  const auto options = std::make_shared<ConnectionOptions>();
  AddModel(verb, *options);
  AddConnection(verb, *options);
  return [=] {
    Session session(*options);
    session.Connect();
    session.Check((session.instrument().*order)());
    return 0;
  };
}

}  // namespace

Action DefineIdentify(CLI::App& verb) {
  const auto options = std::make_shared<ConnectionOptions>();
  AddModel(verb, *options);
  AddConnection(verb, *options);
  return [=] { return Identify(*options); };
}

Action DefineSet(CLI::App& verb) {
  const auto options = std::make_shared<SetOptions>();
  AddModel(verb, options->connection);
  verb.add_option("CHANNEL", options->channel, "An output channel's id or name")->required()->type_name("");
  verb.add_option("VALUE", options->value, "A number in the channel's unit, with a point or your own separator")
      ->required()
      ->type_name("");
  AddConnection(verb, options->connection);
  return [=] { return Set(*options); };
}

Action DefineRun(CLI::App& verb) { return DefineOrder(verb, &Instrument::Run); }

Action DefineStop(CLI::App& verb) { return DefineOrder(verb, &Instrument::Stop); }

}  // namespace ulix::cli
