// A platinum thermometer of 100 ohms as instruments measure it.
#pragma once

namespace ulix {

// Resistance of the thermometer in ohms, by IEC 60751.
inline double PlatinumOhms(double celsius) {
  const double below = celsius < 0 ? -4.183e-12 * (celsius - 100) * celsius * celsius * celsius : 0;
  return 100 * (1 + 3.9083e-3 * celsius - 5.775e-7 * celsius * celsius + below);
}

}  // namespace ulix
