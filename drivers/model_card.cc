#include "drivers/model_card.h"

namespace ulix {

std::string ControlClass(std::string_view class_name) { return "UlixInstr" + std::string(class_name) + "Ctl"; }

std::string ProgId(std::string_view library_class, bool with_version) {
  return "Ulix." + std::string(library_class) + (with_version ? ".1" : "");
}

}  // namespace ulix
