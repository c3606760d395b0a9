// The verbs of the command line. Each adds its arguments to its sub-command and returns the function to call once they
// are parsed. This function returns the exit status, or throws UsageError or OperationFailed (tools/ulix/failures.h).
#pragma once

#include <functional>
#include <span>

#include "resources/texts.h"

namespace CLI {
class App;
}

namespace ulix::cli {

using Action = std::function<int()>;

// One row for each verb. Help, man pages and completion are made from it.
struct Verb {
  const char* name;
  TextId summary;
  Action (*define)(CLI::App& verb);
};
std::span<const Verb> Verbs();

Action DefineModels(CLI::App& verb);
Action DefinePorts(CLI::App& verb);
Action DefineKeys(CLI::App& verb);

Action DefineIdentify(CLI::App& verb);
Action DefineSet(CLI::App& verb);
Action DefineRun(CLI::App& verb);
Action DefineStop(CLI::App& verb);
Action DefineConfig(CLI::App& verb);

Action DefineRead(CLI::App& verb);
Action DefineScan(CLI::App& verb);
Action DefineReport(CLI::App& verb);
Action DefinePlot(CLI::App& verb);

Action DefineMemory(CLI::App& verb);
Action DefineProgram(CLI::App& verb);

Action DefineError(CLI::App& verb);
Action DefineConvert(CLI::App& verb);
Action DefineWatch(CLI::App& verb);
Action DefineCalibrate(CLI::App& verb);
Action DefineCertificate(CLI::App& verb);
Action DefineSimulate(CLI::App& verb);
Action DefineServe(CLI::App& verb);
Action DefineQuery(CLI::App& verb);
Action DefineConsole(CLI::App& verb);
Action DefineDetect(CLI::App& verb);
Action DefineHelp(CLI::App& verb);
Action DefineDemo(CLI::App& verb);

}  // namespace ulix::cli
