// config: shows, edits, sends, reads and saves the instrument's configuration.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>
#include <memory>

#include "forms/instrument_forms.h"
#include "platform/terminal.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/config_file.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/form_prompt.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"
#include "tools/ulix/question.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

struct ConfigOptions {
  ConnectionOptions connection;
  std::string action;
  std::string save_file;
};

// The line that names the source of the shown settings.
std::string SourceLine(Session& session, const ConfigOptions& options, const std::string& name) {
  const Language language = OnTerminal() ? LanguageOf(options.connection) : Language::kEnglish;
  if (session.settings_source() == SettingsSource::kInstrument)
    return Shown(TextId::kShowsInstrument, language, {name});
  const std::string& file = options.connection.config_file;
  if (!file.empty()) return Shown(TextId::kShowsFile, language, {name, file});
  if (session.settings_source() == SettingsSource::kOptions) return Shown(TextId::kShowsOptions, language, {name});
  const ConnectionOptions& connection = options.connection;
  const bool silent = !session.instrument().card().settings_can_be_read;
  const bool named = !connection.port.empty() || !connection.host.empty();
  return Shown(named && silent ? TextId::kShowsDefaultsOfSilent : TextId::kShowsDefaults, language, {name});
}

// The published summary says CMX310 for every model and has the published texts. This line names the right model and
// has the texts for people.
std::string LineSummary(Session& session, const std::string& name, Language language) {
  if (session.simulated()) return name + " (" + Shown(TextId::kSimulated) + ")";
  std::string text;
  session.Check(session.instrument().GetCommInfo(&text));
  text = Shown(text);
  const std::size_t place = text.find(":CMX310 (");
  SerialParams line;
  const bool has_line = Succeeded(session.instrument().GetSerialParams(&line));
  if (has_line && place != std::string::npos)
    text = text.substr(0, place) + ":" + name + " (" + Shown(LineText(line, language)) + ")";
  // The number of a port with a path is valid in this process only.
  if (has_line && !line.location.empty() && text.starts_with("COM ")) text.replace(0, text.find(':'), line.location);
  return text;
}

void Print(Session& session, const ConfigOptions& options) {
  const std::string name = Shown(session.instrument().card().display_name.In(LanguageOf(options.connection)));
  const Settings& settings = session.instrument().settings();
  const auto values = settings.Current();
  PrintLine("# " + SourceLine(session, options, name));
  for (const SettingRow& row : settings.rows()) {
    const std::string text = Shown(settings.TextOf(row));
    const std::string code = row.labels.empty() ? text : std::to_string(CodeIn(*values, row));
    PrintLine(std::string(row.key) + " = " + (text == code ? text : text + " (" + code + ")"));
  }
  PrintLine(LineSummary(session, name, LanguageOf(options.connection)));
}

// Reads the settings from the instrument when the options name it and its model has queries for them. Fails when the
// instrument does not answer.
void Show(Session& session, const ConfigOptions& options) {
  const ConnectionOptions& connection = options.connection;
  const bool named = !connection.port.empty() || !connection.host.empty();
  const bool given = !connection.config_file.empty() || !connection.settings.empty() || connection.no_config;
  if (named && !given && session.instrument().card().settings_home == SettingsHome::kInstrument) {
    session.Connect();
    session.ReadSettings();
  }
  Print(session, options);
}

// The configuration of an instrument with a program is its program file.
void CheckProgramFile(Session& session) {
  const Settings& settings = session.instrument().settings();
  for (const SettingRow& row : settings.rows()) {
    if (!session.instrument().FileQuestionOf(row)) continue;
    const std::string file = settings.TextOf(row);
    if (file.empty()) throw UsageError("--set", Shown(TextId::kProgramFileMissing, {row.key}));
    const std::string cause = CauseOfUnreadable(Shown(file));
    if (!cause.empty()) throw OperationFailed(kFileNotFound, Shown(TextId::kUnableToRead, {Shown(file)}) + cause);
  }
}

// Sends the settings. Refuses when the user gave none, because the defaults would change the instrument's
// configuration.
void Send(Session& session, const ConfigOptions& options) {
  const ModelCard& card = session.instrument().card();
  if (!card.settings_can_be_sent)
    throw OperationFailed(E_NOTIMPL, Shown(TextId::kNoCommandForSettings, {card.model_id}));
  if (session.settings_source() == SettingsSource::kDefaults) {
    throw UsageError("send", Shown(TextId::kNothingToSend));
  }
  CheckProgramFile(session);
  session.Connect();
  session.Check(session.instrument().SendCfg());
  Tell(Shown(TextId::kConfigurationSent, LanguageOf(options.connection)));
}

void Read(Session& session, const ConfigOptions& options) {
  if (session.instrument().card().settings_can_be_read) session.Connect();
  session.ReadSettings();
  Print(session, options);
}

void Edit(Session& session, const ConfigOptions& options) {
  const Language language = LanguageOf(options.connection);
  const bool kept = !options.save_file.empty();
  if (!kept) PrintLine(Shown(TextId::kNothingIsKept, language));
  const std::atomic<bool>& interrupted = CatchInterrupts();
  const auto width = static_cast<std::size_t>(platform::TerminalWidth());
  FormPrompt prompt([&] { return platform::ReadTypedLine(interrupted); }, std::cout, language, width);
  Form form = PropertiesForm(session.instrument(), language);
  if (prompt.Run(form) == FormPrompt::Outcome::kLeft) {
    std::cout << std::endl;
    throw OperationFailed(kCancelled, Shown(TextId::kNothingWasChanged, language));
  }
  session.SetHasAddress();
  if (!kept) Print(session, options);
}

void Save(Session& session, const std::string& path) {
  MemoryStream stream;
  session.Check(session.instrument().Save(stream));
  WriteWholeFile(path,
                 stream.bytes() + ConfigTrailer(session.instrument(), session.HasAddress() && !session.simulated()));
}

struct ConfigAction {
  const char* name;
  void (*act)(Session& session, const ConfigOptions& options);
};
constexpr std::array kActions = {ConfigAction{"show", Show}, ConfigAction{"edit", Edit}, ConfigAction{"send", Send},
                                 ConfigAction{"read", Read}};

// Checked before anything else, because without a terminal the verb must fail at once.
void CheckSomebodyIsThere() {
  if (SomebodyIsThere()) return;
  throw UsageError("edit", Shown(TextId::kEditNeedsTerminal));
}

int Config(const ConfigOptions& options) {
  if (options.action == "edit") CheckSomebodyIsThere();
  Session session(options.connection);
  // The file from which the settings were loaded may be replaced.
  const bool same = options.save_file == options.connection.config_file;
  CheckMayReplace("--save", options.save_file, options.connection.force || same);
  if (!options.save_file.empty()) CheckReplaceable(options.save_file);
  const auto action = std::find_if(kActions.begin(), kActions.end(),
                                   [&](const ConfigAction& row) { return options.action == row.name; });
  action->act(session, options);
  if (options.save_file.empty()) return 0;
  Save(session, options.save_file);
  if (options.action == "edit") Tell(Shown(TextId::kKeptIn, LanguageOf(options.connection), {options.save_file}));
  return 0;
}

}  // namespace

Action DefineConfig(CLI::App& verb) {
  const auto options = std::make_shared<ConfigOptions>();
  AddModel(verb, options->connection);
  std::vector<std::string> names(std::size(kActions));
  std::ranges::transform(kActions, names.begin(), &ConfigAction::name);
  verb.add_option("ACTION", options->action, Shown(TextId::kHelpConfigAction))
      ->required()
      ->type_name("show|edit|send|read")
      ->check(OneOf(names));
  verb.add_option("--save", options->save_file, Shown(TextId::kHelpSave))->type_name("FILE");
  AddForce(verb, options->connection);
  AddConnection(verb, options->connection);
  verb.footer(Shown(TextId::kHelpConfigNotes));
  return [=] { return Config(*options); };
}

}  // namespace ulix::cli
