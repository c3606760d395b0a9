#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "simulators/simulator.h"

namespace ulix {
namespace {

struct CatalogueRow {
  std::string_view model;
  SimulatorFactory make;
};

constexpr CatalogueRow kCatalogue[] = {
#define ULIX_MODEL(model) {#model, model::MakeSimulator},
#include "drivers/models.def"
#undef ULIX_MODEL
};

}  // namespace

SimulatorFactory FindSimulator(std::string_view model) {
  const auto row = std::find_if(std::begin(kCatalogue), std::end(kCatalogue),
                                [&](const CatalogueRow& r) { return EqualIgnoringCase(r.model, model); });
  return row == std::end(kCatalogue) ? nullptr : row->make;
}

}  // namespace ulix
