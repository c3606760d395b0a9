// The tables of the Additel ADT760 pressure calibrator: model card, channels, settings and errors. Source: the
// calibrator's command reference.
#pragma once

#include <array>

#include "drivers/model_card.h"

namespace ulix::adt760 {

// A word in the answer to "*IDN?".
inline constexpr const char* kModelWord = "HPC-HOST";

inline constexpr auto kYesNoLabels = std::array{EnumLabel{0, "no", {"no", "non"}}, EnumLabel{1, "yes", {"yes", "oui"}}};

// The rows of kSettings, in order.
enum SettingIndex { kIdentify, kGuid, kVendor, kProduct };

// With an empty GUID the helper library looks for the device. Vendor and product then narrow the search if they are not
// 0.
inline constexpr auto kSettings = std::array{
    SettingRow{"identify",
               {"Identify on connection", "Identifier à la connexion"},
               0,
               VariantType::kUi4,
               0,
               32,
               kYesNoLabels,
               1},
    SettingRow{"guid", {"Device interface GUID", "GUID de l'interface"}, 1, VariantType::kBstr, 0, 0, {}, 0},
    SettingRow{"vendor-id", {"USB vendor id", "Identifiant USB du fabricant"}, 2, VariantType::kUi4, 0, 16, {}, 0},
    SettingRow{"product-id", {"USB product id", "Identifiant USB du produit"}, 3, VariantType::kUi4, 0, 16, {}, 0},
};

inline constexpr auto kLinkSettings = std::array{kSettings[kGuid].key, kSettings[kVendor].key, kSettings[kProduct].key};

// Channels 0 to 5 are the pressure modules.
inline constexpr ChannelId kElectricalChannel = 6;
inline constexpr ChannelId kSetPointChannel = 7;
inline constexpr ChannelId kCurrentChannel = 8;
inline constexpr ChannelId kVentChannel = 9;

inline constexpr auto kChannels = std::array{
    ChannelRow{"PRESSURE1", ChanIn},  ChannelRow{"PRESSURE2", ChanIn}, ChannelRow{"PRESSURE3", ChanIn},
    ChannelRow{"PRESSURE4", ChanIn},  ChannelRow{"PRESSURE5", ChanIn}, ChannelRow{"PRESSURE6", ChanIn},
    ChannelRow{"ELECTRICAL", ChanIn}, ChannelRow{"SETPOINT", ChanIO},  ChannelRow{"CURRENT", ChanIO},
    ChannelRow{"VENT", ChanIO},
};

// The query of each channel. The query of the electrical input depends on its function, see below.
inline constexpr std::array<const char*, kChannels.size()> kQueries = {
    "MEAS:PRES1?\n", "MEAS:PRES2?\n", "MEAS:PRES3?\n", "MEAS:PRES4?\n", "MEAS:PRES5?\n", "MEAS:PRES6?\n", "",
    "SOUR:PRES?\n",  "CURR:SOUR?\n",  "OUTP:MODE?\n"};

// The functions of the electrical input. Their words are looked for in the answer to "SENS:ELEC:FUNC?" in this order,
// so a longer word comes before one that it contains.
struct ElectricalFunction {
  const char* word;
  const char* query;
  const char* unit;
};
inline constexpr auto kFunctions = std::array{
    ElectricalFunction{"CURRENT:SIMULATE", "CURR:SOUR?\n", "mA"},
    ElectricalFunction{"CURRENT:SOURCE", "CURR:SOUR?\n", "mA"},
    ElectricalFunction{"VOLTAGE", "MEAS:VOLT?\n", "V"},
    ElectricalFunction{"CURRENT", "MEAS:CURR?\n", "mA"},
    ElectricalFunction{"SWITCH:REGULAR", "MEAS:SWIT:REG?\n", ""},
    ElectricalFunction{"SWITCH:PNP", "MEAS:SWIT:PNP?\n", ""},
    ElectricalFunction{"SWITCH:NPN", "MEAS:SWIT:NPN?\n", ""},
};

inline constexpr const char* kPressureUnit = "mbar";
inline constexpr const char* kCurrentUnit = "mA";
// The number of decimals of set points.
inline constexpr int kResolution = 5;

inline constexpr auto kErrors = std::array{
    ErrorRow{adt760CtlErrNotAdt760,
             {"Device connected is not an Adt760 calibrator", "L'appareil connecté n'est pas un calibrateur Adt760"},
             "NOT_ADT760",
             8620,
             7620},
    ErrorRow{adt760CtlErrOutOfRange,
             {"The set point is out of range", "La consigne est hors limites"},
             "OUT_OF_RANGE",
             8621,
             7621},
    ErrorRow{adt760CtlErrChNum, {"Invalid channel number", "Numéro de voie incorrect"}, "WRONG_CHAN_NUM", 8622, 7622},
    ErrorRow{adt760CtlErrNoMeasAvailable,
             {"No measure available", "Pas de mesure disponible"},
             "NO_MEAS_AVAILABLE",
             8623,
             7623},
    ErrorRow{adt760CtlErrScpiCmde, {"Scpi command error", "Erreur de commande Scpi"}, "SCPI_ERROR", 8624, 7624},
    // Deliberate: the enumerator is that of another model. Hosts know the code by this name, and this control has its
    // text.
    ErrorRow{adt761CtlErrWinUsbNotLoaded,
             {"The Usb communication management library has not been loaded. Check the presence of the UlixWinUsb.dll "
              "file in the system.",
              "La bibliothèque de gestion de la communication Usb n'a pas été chargée. Vérifiez la présence du fichier "
              "UlixWinUsb.dll dans le système."},
             "WINUSB_NOT_LOADED",
             8625,
             7625},
};

inline constexpr ModelCard kCard = {
    .model_id = "adt760",
    .class_name = "Adt760",
    .display_name = {"ADT760", "ADT760"},
    .display_name_id = 2035,
    .config_text = "Additel ADT760: XXXX_A_IMPLANTER",
    .link = LinkKind::kUsb,
    .expl_key_num = 37,
    .fires_errors = true,
    .input_write_code = adt760CtlErrChNum,
    .exception_code = adt760ErrExceptionCode,
    .channels = kChannels,
    .settings_can_be_read = true,  // ReadCfg finds the device, whose identity the link's summary shows
    .units_with_readings = true,
    .settings = kSettings,
    .link_settings = kLinkSettings,
    .errors = kErrors,
};

}  // namespace ulix::adt760
