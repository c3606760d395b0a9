#include "tools/live_page/live_store.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace ulix {
namespace {

using PageJson = nlohmann::ordered_json;

constexpr std::size_t kMaxPoints = 1200;
constexpr std::size_t kMaxRecent = 600;

PageJson NumberOrNull(const std::optional<double>& value) {
  return value && std::isfinite(*value) ? PageJson(*value) : PageJson(nullptr);
}

std::string Dump(const PageJson& json) { return json.dump(-1, ' ', false, PageJson::error_handler_t::replace); }

const char* NameOf(LiveQuality quality) {
  constexpr const char* kNames[] = {"good", "doubtful", "failed"};
  return kNames[static_cast<std::size_t>(quality)];
}

std::string ClockOf(Date time) {
  constexpr std::size_t kTimeAt = 11, kTimeSize = 8;
  return time == 0 ? std::string() : IsoTime(time).substr(kTimeAt, kTimeSize);
}

PageJson SeriesJson(const LiveSeries& series, Date frame_time) {
  PageJson json{{"name", series.name},
                {"unit", series.unit},
                {"value", NumberOrNull(series.value)},
                {"quality", NameOf(series.quality)},
                {"time", ClockOf(series.time == 0 ? frame_time : series.time)},
                {"cells", PageJson::array()}};
  for (const LiveCell& cell : series.cells) json["cells"].push_back({{"text", cell.text}, {"alarm", cell.alarm}});
  return json;
}

// The value of a series for its curve.
std::optional<double> DrawnOf(const LiveSeries& series) {
  return series.quality == LiveQuality::kFailed ? std::nullopt : series.value;
}

template <typename Points>
PageJson PointsJson(const Points& points) {
  PageJson rows = PageJson::array();
  for (const auto& point : points) {
    PageJson row = PageJson::array({point.seconds});
    for (const auto& value : point.values) row.push_back(NumberOrNull(value));
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace

void LiveStore::Put(LiveFrame frame) {
  Point point{frame.seconds, {}};
  for (const LiveSeries& series : frame.series) point.values.push_back(DrawnOf(series));
  const std::lock_guard lock(mutex_);
  frame_ = std::move(frame);
  if (number_++ % stride_ == 0) all_.push_back(point);
  if (all_.size() >= kMaxPoints) {
    std::size_t kept = 0;
    for (std::size_t k = 0; k < all_.size(); k += 2) std::swap(all_[kept++], all_[k]);
    all_.resize(kept);
    stride_ *= 2;
  }
  recent_.push_back(std::move(point));
  if (recent_.size() > kMaxRecent) recent_.pop_front();
  changed_.notify_all();
}

void LiveStore::Close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

bool LiveStore::closed() const {
  const std::lock_guard lock(mutex_);
  return closed_;
}

std::string LiveStore::History() const {
  const std::lock_guard lock(mutex_);
  return Dump({{"all", PointsJson(all_)}, {"recent", PointsJson(recent_)}});
}

std::string LiveStore::Next(std::uint64_t& seen, std::chrono::milliseconds wait) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, wait, [&] { return closed_ || number_ != seen; });
  if (number_ == seen) return {};
  seen = number_;
  PageJson json{{"seconds", frame_.seconds}, {"time", ClockOf(frame_.time)}, {"headline", frame_.headline},
                {"detail", frame_.detail},   {"series", PageJson::array()},  {"lines", frame_.lines}};
  for (const LiveSeries& series : frame_.series) json["series"].push_back(SeriesJson(series, frame_.time));
  return Dump(json);
}

}  // namespace ulix
