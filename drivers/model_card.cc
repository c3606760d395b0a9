#include "drivers/model_card.h"

namespace ulix {

std::string ProgId(std::string_view class_name, bool with_version) {
  return "Ulix.UlixInstr" + std::string(class_name) + (with_version ? "Ctl.1" : "Ctl");
}

}  // namespace ulix
