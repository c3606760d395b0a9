// query, console: exchanges with texts that the user types.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "platform/terminal.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"
#include "tools/ulix/wire_log.h"

namespace ulix::cli {
namespace {

struct QueryOptions {
  ConnectionOptions connection;
  std::string text;
  bool no_reply = false;
};

// The reply with its control bytes made visible; empty with `no_reply`.
std::string Ask(Session& session, const std::string& typed, bool no_reply) {
  const auto text = LibraryText(typed);
  if (!text) throw UsageError("TEXT", Shown(TextId::kTakesLibraryText));
  std::string reply;
  const HRESULT result = session.instrument().RawQuery(*text, no_reply ? nullptr : &reply);
  if (result == E_INVALIDARG) throw UsageError("TEXT", Shown(TextId::kTakesModbusRequest, {typed}));
  session.Check(result);
  return VisibleBytes(reply);
}

int Query(const QueryOptions& options) {
  Session session(options.connection);
  session.Connect();
  const std::string reply = Ask(session, options.text, options.no_reply);
  if (!options.no_reply) PrintLine(reply);
  return 0;
}

// Runs one line of a console. A failure is reported, and the console goes on.
void PrintAnswer(Session& session, const std::string& line) {
  const bool no_reply = line.starts_with('!');
  try {
    const std::string reply = Ask(session, no_reply ? line.substr(1) : line, no_reply);
    if (!no_reply) PrintLine(reply);
  } catch (const UsageError& error) {
    std::cerr << error.what() << std::endl;
  } catch (const OperationFailed& failure) {
    std::cerr << failure.what() << std::endl;
  }
}

int Console(const ConnectionOptions& connection) {
  Session session(connection);
  session.Connect();
  const std::atomic<bool>& interrupted = CatchInterrupts();
  const bool person = platform::InputIsTerminal() && OnTerminal();
  if (person) PrintLine(Shown(TextId::kConsoleKeys));
  for (;;) {
    if (person) std::cout << session.instrument().card().model_id << "> " << std::flush;
    const auto line = platform::ReadTypedLine(interrupted);
    if (!line || interrupted) break;
    if (!line->empty()) PrintAnswer(session, *line);
  }
  if (person) std::cout << std::endl;
  return 0;
}

}  // namespace

Action DefineQuery(CLI::App& verb) {
  const auto options = std::make_shared<QueryOptions>();
  AddModel(verb, options->connection);
  verb.add_option("TEXT", options->text, Shown(TextId::kHelpText))->required()->type_name("");
  verb.add_flag("--no-reply", options->no_reply, Shown(TextId::kHelpNoReply));
  AddConnection(verb, options->connection);
  verb.footer(Shown(TextId::kHelpQueryNotes));
  return [=] { return Query(*options); };
}

Action DefineConsole(CLI::App& verb) {
  const auto options = std::make_shared<ConnectionOptions>();
  AddModel(verb, *options);
  AddConnection(verb, *options);
  verb.footer(Shown(TextId::kHelpConsoleNotes));
  return [=] { return Console(*options); };
}

}  // namespace ulix::cli
