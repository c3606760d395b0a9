// Texts that several models share.
#pragma once

#include "base/text.h"

namespace ulix {

// Units as they are shown. The degree sign is one byte of Windows-1252.
inline constexpr const char* kCelsiusText =
    "\xB0"
    "C";
inline constexpr const char* kFahrenheitText =
    "\xB0"
    "F";

// Texts of settings that are on or off.
inline constexpr LocalizedText kOnText = {"on", "oui"};
inline constexpr LocalizedText kOffText = {"off", "non"};

// Texts of errors.
inline constexpr LocalizedText kNegativeAcknowledge = {"Device Negative Acknowledge",
                                                       "Acquittement négatif de l'appareil"};
inline constexpr LocalizedText kSetPointOutOfRange = {"Setpoint temperature is out of range",
                                                      "La température de consigne est hors limites"};
inline constexpr LocalizedText kInvalidChannelNumber = {"Invalid channel number", "Numéro de voie incorrect"};
inline constexpr LocalizedText kMeasureNotAvailable = {"Measure not available", "Mesure non disponible"};

}  // namespace ulix
