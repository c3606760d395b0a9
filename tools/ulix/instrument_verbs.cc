// identify, set, run, stop, config: one thing asked of an instrument.
#include <memory>

#include "base/numbers.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/output.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

// What a person wants to hear when it went well, and a script does not.
void Tell(const std::string& text) {
  if (OnTerminal()) PrintLine(text);
}

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
  Tell(channel.name + " set to " + ShownNumber(FormatShortest(value)) + " " + channel.unit);
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

struct ConfigOptions {
  ConnectionOptions connection;
  std::string action;
  std::string save_file;
};

void ShowConfig(Session& session) {
  const Settings& settings = session.instrument().settings();
  const auto values = settings.Snapshot();
  for (const SettingRow& row : settings.rows()) {
    const std::string text = Shown(settings.TextOf(row));
    const std::string code = row.words.empty() ? text : std::to_string(CodeIn(values, row));
    PrintLine(std::string(row.key) + " = " + (text == code ? text : text + " (" + code + ")"));
  }
  std::string communication;
  session.Check(session.instrument().GetCommInfo(&communication));
  PrintLine(Shown(communication));
}

void SaveConfig(Session& session, const std::string& path) {
  MemoryStream stream;
  session.Check(session.instrument().Save(stream));
  WriteWholeFile(path, stream.bytes());
}

int Config(const ConfigOptions& options) {
  Session session(options.connection);
  if (!options.save_file.empty()) CheckReplaceable(options.save_file);
  if (options.action != "show") session.Connect();
  if (options.action == "send") session.Check(session.instrument().SendCfg());
  if (options.action == "read") session.Check(session.instrument().ReadCfg());
  if (options.action == "send") {
    Tell("configuration sent");
  } else {
    ShowConfig(session);
  }
  if (!options.save_file.empty()) SaveConfig(session, options.save_file);
  return 0;
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
  verb.add_option("VALUE", options->value, "In the channel's unit; a point or your own separator")
      ->required()
      ->type_name("");
  AddConnection(verb, options->connection);
  return [=] { return Set(*options); };
}

Action DefineRun(CLI::App& verb) { return DefineOrder(verb, &Instrument::Run); }

Action DefineStop(CLI::App& verb) { return DefineOrder(verb, &Instrument::Stop); }

Action DefineConfig(CLI::App& verb) {
  const auto options = std::make_shared<ConfigOptions>();
  AddModel(verb, options->connection);
  verb.add_option("ACTION", options->action,
                  "show: print it, without an instrument; send: to the instrument; read: from the instrument")
      ->required()
      ->type_name("show|send|read")
      ->check(CLI::IsMember({"show", "send", "read"}));
  verb.add_option("--save", options->save_file, "Keep the configuration in a file for --config")->type_name("FILE");
  AddConnection(verb, options->connection);
  return [=] { return Config(*options); };
}

}  // namespace ulix::cli
