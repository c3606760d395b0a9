#include "tools/ulix/command_line.h"
#include "core/version.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cctype>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "platform/terminal.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Verb {
  const char* name;
  const char* summary;
  Action (*define)(CLI::App& verb);
};

constexpr std::array kVerbs = {
    Verb{"models", "What can be driven: model, display name, ProgID, link, channels", DefineModels},
    Verb{"ports", "The serial ports: number, name, device", DefinePorts},
    Verb{"keys", "A model's settings: key, default, allowed words and their codes", DefineKeys},
    Verb{"identify", "Print the instrument's identification", DefineIdentify},
    Verb{"read", "One reading of each channel", DefineRead},
    Verb{"scan", "Readings at a period: live, as lines, as CSV, as a plot", DefineScan},
    Verb{"report", "A scan or a logger's memory as a page to print and to keep", DefineReport},
    Verb{"set", "Write an output channel", DefineSet},
    Verb{"run", "Start the instrument", DefineRun},
    Verb{"stop", "Stop the instrument", DefineStop},
    Verb{"config", "Show, edit, send or read the instrument's configuration", DefineConfig},
    Verb{"memory", "List, read or clear what a logger has recorded", DefineMemory},
    Verb{"program", "Check, send or read back a logger's program", DefineProgram},
    Verb{"error", "What a result code means", DefineError},
    Verb{"convert", "Ohms and millivolts to temperature, and back", DefineConvert},
    Verb{"simulate", "Serve a simulated instrument to other programs", DefineSimulate},
    Verb{"demo", "The tour: a simulated instrument from plug to plot, in under half a minute", DefineDemo},
};

constexpr char kFooter[] =
    R"(Examples
  ulix models
  ulix identify kelvo10 --port 5
  ulix read kelvo10 --port sim --json
  ulix scan kelvo10 IN --port /dev/ttyUSB0 --period 500 --duration 60 --csv run.csv --plot run.svg
  ulix report kelvo10 run.html IN --port 5 --period 500 --duration 60 --lang fr
  ulix report memolog oven.html --block 1 --host 192.168.0.10
  ulix set kelvo10 OUT 12.5 --port COM5
  ulix config kelvo10 send --port 5 --set input-function=TC --set input-sensor=TYP_K --save bench.cfg
  ulix config kelvo10 edit --config bench.cfg --save bench.cfg
  ulix memory memolog read 1 --host 192.168.0.10 --csv oven.csv --plot oven.svg
  ulix program memolog send oven.p90 --port 5 --slave 3
  ulix error 0x80044403 --lang fr
  ulix simulate kelvo10 --fault delay=200

Ports
  5 or COM5      a port number; 'ulix ports' lists them
  /dev/ttyUSB0   a device path
  sim            the model's own simulator, inside this program
  ULIX_COM5=/dev/ttyUSB0 in the environment says which device port 5 is

Faults of simulated instruments
  silent  delay=MS  drip=MS  garbage  truncate  oversize  late  drop=N  refuse

Output is a table on a terminal, plain lines elsewhere, and JSON with --json.
Exit status: 0 done, 1 the instrument, the link or a file failed, 2 wrong usage.
'ulix VERB --help' tells more about a verb.)";

std::string WhichVerb(const std::vector<std::string>& typed) {
  std::string message = typed.empty() ? "is missing; takes" : "'" + typed.front() + "' is no verb; takes";
  for (const Verb& verb : kVerbs) message += std::string(&verb == kVerbs.data() ? " " : ", ") + verb.name;
  return message;
}

void CheckNothingIsMissing(const CLI::App& verb) {
  const auto missing = [](const CLI::Option* option) { return option->get_required() && option->empty(); };
  for (const CLI::Option* option : verb.get_options(missing))
    throw UsageError(option->get_name(), MissingText(*option));
}

// The parser takes '-' and a digit for a number and any other '-' for an option, so -.5 and -,5 become -0.5 and -0,5.
// The last comes first, as it wants them.
std::vector<std::string> ArgumentsOf(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int k = argc - 1; k > 0; --k) {
    arguments.emplace_back(argv[k]);
    std::string& argument = arguments.back();
    const bool fraction = argument.size() > 2 && argument[0] == '-' && (argument[1] == '.' || argument[1] == ',') &&
                          std::isdigit(static_cast<unsigned char>(argument[2]));
    if (fraction) argument.insert(1, "0");
  }
  return arguments;
}

int RunVerb(int argc, char** argv) {
  CLI::App app("ulix: instruments for calibration, test and data acquisition", "ulix");
  app.set_version_flag("--version", "ulix " + VersionText());
  app.footer(kFooter);
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // an argument that begins with '/' is a path on every system
  std::map<const CLI::App*, Action> actions;
  for (const Verb& verb : kVerbs) {
    CLI::App* const command = app.add_subcommand(verb.name, verb.summary);
    actions[command] = verb.define(*command);
  }
  try {
    app.parse(ArgumentsOf(argc, argv));
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::RequiredError&) {
    if (app.get_subcommands().empty()) throw UsageError("VERB", WhichVerb(app.remaining()));
    CheckNothingIsMissing(*app.get_subcommands().front());
    throw;
  }
  return actions.at(app.get_subcommands().front())();
}

int Complain(int status, const std::string& what) {
  std::cout.flush();
  std::cerr << "ulix: " << what << '\n';
  return status;
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
  platform::PrepareStandardStreams();
  try {
    const int status = RunVerb(argc, argv);
    std::cout.flush();
    return std::cout ? status : Complain(kFailed, FailureLine(kWriteFault, Shown(TextId::kUnableToPrint)));
  } catch (const CLI::ParseError& error) {
    return Complain(kWrongUsage, error.what() + std::string("; see 'ulix VERB --help'"));
  } catch (const UsageError& error) {
    return Complain(kWrongUsage, error.what());
  } catch (const OperationFailed& error) {
    return Complain(kFailed, error.what());
  } catch (const std::bad_alloc&) {
    return Complain(kFailed, FailureLine(E_OUTOFMEMORY, SystemText(E_OUTOFMEMORY, ShownLanguage())));
  } catch (const std::exception& error) {
    return Complain(kFailed, FailureLine(E_FAIL, error.what()));
  } catch (...) {
    return Complain(kFailed, FailureLine(E_FAIL, ""));
  }
}

}  // namespace ulix::cli
