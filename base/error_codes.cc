#include "base/error_codes.h"

namespace ulix {

std::string_view ErrorCodeName(HRESULT code) {
  switch (code) {
#define ULIX_ERROR_CODE(name, value) \
  case name:                         \
    return #name;
#include "generated/error_codes.def"
#undef ULIX_ERROR_CODE
    default:
      return {};
  }
}

}  // namespace ulix
