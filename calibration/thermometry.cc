#include "calibration/thermometry.h"

#include <array>
#include <cmath>
#include <span>

#include "resources/texts.h"

namespace ulix::calibration {
namespace {

// ln Wr below 273.16 K, in powers of (ln(T/273.16 K) + 1.5)/1.5.
constexpr std::array kBelow = {-2.13534729, 3.18324720, -1.80143597, 0.71727204, 0.50344027, -0.61899395, -0.05332322,
                               0.28021362,  0.10715224, -0.29302865, 0.04459872, 0.11868632, -0.05248134};
// Wr from 273.15 K up, in powers of (T - 754.15 K)/481 K.
constexpr std::array kAbove = {2.78157254, 1.64650916, -0.13714390, -0.00649767, -0.00234444,
                               0.00511868, 0.00187982, -0.00204472, -0.00046122, 0.00045724};
constexpr double kMinKelvin = 13.8033;
constexpr double kMaxKelvin = 1234.93;

ValueAndSlope ReferenceRatio(double kelvin) {
  if (kelvin < kWaterTriplePointInKelvin) {
    const auto log = Polynomial(kBelow, (std::log(kelvin / kWaterTriplePointInKelvin) + 1.5) / 1.5);
    const double ratio = std::exp(log.value);
    return {ratio, ratio * log.slope / (1.5 * kelvin)};
  }
  const auto sum = Polynomial(kAbove, (kelvin - 754.15) / 481);
  return {sum.value, sum.slope / 481};
}

struct SubRangeRow {
  Its90SubRange sub_range;
  double min_kelvin;
  double max_kelvin;
};

constexpr std::array kSubRanges = {
    SubRangeRow{Its90SubRange::kArgonToWater, 83.8058, 273.16},
    SubRangeRow{Its90SubRange::kMercuryToGallium, 234.3156, 302.9146},
    SubRangeRow{Its90SubRange::kWaterToGallium, 273.15, 302.9146},
    SubRangeRow{Its90SubRange::kWaterToIndium, 273.15, 429.7485},
    SubRangeRow{Its90SubRange::kWaterToTin, 273.15, 505.078},
    SubRangeRow{Its90SubRange::kWaterToZinc, 273.15, 692.677},
    SubRangeRow{Its90SubRange::kWaterToAluminium, 273.15, 933.473},
    SubRangeRow{Its90SubRange::kWaterToSilver, 273.15, 1234.93},
};

const SubRangeRow& RowOf(Its90SubRange sub_range) { return kSubRanges[static_cast<std::size_t>(sub_range)]; }

tl::unexpected<Problem> Outside(double value, double low, double high, const std::string& unit) {
  return Refused(TextId::kSensorNoTemperature,
                 {Shortened(value) + " " + unit, Shortened(low), Shortened(high) + " " + unit});
}

// The deviation of platinum changes by less than this share of W. Below this limit each ratio has exactly one
// temperature.
constexpr double kMaxDeviationSlope = 0.1;

bool IsPlatinum(const Its90Deviation& deviation) {
  const SubRangeRow& row = RowOf(deviation.sub_range);
  const double low = ReferenceRatio(row.min_kelvin).value;
  const double high = ReferenceRatio(row.max_kelvin).value;
  constexpr int kSteps = 100;
  double last = deviation.At(low);
  for (int k = 1; k <= kSteps; ++k) {
    const double here = deviation.At(low + (high - low) * k / kSteps);
    if (!(std::abs(here - last) <= kMaxDeviationSlope * (high - low) / kSteps)) return false;
    last = here;
  }
  return std::abs(last) <= kMaxDeviationSlope * high;
}

// Computes W from Wr by iteration of W = Wr + deviation(W), whose right side hardly depends on W.
double OwnRatio(const Its90Deviation& deviation, double reference_ratio) {
  constexpr int kMaxSteps = 60;
  double ratio = reference_ratio;
  for (int k = 0; k < kMaxSteps; ++k) {
    const double next = reference_ratio + deviation.At(ratio);
    if (next == ratio) break;
    ratio = next;
  }
  return ratio;
}

double CvdLowTerm(const CallendarVanDusen& probe, double t) { return t < 0 ? probe.c * (t - 100) * t * t * t : 0; }

ValueAndSlope CvdOhms(const CallendarVanDusen& probe, double t) {
  const double low_slope = t < 0 ? probe.c * (4 * t - 300) * t * t : 0;
  return {probe.r0 * (1 + probe.a * t + probe.b * t * t + CvdLowTerm(probe, t)),
          probe.r0 * (probe.a + 2 * probe.b * t + low_slope)};
}

}  // namespace

Result<double> Its90ReferenceRatio(double kelvin) {
  if (!(kelvin >= kMinKelvin && kelvin <= kMaxKelvin)) return Outside(kelvin, kMinKelvin, kMaxKelvin, "K");
  return ReferenceRatio(kelvin).value;
}

Result<double> Its90Kelvin(double reference_ratio) {
  const double low = ReferenceRatio(kMinKelvin).value;
  const double high = ReferenceRatio(kMaxKelvin).value;
  if (!(reference_ratio >= low && reference_ratio <= high)) return Outside(reference_ratio, low, high, "Wr");
  return InverseOfRising(ReferenceRatio, reference_ratio, kMinKelvin, kMaxKelvin);
}

double Its90Deviation::At(double ratio) const {
  const double x = ratio - 1;
  if (sub_range == Its90SubRange::kArgonToWater) return a * x + b * x * std::log(ratio);
  const bool above_aluminium = sub_range == Its90SubRange::kWaterToSilver && ratio > aluminium_ratio;
  const double y = above_aluminium ? ratio - aluminium_ratio : 0;
  return x * (a + x * (b + x * c)) + d * y * y;
}

Result<StandardThermometer> StandardThermometer::Make(double triple_point_ohms, std::optional<Its90Deviation> below,
                                                      std::optional<Its90Deviation> above) {
  if (!(triple_point_ohms > 0 && std::isfinite(triple_point_ohms))) {
    return Refused(TextId::kSensorNoResistance, {Shortened(triple_point_ohms)});
  }
  if (!below && !above) return Refused(TextId::kSensorNoDeviation);
  const bool below_fits = !below || below->sub_range <= Its90SubRange::kMercuryToGallium;
  const bool above_fits = !above || above->sub_range >= Its90SubRange::kMercuryToGallium;
  if (!below_fits || !above_fits) return Refused(TextId::kSensorWrongSide);
  for (const auto& deviation : {below, above}) {
    if (deviation && !IsPlatinum(*deviation)) return Refused(TextId::kSensorNotPlatinum);
  }
  return StandardThermometer(triple_point_ohms, below, above);
}

const Its90Deviation& StandardThermometer::DeviationFor(bool below_triple_point) const {
  return (below_triple_point && below_) || !above_ ? *below_ : *above_;
}

double StandardThermometer::min_celsius() const {
  return RowOf((below_ ? below_ : above_)->sub_range).min_kelvin - kCelsiusZeroInKelvin;
}

double StandardThermometer::max_celsius() const {
  return RowOf((above_ ? above_ : below_)->sub_range).max_kelvin - kCelsiusZeroInKelvin;
}

Result<double> StandardThermometer::Ohms(double celsius) const {
  if (!(celsius >= min_celsius() && celsius <= max_celsius())) {
    return Outside(celsius, min_celsius(), max_celsius(), "°C");
  }
  const double kelvin = celsius + kCelsiusZeroInKelvin;
  const double reference_ratio = ReferenceRatio(kelvin).value;
  const Its90Deviation& deviation = DeviationFor(kelvin < kWaterTriplePointInKelvin);
  return triple_point_ohms_ * OwnRatio(deviation, reference_ratio);
}

Result<double> StandardThermometer::Celsius(double ohms) const {
  const double low = *Ohms(min_celsius());
  const double high = *Ohms(max_celsius());
  if (!(ohms >= low && ohms <= high)) return Outside(ohms, low, high, "ohm");
  const double ratio = ohms / triple_point_ohms_;
  const double reference_ratio = ratio - DeviationFor(ratio < 1).At(ratio);
  const double kelvin = InverseOfRising(ReferenceRatio, reference_ratio, min_celsius() + kCelsiusZeroInKelvin,
                                        max_celsius() + kCelsiusZeroInKelvin);
  return kelvin - kCelsiusZeroInKelvin;
}

std::optional<Problem> CallendarVanDusen::Fault() const {
  if (!(r0 > 0 && std::isfinite(r0))) return Bilingual(TextId::kSensorNoResistance, {Shortened(r0)});
  constexpr int kStep = 5;
  for (int celsius = static_cast<int>(kMinCelsius); celsius <= kMaxCelsius; celsius += kStep) {
    const ValueAndSlope here = CvdOhms(*this, celsius);
    if (!(here.slope > 0 && here.value > 0 && std::isfinite(here.value))) return Bilingual(TextId::kSensorNotPlatinum);
  }
  return std::nullopt;
}

Result<double> CallendarVanDusen::Ohms(double celsius) const {
  if (!(celsius >= kMinCelsius && celsius <= kMaxCelsius)) return Outside(celsius, kMinCelsius, kMaxCelsius, "°C");
  return CvdOhms(*this, celsius).value;
}

Result<double> CallendarVanDusen::Celsius(double ohms) const {
  const double low = CvdOhms(*this, kMinCelsius).value;
  const double high = CvdOhms(*this, kMaxCelsius).value;
  if (!(ohms >= low && ohms <= high)) return Outside(ohms, low, high, "ohm");
  return InverseOfRising([this](double t) { return CvdOhms(*this, t); }, ohms, kMinCelsius, kMaxCelsius);
}

}  // namespace ulix::calibration
