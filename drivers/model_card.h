// What is constant about a model: its names, channels, settings and errors.
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

inline constexpr int kUnknownResolution = 6;  // decimals

// A channel's id is its place in the table. Unit and resolution of one that depends on the settings are the driver's.
struct ChannelRow {
  const char* name;
  eChanDir direction;
  const char* unit = "";
  int resolution = kUnknownResolution;
};

// Where the settings are on which units and decimals hang.
enum class SettingsHome {
  kHost,              // here: they go out with each query, or nothing hangs on them
  kInstrument,        // in the instrument, and ReadCfg asks for them
  kSilentInstrument,  // in the instrument, which does not tell them
};

struct ModelCard {
  const char* model_id;    // "kelvo10": on the command line
  const char* class_name;  // "Kelvo10": in class names, ProgIDs and trace lines
  LocalizedText display_name;
  int display_name_id;      // string-table number
  const char* config_text;  // what GetCfgText answers
  LinkKind link;
  std::int16_t expl_key_num;
  bool fires_errors = false;                // whether failed connections and readings are told by DevError and SysError
  HRESULT input_write_code = E_INVALIDARG;  // what writing an input channel gives
  HRESULT exception_code;                   // start of the control's block; its first 0x100 codes are exceptions
  std::span<const ChannelRow> channels;
  bool channels_in_instrument = false;  // whether the instrument says which of them it has, once it is connected
  bool has_identification = true;       // whether it can be asked what it is
  SettingsHome settings_home = SettingsHome::kHost;
  bool settings_can_be_read = false;  // whether ReadCfg asks the instrument; where it does not, it succeeds or says so
  bool settings_can_be_sent = false;  // whether SendCfg has a command for them; where it has none, it succeeds
  bool units_with_readings = false;   // whether the instrument tells its units only with its readings
  std::span<const SettingRow> settings;
  std::span<const char* const> link_settings = {};  // keys of those that are about the link, and asked for with it
  std::span<const ErrorRow> errors;
};

// Whether a code is one of the model's own block: its exceptions and, behind them, its errors.
constexpr bool IsOwnCode(const ModelCard& card, HRESULT code) {
  constexpr HRESULT kBlock = 0x200;
  return code >= card.exception_code && code - card.exception_code < kBlock;
}

// "Ulix.UlixInstrKelvo10Ctl", with or without its version.
std::string ProgId(std::string_view class_name, bool with_version);

}  // namespace ulix
