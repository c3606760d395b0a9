// Every model that the library drives.
#pragma once

#include <span>
#include <string_view>

#include "drivers/driver.h"

namespace ulix {

struct CatalogueEntry {
  const ModelCard* card;
  DriverFactory create;
};

// Each model's room defines its own.
#define ULIX_MODEL(model)             \
  namespace model {                   \
  extern const CatalogueEntry kEntry; \
  }
#include "drivers/models.def"
#undef ULIX_MODEL

std::span<const CatalogueEntry> Catalogue();

// The entry of a model word, any case; null when there is none.
const CatalogueEntry* FindModel(std::string_view word);

}  // namespace ulix
