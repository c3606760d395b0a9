#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "simulators/adt760.h"
#include "simulators/adt761.h"
#include "simulators/cmx310.h"
#include "simulators/flukehydra.h"
#include "simulators/hart.h"
#include "simulators/isotech.h"
#include "simulators/jofrartcptc.h"
#include "simulators/kambic.h"
#include "simulators/kelvo10.h"
#include "simulators/memolog.h"
#include "simulators/microk.h"
#include "simulators/simulator.h"

namespace ulix {
namespace {

struct CatalogueRow {
  std::string_view model;
  SimulatorFactory make;
};

template <typename T>
std::unique_ptr<Simulator> Make(Clock& clock) {
  return std::make_unique<T>(clock);
}

constexpr CatalogueRow kCatalogue[] = {
    {"kelvo10", Make<Kelvo10Simulator>},         {"cmx310", Make<Cmx310Simulator>},
    {"memolog", Make<MemologSimulator>},         {"hart", Make<HartSimulator>},
    {"isotech", Make<IsotechSimulator>},         {"kambic", Make<KambicSimulator>},
    {"microk", Make<MicrokSimulator>},           {"flukehydra", Make<FlukeHydraSimulator>},
    {"jofrartcptc", Make<JofraRtcPtcSimulator>}, {"adt760", Make<Adt760Simulator>},
    {"adt761", Make<Adt761Simulator>},
};

}  // namespace

SimulatorFactory FindSimulator(std::string_view model) {
  const auto row = std::find_if(std::begin(kCatalogue), std::end(kCatalogue),
                                [&](const CatalogueRow& r) { return EqualIgnoringCase(r.model, model); });
  return row == std::end(kCatalogue) ? nullptr : row->make;
}

}  // namespace ulix
