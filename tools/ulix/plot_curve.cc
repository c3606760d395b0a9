#include "tools/ulix/plot_curve.h"

#include <algorithm>
#include <cmath>

namespace ulix::cli {
namespace {

constexpr std::size_t kMaxPoints = 100'000;
constexpr std::size_t kKeptColumns = 8192;  // Many more than the columns of a drawing.
constexpr std::size_t kMaxOfAColumn = 8;

// The indexes of the points that are kept for one column.
class Column {
 public:
  void Add(const std::vector<PlotPoint>& points, std::size_t k) {
    const auto value = Drawn(points[k]);
    if (!value) {
      Extend(first_failed_, last_failed_, k);
      return;
    }
    Extend(first_, last_, k);
    if (points[k].doubtful && !doubtful_) doubtful_ = k;
    if (points[k].late) late_ = k;
    if (!lowest_ || *value < *Drawn(points[*lowest_])) lowest_ = k;
    if (!highest_ || *value > *Drawn(points[*highest_])) highest_ = k;
  }
  void MoveTo(const std::vector<PlotPoint>& points, std::vector<PlotPoint>& kept) {
    std::vector<std::size_t> places;
    for (const auto& place : {first_, last_, lowest_, highest_, first_failed_, last_failed_, doubtful_, late_}) {
      if (place) places.push_back(*place);
    }
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    for (const std::size_t k : places) kept.push_back(points[k]);
    *this = {};
  }

 private:
  using Place = std::optional<std::size_t>;
  static void Extend(Place& first, Place& last, std::size_t k) {
    if (!first) first = k;
    last = k;
  }
  Place first_, last_, lowest_, highest_, first_failed_, last_failed_, doubtful_, late_;
};

}  // namespace

std::optional<double> Drawn(const PlotPoint& point) {
  if (!point.value || !std::isfinite(*point.value)) return std::nullopt;
  return *point.value;
}

void PlotCurve::Add(const PlotPoint& point) {
  points.push_back(point);
  if (points.size() >= kMaxPoints) points = Thinned(points, kKeptColumns);
}

std::vector<PlotPoint> Thinned(const std::vector<PlotPoint>& points, std::size_t columns) {
  if (points.size() <= columns * kMaxOfAColumn / 2) return points;
  const Date first = points.front().time;
  const double width = (points.back().time - first) / static_cast<double>(columns);
  const auto column_of = [&](const PlotPoint& point) {
    return width > 0 ? std::floor((point.time - first) / width) : 0;
  };
  std::vector<PlotPoint> kept;
  Column column;
  for (std::size_t k = 0; k < points.size(); ++k) {
    if (k > 0 && column_of(points[k]) != column_of(points[k - 1])) column.MoveTo(points, kept);
    column.Add(points, k);
  }
  column.MoveTo(points, kept);
  return kept;
}

}  // namespace ulix::cli
