#include "drivers/catalogue.h"

#include <algorithm>
#include <array>

#include "base/text.h"

namespace ulix {

std::span<const CatalogueEntry> Catalogue() {
  static const std::array models = {
#define ULIX_MODEL(model) model::kEntry,
#include "drivers/models.def"
#undef ULIX_MODEL
  };
  return models;
}

const CatalogueEntry* FindModel(std::string_view model_id) {
  const auto models = Catalogue();
  const auto found = std::find_if(models.begin(), models.end(), [&](const CatalogueEntry& entry) {
    return EqualIgnoringCase(entry.card->model_id, model_id);
  });
  return found == models.end() ? nullptr : &*found;
}

}  // namespace ulix
