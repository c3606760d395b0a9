// The catalogue: every model that the library supports.
#pragma once

#include <span>
#include <string_view>

#include "drivers/driver.h"

namespace ulix {

// A model: its constants, and the function that makes its driver.
struct CatalogueEntry {
  const ModelCard* card;
  DriverFactory create;
};

// Each model's folder defines kEntry in driver.cc.
#define ULIX_MODEL(model)             \
  namespace model {                   \
  extern const CatalogueEntry kEntry; \
  }
#include "drivers/models.def"
#undef ULIX_MODEL

// All entries, in the order of drivers/models.def.
std::span<const CatalogueEntry> Catalogue();

// The entry of a model id such as "kelvo10", in upper or lower case. Null when there is none.
const CatalogueEntry* FindModel(std::string_view model_id);

}  // namespace ulix
