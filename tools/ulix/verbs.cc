#include "tools/ulix/verbs.h"

#include <array>

namespace ulix::cli {
namespace {

constexpr std::array kVerbs = {
    Verb{"models", "What can be driven: model, display name, ProgID, link, channels", DefineModels},
    Verb{"ports", "The serial ports and USB instruments: number, name, device, stable path", DefinePorts},
    Verb{"detect", "Which model answers on a line", DefineDetect},
    Verb{"keys", "A model's settings: key, default, allowed words and their codes", DefineKeys},
    Verb{"identify", "Print the instrument's identification", DefineIdentify},
    Verb{"read", "One reading of each channel", DefineRead},
    Verb{"scan", "Readings at a period: live, as lines, as CSV, as a plot", DefineScan},
    Verb{"report", "A scan or a logger's memory as a page to print and to keep", DefineReport},
    Verb{"plot", "A picture of what --csv has kept", DefinePlot},
    Verb{"set", "Write an output channel", DefineSet},
    Verb{"run", "Start the instrument", DefineRun},
    Verb{"stop", "Stop the instrument", DefineStop},
    Verb{"query", "Send a text as it is and print the reply", DefineQuery},
    Verb{"console", "Exchanges as you type them", DefineConsole},
    Verb{"config", "Show, edit, send or read the instrument's configuration", DefineConfig},
    Verb{"memory", "List, read or clear what a logger has recorded", DefineMemory},
    Verb{"program", "Check, send or read back a logger's program", DefineProgram},
    Verb{"error", "What a result code means", DefineError},
    Verb{"convert", "Ohms and millivolts to temperature, and back", DefineConvert},
    Verb{"watch", "Wait until channels are stable; or show the benches of a laboratory", DefineWatch},
    Verb{"calibrate", "Carry out a calibration plan: set, wait until stable, read, report", DefineCalibrate},
    Verb{"certificate", "Check a digital calibration certificate, or show it", DefineCertificate},
    Verb{"simulate", "Serve a simulated instrument to other programs", DefineSimulate},
    Verb{"serve", "Share a serial line of this machine over the network", DefineServe},
    Verb{"help", "What a verb does and what it takes", DefineHelp},
    Verb{"demo", "The tour: a simulated instrument from plug to plot, in under half a minute", DefineDemo},
};

}  // namespace

std::span<const Verb> Verbs() { return kVerbs; }

}  // namespace ulix::cli
