// The constants of a model: names, channels, settings and errors.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "drivers/settings.h"
#include "resources/error_row.h"

namespace ulix {

using ChannelId = std::uint32_t;

// Published names and values.
enum eChanDir : std::int32_t { ChanIn = -1, ChanIO = 0, ChanOut = 1 };
enum eLimitLevel : std::int32_t { LimitLow = -1, LimitNo = 0, LimitHigh = 1 };

enum class LinkKind { kSerial, kModbus, kUsb };

inline constexpr int kUnknownResolution = 6;  // decimals; no channel shows more

// A row of the channel table. The index of the row is the channel's id. If unit or resolution depend on the settings,
// Driver::DescribeChannel gives them.
struct ChannelRow {
  const char* name;
  eChanDir direction;
  const char* unit = "";
  int resolution = kUnknownResolution;  // decimals to show
};

// Where the settings are stored on which units and decimals of readings depend.
enum class SettingsHome {
  kHost,              // in this library: they are sent with each query, or no reading depends on them
  kInstrument,        // in the instrument; ReadCfg reads them
  kSilentInstrument,  // in the instrument; they cannot be read
};

// One constant object for each model. Its tables must live as long as the program.
struct ModelCard {
  const char* model_id;    // "kelvo10", as on the command line
  const char* class_name;  // "Kelvo10", as in class names, ProgIDs and trace lines
  LocalizedText display_name;
  int display_name_id;      // its number in the string table
  const char* config_text;  // the result of GetCfgText
  LinkKind link;
  std::int16_t expl_key_num;                // the published result of ExplKeyNum
  bool fires_errors = false;                // whether DevError and SysError report failed connections and readings
  HRESULT input_write_code = E_INVALIDARG;  // the result of a write to an input channel
  HRESULT exception_code;                   // start of the control's block of codes; the first 0x100 are exceptions
  std::span<const ChannelRow> channels;
  bool channels_in_instrument = false;  // whether a connected instrument reports which of them it has
  bool has_identification = true;       // whether it has an identification query
  SettingsHome settings_home = SettingsHome::kHost;
  bool settings_can_be_read = false;  // whether ReadCfg reads the settings; otherwise it does nothing or fails
  bool settings_can_be_sent = false;  // whether SendCfg sends the settings; otherwise it does nothing
  bool units_with_readings = false;   // whether units are known only from readings
  std::span<const SettingRow> settings;
  std::span<const char* const> link_settings = {};  // keys of settings that belong to the link's dialog
  std::span<const ErrorRow> errors;
};

// Whether a code is in the model's own block of 0x200 codes: its exceptions, then its errors.
constexpr bool IsOwnCode(const ModelCard& card, HRESULT code) {
  constexpr HRESULT kBlock = 0x200;
  return code >= card.exception_code && code - card.exception_code < kBlock;
}

// The name of a model's class, "UlixInstrKelvo10Ctl" for "Kelvo10".
std::string ControlClass(std::string_view class_name);
// The ProgID of a class of the library, such as "Ulix.UlixSetup", or the same with the version number.
std::string ProgId(std::string_view library_class, bool with_version);

}  // namespace ulix
