#include "tools/ulix/verbs.h"

#include <array>

namespace ulix::cli {
namespace {

constexpr std::array kVerbs = {
    Verb{"models", TextId::kVerbModels, DefineModels},
    Verb{"ports", TextId::kVerbPorts, DefinePorts},
    Verb{"detect", TextId::kVerbDetect, DefineDetect},
    Verb{"keys", TextId::kVerbKeys, DefineKeys},
    Verb{"identify", TextId::kVerbIdentify, DefineIdentify},
    Verb{"read", TextId::kVerbRead, DefineRead},
    Verb{"scan", TextId::kVerbScan, DefineScan},
    Verb{"report", TextId::kVerbReport, DefineReport},
    Verb{"plot", TextId::kVerbPlot, DefinePlot},
    Verb{"set", TextId::kVerbSet, DefineSet},
    Verb{"run", TextId::kVerbRun, DefineRun},
    Verb{"stop", TextId::kVerbStop, DefineStop},
    Verb{"query", TextId::kVerbQuery, DefineQuery},
    Verb{"console", TextId::kVerbConsole, DefineConsole},
    Verb{"config", TextId::kVerbConfig, DefineConfig},
    Verb{"memory", TextId::kVerbMemory, DefineMemory},
    Verb{"program", TextId::kVerbProgram, DefineProgram},
    Verb{"error", TextId::kVerbError, DefineError},
    Verb{"convert", TextId::kVerbConvert, DefineConvert},
    Verb{"watch", TextId::kVerbWatch, DefineWatch},
    Verb{"calibrate", TextId::kVerbCalibrate, DefineCalibrate},
    Verb{"certificate", TextId::kVerbCertificate, DefineCertificate},
    Verb{"simulate", TextId::kVerbSimulate, DefineSimulate},
    Verb{"serve", TextId::kVerbServe, DefineServe},
    Verb{"help", TextId::kVerbHelp, DefineHelp},
    Verb{"demo", TextId::kVerbDemo, DefineDemo},
};

}  // namespace

std::span<const Verb> Verbs() { return kVerbs; }

}  // namespace ulix::cli
