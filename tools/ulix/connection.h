// Makes an instrument from the options of the command line: model, port, line, configuration, language.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "tools/ulix/certain_units.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/simulation.h"
#include "tools/ulix/terminal_user.h"

namespace CLI {
class App;
}

namespace ulix::cli {

// The values of the options. Nothing is searched for or opened yet.
struct ConnectionOptions {
  std::string model;
  std::string port;
  std::optional<std::uint32_t> baud_rate;
  std::vector<std::pair<const LineField*, std::size_t>> line;  // Fields of the line and their codes.
  std::string host;                                            // Empty: not on a network.
  std::optional<std::int32_t> tcp_port;
  std::optional<std::uint32_t> slave;
  std::string config_file;
  bool no_config = false;             // Do not read the settings from the instrument.
  std::vector<std::string> settings;  // "KEY=VALUE"
  std::uint32_t timeout_ms = 0;
  std::optional<Language> language;
  bool trace = false;
  bool stats = false;
  std::string record_file;  // The file for the bytes on the wire.
  bool force = false;       // Existing files may be replaced.
};

// The source of an instrument's settings: the model's defaults, those with the values of --set, a file with or without
// --set, or the instrument.
enum class SettingsSource { kDefaults, kOptions, kFile, kInstrument };

// Add arguments to a verb. `options` must outlive the parsing.
void AddModel(CLI::App& verb, ConnectionOptions& options);
// UsageError if the word is not a model id.
void CheckModel(const std::string& word);
void AddModelOption(CLI::App& verb, ConnectionOptions& options);
void AddLanguage(CLI::App& verb, ConnectionOptions& options);
void AddConnection(CLI::App& verb, ConnectionOptions& options);
// Adds the options of the serial line only, such as --baud.
void AddLineSettings(CLI::App& verb, ConnectionOptions& options);
void AddForce(CLI::App& verb, ConnectionOptions& options);

// `params` with the line settings of the options.
SerialParams WithLineSettings(SerialParams params, const ConnectionOptions& options);

// Why a port could not be opened, in the language of the program; empty when the cause is unknown.
std::string CauseOf(const platform::OpenFailure& failure);

// The language of the options, else the user's own.
Language LanguageOf(const ConnectionOptions& options);

// An instrument with its configuration. The destructor disconnects it.
class Session {
 public:
  // `trace` replaces the trace of the options. UsageError for options that do not fit the model. `user_interface` must
  // outlive the session; without one, warnings go to standard error.
  explicit Session(const ConnectionOptions& options, LinkTrace trace = {}, UserInterface* user_interface = nullptr);

  // Disconnects. Prints the session's counters when the options ask for them.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Instrument& instrument() { return instrument_; }
  bool simulated() const { return simulated_line_ != nullptr; }
  // OperationFailed when the connection fails. UsageError when the model needs a port and none is given.
  void Connect();
  // The instrument's result of the connection. OperationFailed with the cause when the link does not open.
  HRESULT TryConnect();
  // Connects, then reads the settings from the instrument when its model has queries for them and the options do not
  // set them. A failure to read is reported on standard error; units and decimals that depend on them are then left
  // out.
  void ConnectAndAsk();
  // Reads the settings from the connected instrument. OperationFailed when that fails, or when the model has no queries
  // for them.
  void ReadSettings();
  SettingsSource settings_source() const { return settings_source_; }
  // Whether the record certainly has the value of the setting in the instrument, because the user gave it or the
  // instrument was asked.
  bool IsKnown(const SettingRow& row);
  // Reports on standard error that --set leaves the unit or the decimals of one of these channels unknown.
  void ReportUnknownUnits(std::span<const Channel> channels);
  // Whether the options, or the file that they name, give the instrument's port or address.
  bool HasAddress() const { return has_address_; }
  void SetHasAddress() { has_address_ = true; }  // When the user gave the address in another way.
  // The channels that the instrument has. Connects first when only the instrument knows them. Units and decimals are
  // empty when they depend on unknown settings.
  std::vector<Channel> Channels();
  // The channels with their present units, for models whose units come with the readings.
  std::vector<Channel> WithUnits(std::vector<Channel> channels);

  // Throws OperationFailed with the code's text when a member of the instrument failed with `result`.
  void Check(HRESULT result);
  // The text of a code in UTF-8; empty when neither the instrument nor its link has one.
  std::string ErrorText(HRESULT code, bool short_text = false);
  // The explanation of a code for users: its text, the system's text, the code's name, or the instrument's own number.
  // Empty for a code that has none of these.
  std::string Explain(HRESULT code);

 private:
  void Configure(const ConnectionOptions& options);
  void ConfigureLine(const ConnectionOptions& options);
  void ConfigureNetwork(const ConnectionOptions& options);

  void ApplySettings();
  std::vector<CertainTraits> KnownTraits();
  std::string LinkPlace();

  const ConnectionOptions options_;
  Language language_;
  bool has_address_ = false;
  SettingsSource settings_source_ = SettingsSource::kDefaults;
  std::set<std::string> named_settings_;  // Keys of --set.
  bool stats_;
  std::unique_ptr<SimulatedLine> simulated_line_;  // Null: a real port.
  TerminalUser user_;
  Instrument instrument_;
};

}  // namespace ulix::cli
