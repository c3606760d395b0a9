#include "tools/live_page/live_page.h"

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "resources/texts.h"
#include "tools/live_page/http/page_text.h"
#include "tools/live_page/live_store.h"

namespace ulix {
namespace {

// Readers of the stream; the library has eight threads, and some must stay free for the page.
constexpr int kMaxReaders = 6;
constexpr std::chrono::milliseconds kBetweenFrames(200);
constexpr std::chrono::milliseconds kKeepAlive(5000);
constexpr std::chrono::milliseconds kLastEvents(2000);
constexpr std::chrono::milliseconds kGlance(10);
constexpr time_t kIdleSeconds = 1;  // how long the end of the program waits for idle connections

// Whether a request names this machine as its server. Without this check, a page of another site could read the values
// through a host name of that site which leads to this machine.
bool NamesThisMachine(const std::string& host) {
  const std::string name = host.ends_with(']') ? host : host.substr(0, host.rfind(':'));
  return name == "localhost" || name == "127.0.0.1" || name == "[::1]";
}

std::string Event(const char* name, const std::string& data) {
  return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

bool Send(httplib::DataSink& sink, const std::string& text) { return sink.write(text.data(), text.size()); }

class Server final : public LivePage {
 public:
  explicit Server(LivePageOptions options) : options_(std::move(options)), page_(PageText(options_)) {}
  ~Server() override {
    store_.Close();
    AwaitLastEvents();
    server_.stop();
    if (thread_.joinable()) thread_.join();
  }

  bool Start(const LiveAddress& where) {
    where_ = where;
    // The default would let a second program open the same port.
    server_.set_socket_options([](socket_t socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    Route();
    if (where.port == 0) where_.port = server_.bind_to_any_port(where.address);
    const bool bound = where.port == 0 ? where_.port > 0 : server_.bind_to_port(where.address, where.port);
    if (!bound) return false;
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    return true;
  }

  void Show(LiveFrame frame) override { store_.Put(std::move(frame)); }
  std::string url() const override {
    const bool any = where_.loopback() || where_.address == "0.0.0.0" || where_.address == "::";
    const bool v6 = where_.address.find(':') != std::string::npos;
    const std::string host = any ? "localhost" : v6 ? "[" + where_.address + "]" : where_.address;
    return "http://" + host + ":" + std::to_string(where_.port) + "/";
  }

 private:
  // Waits until the streams have sent their last event, because the server drops them when it stops. Does not wait for
  // a reader that accepts no data.
  void AwaitLastEvents() const {
    const auto end = std::chrono::steady_clock::now() + kLastEvents;
    while (readers_ > 0 && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(kGlance);
  }
  void Route();
  void Stream(httplib::Response& response);

  const LivePageOptions options_;
  const std::string page_;
  LiveAddress where_;
  LiveStore store_;
  httplib::Server server_;
  std::thread thread_;
  std::atomic<int> readers_ = 0;
};

void Server::Route() {
  server_.set_keep_alive_timeout(kIdleSeconds);
  server_.set_default_headers({{"Cache-Control", "no-store"},
                               {"X-Content-Type-Options", "nosniff"},
                               {"Content-Security-Policy",
                                "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
                                "connect-src 'self'; img-src data:; frame-ancestors 'none'"}});
  server_.set_payload_max_length(0);
  server_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
    const bool known = !where_.loopback() || NamesThisMachine(request.get_header_value("Host"));
    if (known && (request.method == "GET" || request.method == "HEAD"))
      return httplib::Server::HandlerResponse::Unhandled;
    response.status = known ? 405 : 403;
    return httplib::Server::HandlerResponse::Handled;
  });
  server_.Get("/", [this](const httplib::Request&, httplib::Response& response) {
    response.set_content(page_, "text/html; charset=utf-8");
  });
  server_.Get("/events", [this](const httplib::Request&, httplib::Response& response) { Stream(response); });
  for (const auto& [path, document] : options_.documents) {
    server_.Get(path, [&document = document](const httplib::Request&, httplib::Response& response) {
      response.set_content(document.content(), document.type);
    });
  }
}

// Server-sent events: the history once, then the frames. A slow reader gets fewer of them.
void Server::Stream(httplib::Response& response) {
  if (readers_.fetch_add(1) >= kMaxReaders) {
    --readers_;
    response.status = 503;
    return;
  }
  const auto seen = std::make_shared<std::uint64_t>(0);
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, seen](std::size_t offset, httplib::DataSink& sink) {
        if (store_.closed()) {
          Send(sink, Event("end", "{}"));
          sink.done();
          return true;
        }
        if (offset == 0 && !Send(sink, "retry: 2000\n" + Event("history", store_.History()))) return false;
        const std::string frame = store_.Next(*seen, kKeepAlive);
        // A comment shows whether the reader is still there.
        if (frame.empty()) return Send(sink, ": \n\n");
        if (!Send(sink, Event("frame", frame))) return false;
        std::this_thread::sleep_for(kBetweenFrames);
        return true;
      },
      [this](bool) { --readers_; });
}

}  // namespace

tl::expected<std::unique_ptr<LivePage>, std::string> LivePage::Serve(const LiveAddress& where,
                                                                     LivePageOptions options) {
  const Language language = options.language;
  auto server = std::make_unique<Server>(std::move(options));
  if (server->Start(where)) return server;
  return tl::unexpected(Utf8Of(TextId::kPagePortRefused, language, {std::to_string(where.port)}));
}

}  // namespace ulix
