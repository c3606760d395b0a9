#include "tools/ulix/fleet_watch.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <thread>

#include "fleet/fleet_subscriber.h"
#include "fleet/fleet_view.h"
#include "fleet/json_mirror.h"
#include "platform/terminal.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/live_output.h"
#include "tools/ulix/output.h"
#include "tools/ulix/screen_block.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/with_mqtt/fleet_page.h"
#include "tools/ulix/with_mqtt/fleet_table.h"

namespace ulix::cli {
namespace {

using fleet::FleetAddress;
using fleet::FleetReport;
using fleet::FleetView;
using fleet::Quality;
using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kFleetGlance(50);
constexpr std::chrono::milliseconds kFleetRedraw(500);

const char* NameOf(Quality quality) {
  if (quality == Quality::kGood) return "good";
  return quality == Quality::kStale ? "stale" : "bad";
}

Json JsonOf(const FleetReport& report) {
  const fleet::SeenChannel& state = report.state;
  Json json{{"time", state.time == 0 ? Json(nullptr) : Json(fleet::UtcText(state.time))},
            {"bench", report.bench},
            {"instrument", report.instrument},
            {"channel", report.channel},
            {"value", state.value ? Json::parse(fleet::NumberText(*state.value)) : Json(nullptr)},
            {"unit", state.unit},
            {"quality", NameOf(state.quality)},
            {"error", JsonError(state.error)},
            {"text", state.error_text}};
  if (report.historical) json["historical"] = true;
  return json;
}

std::string TextOf(const FleetReport& report, Language language) {
  const fleet::SeenChannel& state = report.state;
  std::string text = state.time == 0 ? "-" : fleet::UtcText(state.time);
  text += "  " + report.bench + "  " + report.instrument + "  " + report.channel + " ";
  if (state.value) text += fleet::NumberText(*state.value) + (state.unit.empty() ? "" : " " + state.unit);
  const std::string note = StateNote(state, language);
  if (!note.empty()) text += (state.value ? "  (" : "(") + note + ")";
  return report.historical ? text + "  (" + Shown(TextId::kFleetHistorical, language) + ")" : text;
}

FleetAddress AddressOf(const FleetWatchOptions& options) {
  auto address = fleet::ParseFleetAddress(options.url);
  if (!address) throw UsageError(options.url, address.error().In(options.language));
  fleet::BrokerSettings& broker = address->broker;
  const bool names_files = !options.ca_file.empty() || !options.certificate.empty();
  if (options.no_tls && names_files) throw UsageError("--no-tls", Shown(TextId::kNoTlsNoCertificates));
  if (options.no_tls) {
    // The usual port of the plain protocol, unless one was given.
    if (broker.tls && broker.port == 8883) broker.port = 1883;
    broker.tls.reset();
  }
  if (names_files) broker.tls = {options.ca_file, options.certificate, options.key};
  broker.password_file = options.password_file;
  if (!options.password_file.empty() && broker.user.empty()) {
    throw UsageError("--password-file", Shown(TextId::kPasswordNeedsUser));
  }
  return *address;
}

std::string PasswordOf(const FleetAddress& address, Language language) {
  const auto password = fleet::ReadPassword(address.broker, "");
  if (!password) throw UsageError("--password-file", password.error().In(language));
  return *password;
}

class FleetWatch {
 public:
  explicit FleetWatch(const FleetWatchOptions& options)
      : options_(options),
        address_(AddressOf(options)),
        as_table_(OnTerminal() && !options.json),
        view_(address_.group, !as_table_),
        subscriber_(address_, PasswordOf(address_, options.language), view_) {}

  int Run() {
    subscriber_.Start();
    AwaitBroker();
    if (!options_.http.empty()) page_ = MakePage();
    const auto began = steady_clock::now();
    for (auto next_redraw = began; !interrupted_; std::this_thread::sleep_for(kFleetGlance)) {
      const auto now = steady_clock::now();
      if (!as_table_) PrintReports();
      if (now >= next_redraw) {
        Redraw();
        next_redraw = now + kFleetRedraw;
      }
      if (options_.duration_s && now - began >= std::chrono::duration<double>(*options_.duration_s)) break;
    }
    if (!as_table_) PrintReports();
    return 0;
  }

 private:
  // Waits for the first connection, so that a wrong address is reported at once.
  void AwaitBroker() {
    if (as_table_) block_.Show({Shown(TextId::kFleetConnecting, options_.language, {address_.broker.host})});
    while (!subscriber_.online() && !interrupted_) {
      const std::string trouble = subscriber_.trouble().In(options_.language);
      if (!trouble.empty()) {
        subscriber_.Stop();
        throw OperationFailed(serialCommErrUnableToOpenComm, trouble);
      }
      std::this_thread::sleep_for(kFleetGlance);
    }
  }

  // Makes the page. The server's threads use the view for other documents, so the page is destroyed before the view.
  std::unique_ptr<FleetPage> MakePage() {
    LivePageOptions page{.title = address_.group,
                         .columns = {Shown(TextId::kLiveState, options_.language)},
                         .language = options_.language};
    page.documents["/metrics"] = {"text/plain; version=0.0.4; charset=utf-8", [this] {
                                    return MetricsText(address_.group, view_.Benches(), subscriber_.online());
                                  }};
    return std::make_unique<FleetPage>(ServePage(options_.http, std::move(page)), options_.language);
  }

  void PrintReports() {
    std::uint64_t dropped = 0;
    for (const FleetReport& report : view_.TakeReports(&dropped)) {
      if (options_.json)
        PrintJson(JsonOf(report));
      else
        PrintLine(TextOf(report, options_.language));
    }
    if (dropped > 0) Complain(Shown(TextId::kFleetDropped, options_.language, {std::to_string(dropped)}));
  }

  void Redraw() {
    const std::string trouble = subscriber_.online() ? "" : subscriber_.trouble().In(options_.language);
    if (!as_table_ && trouble != told_trouble_ && !trouble.empty()) {
      Complain(Shown(TextId::kFleetReconnecting, options_.language, {trouble}));
    }
    told_trouble_ = trouble;
    if (!as_table_ && !page_) return;
    const auto benches = view_.Benches();
    if (page_) page_->Show(benches, trouble);
    if (as_table_) Draw(benches, trouble);
  }

  void Draw(const fleet::SeenBenches& benches, const std::string& trouble) {
    const auto width = static_cast<std::size_t>(std::max(platform::TerminalWidth(), 20)) - 1;
    const auto height = static_cast<std::size_t>(std::max(platform::TerminalHeight(), 8));
    auto lines = FleetLines(FleetRows(benches, options_.language), width, height - 4, options_.language);
    lines.push_back(Cut(
        CountsText(CountsOf(benches), options_.language) + "; " + Shown(TextId::kCtrlCEnds, options_.language), width));
    if (!trouble.empty()) {
      lines.push_back(Red(Cut(Shown(TextId::kFleetReconnecting, options_.language, {trouble}), width)));
    }
    block_.Show(lines);
  }

  static void Complain(const std::string& text) { std::cerr << "ulix: " << text << std::endl; }

  const FleetWatchOptions& options_;
  const FleetAddress address_;
  const std::atomic<bool>& interrupted_ = CatchInterrupts();
  const bool as_table_;
  FleetView view_;
  fleet::FleetSubscriber subscriber_;
  std::unique_ptr<FleetPage> page_;
  ScreenBlock block_;
  std::string told_trouble_;
};

}  // namespace

int WatchFleet(const FleetWatchOptions& options) { return FleetWatch(options).Run(); }

}  // namespace ulix::cli
