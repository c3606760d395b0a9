// From the options of the command line to an instrument: model, port, line, configuration, language.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/simulation.h"
#include "tools/ulix/terminal_user.h"

namespace CLI {
class App;
}

namespace ulix::cli {

// What the options said; nothing is looked up or opened yet.
struct ConnectionOptions {
  std::string model;
  std::string port;
  std::optional<std::uint32_t> baud_rate;
  std::vector<std::pair<const LineField*, std::size_t>> line;  // fields of the line and their codes
  std::string host;                                            // empty: not on a network
  std::optional<std::int32_t> tcp_port;
  std::optional<std::uint32_t> slave;
  std::string config_file;
  bool no_config = false;             // the instrument is not asked how it is set
  std::vector<std::string> settings;  // "KEY=VALUE"
  std::uint32_t timeout_ms = 0;
  std::optional<Language> language;
  bool trace = false;
  bool stats = false;
  std::string record_file;  // of what goes over the wire
  bool force = false;       // files that are there already may be replaced
};

// Where an instrument's settings come from.
enum class SettingsSource { kDefaults, kOptions, kInstrument };

// Each adds its arguments to a verb; `options` outlives the parsing.
void AddModel(CLI::App& verb, ConnectionOptions& options);
// UsageError where the word is no model's.
void CheckModel(const std::string& word);
void AddModelOption(CLI::App& verb, ConnectionOptions& options);
void AddLanguage(CLI::App& verb, ConnectionOptions& options);
void AddConnection(CLI::App& verb, ConnectionOptions& options);
void AddForce(CLI::App& verb, ConnectionOptions& options);

// The language asked for, else the user's own.
Language LanguageOf(const ConnectionOptions& options);

// An instrument with its configuration; connected when asked to, handed back at the end.
class Session {
 public:
  // `trace` takes the place of the one that the options ask for. UsageError for options that do not fit the model.
  // `user_interface` outlives it; without one the person at the terminal is told what there is to tell.
  explicit Session(const ConnectionOptions& options, LinkTrace trace = {}, UserInterface* user_interface = nullptr);

  // Prints what the session counted, where the options ask for it.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Instrument& instrument() { return instrument_; }
  bool simulated() const { return simulated_line_ != nullptr; }
  // UsageError where the model needs a port and none is named.
  void Connect();
  // What the instrument's side of the connection came to; OperationFailed with the cause where the link does not open.
  HRESULT TryConnect();
  // Connects, and asks the instrument how it is set, where its model can be asked and the options do not say. What it
  // does not tell is said on standard error: units and decimals that hang on it are left out from then on.
  void ConnectAndAsk();
  // Asks the connected instrument how it is set; OperationFailed when it does not tell.
  void ReadSettings();
  SettingsSource settings_source() const { return settings_source_; }
  // Whether the options name where the instrument is.
  bool HasAddress() const { return has_address_; }
  // Those on offer only, and the instrument connected to, where it is the instrument that knows them. Units and
  // decimals are empty where they hang on settings that are not known.
  std::vector<Channel> Channels();
  // Some models tell the units only with the readings: the channels with the units of now.
  std::vector<Channel> WithUnits(std::vector<Channel> channels);

  // OperationFailed with the code's text when `result` is a failure of a member of the instrument.
  void Check(HRESULT result);
  // In UTF-8; empty for a code that neither the instrument nor its link has a text for.
  std::string ErrorText(HRESULT code, bool short_text = false);
  // What a person is told of any code: its text, the system's, the code's name, or the instrument's own number; empty
  // for a code that has none of them.
  std::string Explain(HRESULT code);

 private:
  void Configure(const ConnectionOptions& options);
  void ConfigureLine(const ConnectionOptions& options);
  void ConfigureNetwork(const ConnectionOptions& options);

  bool HasUnits() const;
  std::string LinkPlace();

  const ConnectionOptions options_;
  Language language_;
  bool has_address_ = false;
  SettingsSource settings_source_ = SettingsSource::kDefaults;
  bool stats_;
  std::unique_ptr<SimulatedLine> simulated_line_;  // none: a real port
  TerminalUser user_;
  Instrument instrument_;
};

}  // namespace ulix::cli
