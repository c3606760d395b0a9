#include "drivers/catalogue.h"

#include <algorithm>
#include <array>

#include "drivers/calibrators/kelvo10/driver.h"
#include "drivers/calibrators/kelvo10/tables.h"
#include "drivers/others/microk/driver.h"
#include "drivers/others/microk/tables.h"

namespace ulix {
namespace {

constexpr std::array kModels = {
    CatalogueEntry{&kelvo10::kCard, kelvo10::Kelvo10Driver::Create},
    CatalogueEntry{&microk::kCard, microk::MicrokDriver::Create},
};

}  // namespace

std::span<const CatalogueEntry> Catalogue() { return kModels; }

const CatalogueEntry* FindModel(std::string_view word) {
  const auto found = std::find_if(kModels.begin(), kModels.end(), [&](const CatalogueEntry& entry) {
    return EqualIgnoringCase(entry.card->word, word);
  });
  return found == kModels.end() ? nullptr : &*found;
}

}  // namespace ulix
