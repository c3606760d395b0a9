#include "drivers/catalogue.h"

#include <algorithm>
#include <array>

#include "drivers/calibrators/cmx310/driver.h"
#include "drivers/calibrators/kelvo10/driver.h"
#include "drivers/field/hart/driver.h"
#include "drivers/field/hart/tables.h"
#include "drivers/loggers/memolog/driver.h"
#include "drivers/loggers/memolog/tables.h"
#include "drivers/others/adt760/driver.h"
#include "drivers/others/adt760/tables.h"
#include "drivers/others/adt761/driver.h"
#include "drivers/others/adt761/tables.h"
#include "drivers/others/flukehydra/driver.h"
#include "drivers/others/flukehydra/tables.h"
#include "drivers/others/isotech/driver.h"
#include "drivers/others/isotech/tables.h"
#include "drivers/others/jofrartcptc/driver.h"
#include "drivers/others/jofrartcptc/tables.h"
#include "drivers/others/kambic/driver.h"
#include "drivers/others/kambic/tables.h"
#include "drivers/others/microk/driver.h"
#include "drivers/others/microk/tables.h"

namespace ulix {
namespace {

constexpr std::array kModels = {
    CatalogueEntry{&kelvo10::kCard, kelvo10::Create},
    CatalogueEntry{&cmx310::kCard, cmx310::Create},
    CatalogueEntry{&memolog::kCard, MakeDriver<memolog::MemologDriver>},
    CatalogueEntry{&hart::kCard, MakeDriver<hart::HartDriver>},
    CatalogueEntry{&isotech::kCard, MakeDriver<isotech::IsotechDriver>},
    CatalogueEntry{&kambic::kCard, MakeDriver<kambic::KambicDriver>},
    CatalogueEntry{&microk::kCard, MakeDriver<microk::MicrokDriver>},
    CatalogueEntry{&flukehydra::kCard, MakeDriver<flukehydra::FlukeHydraDriver>},
    CatalogueEntry{&jofrartcptc::kCard, MakeDriver<jofrartcptc::JofraRtcPtcDriver>},
    CatalogueEntry{&adt760::kCard, MakeDriver<adt760::Adt760Driver>},
    CatalogueEntry{&adt761::kCard, MakeDriver<adt761::Adt761Driver>},
};

}  // namespace

std::span<const CatalogueEntry> Catalogue() { return kModels; }

const CatalogueEntry* FindModel(std::string_view word) {
  const auto found = std::find_if(kModels.begin(), kModels.end(), [&](const CatalogueEntry& entry) {
    return EqualIgnoringCase(entry.card->model_id, word);
  });
  return found == kModels.end() ? nullptr : &*found;
}

}  // namespace ulix
