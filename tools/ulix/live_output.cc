#include "tools/ulix/live_output.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <vector>

#include "base/numbers.h"
#include "platform/clock.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

class PageOutput final : public ScanOutput {
 public:
  PageOutput(std::unique_ptr<LivePage> page, std::span<const Channel> channels, ErrorText error_text)
      : page_(std::move(page)), channels_(channels.begin(), channels.end()), error_text_(std::move(error_text)) {
    for (const Channel& channel : channels_) frame_.series.push_back({.name = channel.name, .unit = channel.unit});
  }
  void Show(const ScanReport& report) override {
    constexpr double kSecondsPerDay = 86400;
    const Date now = SystemClock().LocalTime();
    if (reports_++ == 0) began_ = now;
    frame_.time = now;
    frame_.seconds = std::max(frame_.seconds, (now - began_) * kSecondsPerDay);
    frame_.headline = Shown(TextId::kReports, {std::to_string(reports_)});
    for (std::size_t k = 0; k < report.data.size(); ++k) Take(report.data, k);
    page_->Show(frame_);
  }

 private:
  void Take(const ChannelArrays& data, std::size_t k) {
    const auto place = std::find_if(channels_.begin(), channels_.end(),
                                    [&](const Channel& channel) { return channel.id == data.ids[k]; });
    if (place == channels_.end()) return;
    LiveSeries& series = frame_.series[static_cast<std::size_t>(place - channels_.begin())];
    const bool failed = Failed(data.errors[k]);
    const bool doubtful = data.doubts[k] != Doubt::kNone;
    series.time = data.times[k];
    series.value = failed ? std::nullopt : ParseDecimal(FormatValue(*place, data.values[k]));
    series.quality = failed ? LiveQuality::kFailed : doubtful ? LiveQuality::kDoubtful : LiveQuality::kGood;
    const std::string text = failed ? error_text_(data.errors[k]) : doubtful ? Shown(TextId::kDoubtfulReading) : "";
    series.cells = {{text, failed}};
  }

  std::unique_ptr<LivePage> page_;
  std::vector<Channel> channels_;
  ErrorText error_text_;
  LiveFrame frame_;
  std::uint64_t reports_ = 0;
  Date began_ = 0;
};

}  // namespace

CLI::Option* AddHttp(CLI::App& verb, std::string& address) {
  return verb.add_option("--http", address, Shown(TextId::kHelpHttp))
      ->type_name("PORT|ADDRESS:PORT")
      ->check(CLI::Validator(
          [](std::string& text) { return ParseLiveAddress(text) ? std::string() : Shown(TextId::kPageNoPort, {text}); },
          ""));
}

std::unique_ptr<LivePage> ServePage(const std::string& address, LivePageOptions options) {
  const auto where = ParseLiveAddress(address);
  if (!where) throw UsageError("--http", Shown(TextId::kPageNoPort, {address}));
  if (options.columns.empty()) options.columns = {Shown(TextId::kLiveState, options.language)};
  const Language language = options.language;
  auto page = LivePage::Serve(*where, std::move(options));
  if (!page) throw OperationFailed(E_FAIL, page.error());
  // On standard error, so that a script can find the port and the standard output does not change.
  std::cerr << "ulix: " << Shown(TextId::kPageServed, language, {(*page)->url()}) << std::endl;
  return std::move(*page);
}

std::unique_ptr<ScanOutput> MakePageOutput(std::unique_ptr<LivePage> page, std::span<const Channel> channels,
                                           ErrorText error_text) {
  return std::make_unique<PageOutput>(std::move(page), channels, std::move(error_text));
}

}  // namespace ulix::cli
