// The verb simulate: serves a simulated instrument to other programs.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <optional>

#include "links/rfc2217_endpoint.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"
#include "tools/ulix/simulation.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"
#include "tools/ulix/wire_log.h"

namespace ulix::cli {
namespace {

struct SimulateOptions {
  ConnectionOptions connection;  // only the model is used
  std::optional<int> tcp_port;
  std::optional<int> rfc2217_port;
  std::vector<std::string> properties;
  std::vector<std::string> faults;
  std::string replay_file;
};

std::unique_ptr<platform::ByteEndpoint> OpenEndpoint(const SimulateOptions& options) {
  const auto port = options.tcp_port ? options.tcp_port : options.rfc2217_port;
  auto endpoint = port ? platform::ListenOnTcp(*port) : platform::OpenPseudoTerminal();
  if (!endpoint) {
    throw OperationFailed(endpoint.error(), port ? Shown(TextId::kUnableToListen, {std::to_string(*port)})
                                                 : Shown(TextId::kNoTerminalButTcp));
  }
  if (!options.rfc2217_port) return std::move(*endpoint);
  return MakeRfc2217Endpoint(std::move(*endpoint), {});
}

int Simulate(const SimulateOptions& options) {
  SimulatedInstrument instrument =
      options.replay_file.empty() ? SimulatedInstrument(options.connection.model)
                                  : SimulatedInstrument(ReadWireLog("--replay", ReadWholeFile(options.replay_file)));
  for (const std::string& property : options.properties) instrument.Set(property);
  instrument.SetFaults(options.faults);
  if (options.tcp_port) instrument.OnNetwork();
  const std::atomic<bool>& interrupted = CatchInterrupts();
  auto endpoint = OpenEndpoint(options);
  PrintLine(endpoint->address());
  instrument.Serve(*endpoint, interrupted);
  endpoint.reset();

  const auto unknown = instrument.UnknownRequests();
  for (const std::string& request : unknown) {
    std::cerr << "ulix: " << Shown(TextId::kUnknownRequest, {request}) << '\n';
  }
  return unknown.empty() ? 0 : 1;
}

}  // namespace

Action DefineSimulate(CLI::App& verb) {
  const auto options = std::make_shared<SimulateOptions>();
  AddModel(verb, options->connection);
  verb.add_option("--tcp", options->tcp_port, Shown(TextId::kHelpSimulateTcp))
      ->type_name("PORT")
      ->transform(WholeNumber(0, 65535));
  verb.add_option("--rfc2217", options->rfc2217_port, Shown(TextId::kHelpSimulateRfc2217))
      ->type_name("PORT")
      ->excludes("--tcp")
      ->transform(WholeNumber(0, 65535));
  verb.add_option("--set", options->properties, Shown(TextId::kHelpProperty))
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  verb.add_option("--fault", options->faults, Shown(TextId::kHelpFault))
      ->type_name("KIND[=ARG]")
      ->allow_extra_args(false);
  verb.add_option("--replay", options->replay_file, Shown(TextId::kHelpReplay))->type_name("FILE");
  verb.footer(Shown(TextId::kHelpSimulateNotes));
  return [=] { return Simulate(*options); };
}

}  // namespace ulix::cli
