// The verb serve: shares a serial line of this machine over the network.
#include <CLI/CLI.hpp>

#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <variant>

#include "links/line_server.h"
#include "links/port_url.h"
#include "links/serial_errors.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

// Stands in the text of a refusal for the address of the client that has the line (platform/byte_endpoint.h).
constexpr char kAddressPlace = '%';

// The address to which clients connect.
struct ListenAddress {
  std::string host = platform::kLoopback;
  int port = 0;
};

struct ServeOptions {
  ConnectionOptions connection;  // only the line's settings and the language are used
  std::string port;
  std::optional<ListenAddress> tcp;
  std::optional<ListenAddress> rfc2217;
};

// "4001", "bench-3:4001", "[::]:4001".
ListenAddress ParseListenAddress(const std::string& argument, const std::string& text) {
  ListenAddress address;
  const std::size_t colon = text.rfind(':');
  std::string_view number = text;
  if (colon != std::string::npos) {
    std::string_view host = std::string_view(text).substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    address.host = host;
    number.remove_prefix(colon + 1);
  }
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), address.port);
  const bool whole = error == std::errc() && end == number.data() + number.size();
  if (!whole || address.port < 0 || address.port > 65535 || address.host.empty()) {
    throw UsageError(argument, Shown(TextId::kNotAnAddress, {text}));
  }
  return address;
}

platform::PortAddress LocalPort(const std::string& text) {
  const PortArgument port = ParsePort(text);
  if (const int* number = std::get_if<int>(&port)) return {.number = *number, .location = {}};
  const std::string* location = std::get_if<std::string>(&port);
  if (!location || IsUrl(*location)) {
    throw UsageError("--port", Shown(TextId::kNotALocalPort, {text}));
  }
  return {.number = 0, .location = *location};
}

bool IsLoopback(const std::string& address) { return address.starts_with("127.") || address.starts_with("[::1]"); }

void Say(const std::string& text) { std::cerr << "ulix: " << text << std::endl; }

void SayEvent(LineEvent event, const std::string& who) {
  switch (event) {
    case LineEvent::kClientCame:
      return Say(Shown(TextId::kClientCame, {who}));
    case LineEvent::kClientLeft:
      return Say(Shown(TextId::kClientLeft, {who}));
    case LineEvent::kLineLost:
      return Say(Shown(TextId::kLineLost, {who}));
    case LineEvent::kLineBack:
      return Say(Shown(TextId::kLineBack, {who}));
  }
}

[[noreturn]] void FailToOpen(const std::string& port, const platform::OpenFailure& failure) {
  const HRESULT code = serialCommErrUnableToOpenComm;
  const ErrorRow* row = nullptr;
  for (const ErrorRow& candidate : SerialErrorTexts()) {
    if (candidate.code == code) row = &candidate;
  }
  const std::string text = row ? Shown(row->long_text.In(ShownLanguage())) : std::string();
  throw OperationFailed(code, text + ": " + port + ": " + CauseOf(failure));
}

std::unique_ptr<platform::ByteEndpoint> Listen(const ServeOptions& options) {
  const ListenAddress& address = options.tcp ? *options.tcp : *options.rfc2217;
  auto endpoint = platform::ListenOnTcp(address.port, address.host);
  if (!endpoint) {
    const std::string place = (options.tcp ? *options.tcp : *options.rfc2217).host + ":" + std::to_string(address.port);
    throw OperationFailed(endpoint.error(), Shown(TextId::kUnableToListen, {place}));
  }
  return std::move(*endpoint);
}

int Serve(const ServeOptions& options) {
  if (!options.tcp && !options.rfc2217) throw UsageError("--tcp", Shown(TextId::kListenMissing));
  const platform::PortAddress address = LocalPort(options.port);
  const auto found = platform::ResolvePort(address);
  if (!found.port) FailToOpen(options.port, found.failure);
  const platform::LineSettings settings = LineSettingsOf(WithLineSettings(SerialParams(), options.connection));
  LineServer server(found.port, {.settings = settings,
                                 .tell = SayEvent,
                                 .busy_refusal = Shown(TextId::kLineIsBusy, {std::string(1, kAddressPlace)}),
                                 .lost_refusal = Shown(TextId::kLineIsLost, {found.port->location()})});
  const std::atomic<bool>& interrupted = CatchInterrupts();
  if (const auto failure = server.Open(); failure.cause != platform::OpenFailureCause::kNone) {
    FailToOpen(options.port, failure);
  }
  auto endpoint = Listen(options);
  if (options.rfc2217) endpoint = MakeRfc2217Endpoint(std::move(endpoint), server.Control(), settings);
  PrintLine(endpoint->address());
  const std::string where = endpoint->address();
  Say(IsLoopback(where) ? Shown(TextId::kServedHere, {where}) : Shown(TextId::kServedToNetwork, {where}));
  server.Serve(*endpoint, interrupted);
  return 0;
}

void AddListenAddress(CLI::App& verb, const std::string& name, std::optional<ListenAddress>& address,
                      const std::string& help) {
  verb.add_option_function<std::string>(
          name, [name, &address](const std::string& text) { address = ParseListenAddress(name, text); }, help)
      ->type_name("[HOST:]PORT");
}

}  // namespace

Action DefineServe(CLI::App& verb) {
  const auto options = std::make_shared<ServeOptions>();
  verb.add_option("--port", options->port, Shown(TextId::kHelpServedLine))->type_name("N|COMn|DEVICE")->required();
  AddListenAddress(verb, "--tcp", options->tcp, Shown(TextId::kHelpServeTcp));
  AddListenAddress(verb, "--rfc2217", options->rfc2217, Shown(TextId::kHelpServeRfc2217));
  verb.get_option("--rfc2217")->excludes("--tcp");
  AddLineSettings(verb, options->connection);
  AddLanguage(verb, options->connection);
  verb.footer(Shown(TextId::kHelpServeNotes));
  return [=] { return Serve(*options); };
}

}  // namespace ulix::cli
